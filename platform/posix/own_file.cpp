#include "platform/include/own_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

namespace {

bool isOwn(const struct stat& status) {
    return S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

// False when reading fails before `text` is full or the file ends.
bool readInto(int file, std::string& text) {
    size_t there = 0;
    while (there < text.size()) {
        const ssize_t count = read(file, text.data() + there, text.size() - there);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        if (count == 0) break;
        there += static_cast<size_t>(count);
    }
    text.resize(there);
    return true;
}

}  // namespace

std::optional<int64_t> ownFileTime(const std::string& path) {
    struct stat status;
    if (lstat(path.c_str(), &status) != 0 || !isOwn(status)) return std::nullopt;
    return status.st_mtim.tv_sec;
}

std::optional<std::string> readOwnFile(const std::string& path, size_t most) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (file < 0) return std::nullopt;
    struct stat status;
    std::string text(most, '\0');
    const bool good = fstat(file, &status) == 0 && isOwn(status) && readInto(file, text);
    close(file);
    if (!good) return std::nullopt;
    return text;
}

}  // namespace platform
