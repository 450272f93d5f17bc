#include "platform/include/own_file.h"

#include <windows.h>

#include <algorithm>

#include "platform/win32/utf8.h"

namespace platform {

namespace {

constexpr int64_t kTicksASecond = 10000000;
constexpr int64_t kSecondsFrom1601To1970 = 11644473600;

// The file if it counts, INVALID_HANDLE_VALUE else.
HANDLE openOwn(const std::string& path, DWORD access, FILETIME* written) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    constexpr DWORD kOthers = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE;
    const HANDLE file = CreateFileW(wideFromUtf8(path).c_str(), access, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file == INVALID_HANDLE_VALUE) return file;
    BY_HANDLE_FILE_INFORMATION information;
    if (GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &information) &&
        !(information.dwFileAttributes & kOthers)) {
        *written = information.ftLastWriteTime;
        return file;
    }
    CloseHandle(file);
    return INVALID_HANDLE_VALUE;
}

// False when reading fails before `text` is full or the file ends.
bool readInto(HANDLE file, std::string& text) {
    constexpr size_t kMostAtOnce = 1 << 20;
    size_t there = 0;
    while (there < text.size()) {
        DWORD count = 0;
        const auto wanted = static_cast<DWORD>(std::min(text.size() - there, kMostAtOnce));
        if (!ReadFile(file, text.data() + there, wanted, &count, nullptr)) return false;
        if (count == 0) break;
        there += count;
    }
    text.resize(there);
    return true;
}

}  // namespace

std::optional<int64_t> ownFileTime(const std::string& path) {
    FILETIME written;
    const HANDLE file = openOwn(path, FILE_READ_ATTRIBUTES, &written);
    if (file == INVALID_HANDLE_VALUE) return std::nullopt;
    CloseHandle(file);
    const auto ticks = static_cast<int64_t>(uint64_t{written.dwHighDateTime} << 32 | written.dwLowDateTime);
    return ticks / kTicksASecond - kSecondsFrom1601To1970;
}

std::optional<std::string> readOwnFile(const std::string& path, size_t most) {
    FILETIME written;
    const HANDLE file = openOwn(path, GENERIC_READ, &written);
    if (file == INVALID_HANDLE_VALUE) return std::nullopt;
    std::string text(most, '\0');
    const bool good = readInto(file, text);
    CloseHandle(file);
    if (!good) return std::nullopt;
    return text;
}

}  // namespace platform
