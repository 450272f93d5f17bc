#include "platform/include/path.h"

#include <windows.h>

#include <direct.h>

#include "platform/win32/utf8.h"

namespace platform {

namespace {

template <class Text, class Call>
Text fullPathBy(Call getFullPathName, const Text& path, uint32_t& error) {
    Text full(MAX_PATH, 0);
    for (;;) {
        const auto room = static_cast<DWORD>(full.size());
        // A call that fails does not always say why.
        SetLastError(ERROR_INVALID_NAME);
        const DWORD length = getFullPathName(path.c_str(), room, full.data(), nullptr);
        if (length == 0) error = GetLastError();
        if (length <= room) {
            full.resize(length);
            return full;
        }
        full.resize(length);
    }
}

}  // namespace

std::string fullPath(const std::string& path, uint32_t& error) {
    return fullPathBy(GetFullPathNameA, path, error);
}

std::wstring fullPath(const std::wstring& path, uint32_t& error) {
    return fullPathBy(GetFullPathNameW, path, error);
}

std::string workingDirectory() {
    wchar_t directory[1024];
    return _wgetcwd(directory, 1024) ? utf8FromWide(directory) : "";
}

}  // namespace platform
