#include "platform/include/resource.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <vector>

#include "platform/replaceable.h"

namespace platform {

namespace {

HMODULE program() {
    return GetModuleHandleW(nullptr);
}

std::string versionOf(std::vector<char> block) {
    void* value = nullptr;
    UINT size = 0;
    if (!VerQueryValueW(block.data(), L"\\", &value, &size) || size < sizeof(VS_FIXEDFILEINFO)) return "";
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(value);
    std::string version;
    for (const DWORD part : {HIWORD(fixed->dwProductVersionMS), LOWORD(fixed->dwProductVersionMS),
                             HIWORD(fixed->dwProductVersionLS), LOWORD(fixed->dwProductVersionLS)}) {
        if (!version.empty()) version += '.';
        version += std::to_string(part);
    }
    return version;
}

}  // namespace

Resource systemResource(int id) {
    const HRSRC found = FindResourceW(program(), MAKEINTRESOURCEW(id), L"file");
    const HGLOBAL loaded = found ? LoadResource(program(), found) : nullptr;
    if (!loaded) return {};
    return {LockResource(loaded), SizeofResource(program(), found), loaded};
}

void releaseResource(const Resource& resource) {
    if (resource.handle) FreeResource(resource.handle);
}

int loadString(int id, wchar_t* buffer, int capacity) {
    if (capacity <= 0) return 0;
    const int length = LoadStringW(GetModuleHandleW(nullptr), static_cast<UINT>(id), buffer, capacity);
    if (length == 0) buffer[0] = L'\0';
    return length;
}

std::string productVersion() {
    const HRSRC found = FindResourceW(program(), MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION);
    const HGLOBAL loaded = found ? LoadResource(program(), found) : nullptr;
    if (!loaded) return "";
    const char* data = static_cast<const char*>(LockResource(loaded));
    // A copy, since the query may write into the block.
    return versionOf(std::vector<char>(data, data + SizeofResource(program(), found)));
}

}  // namespace platform
