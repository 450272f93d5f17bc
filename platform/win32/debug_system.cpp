#include "platform/win32/debug_system.h"

#include <atomic>
#include <cstring>

#include "platform/include/module.h"
#include "util/include/CmSystem.h"

namespace {

std::atomic<DebugSystem*> gReplacement{nullptr};

}  // namespace

DWORD DebugSystem::getLastError() {
    return GetLastError();
}

void DebugSystem::outputDebugString(const char* text) {
    OutputDebugStringA(text);
}

UINT DebugSystem::getSystemDirectory(char* buffer, UINT size) {
    return GetSystemDirectoryA(buffer, size);
}

void* DebugSystem::loadLibrary(const char* path) {
    void* const library = kmo_load_library_s(path, enPathAppendNone, true);
    // What was called since may have changed it.
    if (!library) SetLastError(platform::lastLibraryError());
    return library;
}

void DebugSystem::freeLibrary(void* library) {
    kmo_free_library_s(library);
}

void* DebugSystem::getProcAddress(void* library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

HANDLE DebugSystem::openProcess(DWORD access, BOOL inherited, DWORD process) {
    return OpenProcess(access, inherited, process);
}

HANDLE DebugSystem::openThread(DWORD access, BOOL inherited, DWORD thread) {
    return OpenThread(access, inherited, thread);
}

BOOL DebugSystem::readProcessMemory(HANDLE process, uint64_t address, void* buffer, size_t size, size_t* read) {
    return ReadProcessMemory(process, reinterpret_cast<const void*>(address), buffer, size, read);
}

BOOL DebugSystem::getExitCodeProcess(HANDLE process, DWORD* code) {
    return GetExitCodeProcess(process, code);
}

HANDLE DebugSystem::createFile(const char* path, DWORD access, DWORD share, DWORD disposition, DWORD attributes) {
    return CreateFileA(path, access, share, nullptr, disposition, attributes, nullptr);
}

BOOL DebugSystem::writeFile(HANDLE file, const void* bytes, DWORD size, DWORD* written) {
    return WriteFile(file, bytes, size, written, nullptr);
}

void DebugSystem::closeHandle(HANDLE handle) {
    CloseHandle(handle);
}

DWORD DebugSystem::getFileVersionInfoSize(const wchar_t* file) {
    DWORD ignored = 0;
    return GetFileVersionInfoSizeW(file, &ignored);
}

BOOL DebugSystem::getFileVersionInfo(const wchar_t* file, DWORD size, void* block) {
    return GetFileVersionInfoW(file, 0, size, block);
}

BOOL DebugSystem::verQueryValue(const void* block, const wchar_t* path, void** value, UINT* size) {
    return VerQueryValueW(block, path, value, size);
}

DWORD DebugSystem::getTempPath(DWORD size, char* buffer) {
    return GetTempPathA(size, buffer);
}

BOOL DebugSystem::getModuleHandleEx(DWORD flags, const void* address, HMODULE* module) {
    return GetModuleHandleExW(flags, static_cast<const wchar_t*>(address), module);
}

DWORD DebugSystem::getModuleFileName(HMODULE module, char* buffer, DWORD size) {
    return GetModuleFileNameA(module, buffer, size);
}

DebugSystem& debugSystem() {
    static DebugSystem system;
    DebugSystem* const replacement = gReplacement.load();
    return replacement ? *replacement : system;
}

void replaceDebugSystem(DebugSystem* replacement) {
    gReplacement.store(replacement);
}

void* loadDbgHelp() {
    static constexpr char kName[] = "\\dbghelp.DLL";
    char path[MAX_PATH + sizeof kName] = {};
    const UINT length = debugSystem().getSystemDirectory(path, MAX_PATH);
    // A bare name would be looked for elsewhere.
    if (length == 0 || length >= MAX_PATH) return nullptr;
    std::memcpy(path + length, kName, sizeof kName);
    return debugSystem().loadLibrary(path);
}
