#include "platform/include/module.h"

#include <windows.h>

#include "platform/replaceable.h"
#include "platform/win32/utf8.h"

namespace platform {

namespace {

thread_local uint32_t gLastError = 0;

std::string fileOfModule(HMODULE module) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) return "";
        if (length < path.size()) return utf8FromWide(path.substr(0, length));
        path.resize(path.size() * 2);
    }
}

// The search beside a library needs its full path.
std::wstring fullPath(const std::wstring& path) {
    const DWORD size = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring full(size, L'\0');
    const DWORD length = size ? GetFullPathNameW(path.c_str(), size, full.data(), nullptr) : 0;
    if (length == 0 || length >= size) return path;
    full.resize(length);
    return full;
}

}  // namespace

std::string executablePath() {
    return fileOfModule(nullptr);
}

std::string systemExecutableDirectory() {
    const std::string path = executablePath();
    const size_t separator = path.rfind('\\');
    return separator == std::string::npos ? "" : path.substr(0, separator);
}

std::string modulePathOf(const void* address) {
    HMODULE module = nullptr;
    constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    // A null address would be the program's.
    if (!address || !GetModuleHandleExW(kFlags, static_cast<const wchar_t*>(address), &module)) return "";
    return fileOfModule(module);
}

char pathSeparator() {
    return '\\';
}

std::string libraryFileName(const std::string& toldName) {
    return toldName;
}

void addLibraryDirectory(const std::string& directory) {
    AddDllDirectory(wideFromUtf8(directory).c_str());
}

Library loadLibrary(const std::string& path, bool dependenciesBeside) {
    const std::wstring wide = wideFromUtf8(path);
    const bool beside = dependenciesBeside && wide.find_first_of(L"\\/") != std::wstring::npos;
    const HMODULE module = beside ? LoadLibraryExW(fullPath(wide).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)
                                  : LoadLibraryExW(wide.c_str(), nullptr, 0);
    if (!module) gLastError = GetLastError();
    return module;
}

void freeLibrary(Library library) {
    if (library) FreeLibrary(static_cast<HMODULE>(library));
}

void* findSymbol(Library library, const char* name) {
    // A null module would be the program itself.
    const FARPROC symbol = library ? GetProcAddress(static_cast<HMODULE>(library), name) : nullptr;
    if (!symbol) gLastError = library ? GetLastError() : ERROR_PROC_NOT_FOUND;
    return reinterpret_cast<void*>(symbol);
}

uint32_t lastLibraryError() {
    return gLastError;
}

}  // namespace platform
