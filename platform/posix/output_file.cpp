#include "platform/posix/output_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace platform {

int createFile(const char* path) {
    struct stat there;
    const bool replaced =
        lstat(path, &there) == 0 && (S_ISREG(there.st_mode) || S_ISLNK(there.st_mode) || S_ISFIFO(there.st_mode));
    if (replaced) unlink(path);
    return ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

int OutputFile::open(const char* path) {
    constexpr char kSuffix[] = ".part";
    const size_t length = strnlen(path, sizeof path_);
    if (length + sizeof kSuffix > sizeof part_) return ENAMETOOLONG;
    std::memcpy(path_, path, length + 1);
    std::memcpy(part_, path, length);
    std::memcpy(part_ + length, kSuffix, sizeof kSuffix);
    pendingSize_ = 0;
    written_ = 0;
    error_ = 0;
    file_ = createFile(part_);
    return file_ < 0 ? errno : 0;
}

uint32_t OutputFile::append(const void* data, size_t size) {
    const uint64_t offset = written_ + pendingSize_;
    if (offset + size > UINT32_MAX && error_ == 0) error_ = EFBIG;
    const char* bytes = static_cast<const char*>(data);
    while (size > 0 && error_ == 0) {
        if (pendingSize_ == sizeof pending_) flush();
        const size_t room = sizeof pending_ - pendingSize_;
        const size_t piece = size < room ? size : room;
        std::memcpy(pending_ + pendingSize_, bytes, piece);
        pendingSize_ += piece;
        bytes += piece;
        size -= piece;
    }
    return static_cast<uint32_t>(offset);
}

uint32_t OutputFile::align() {
    constexpr char kZeros[8] = {};
    const size_t gap = (8 - (written_ + pendingSize_) % 8) % 8;
    return append(kZeros, gap) + static_cast<uint32_t>(gap);
}

void OutputFile::overwrite(uint32_t offset, const void* data, size_t size) {
    flush();
    writeAll(data, size, offset);
}

int OutputFile::finish() {
    flush();
    if (close(file_) != 0 && error_ == 0) error_ = errno;
    if (error_ == 0 && rename(part_, path_) != 0) error_ = errno;
    if (error_ != 0) unlink(part_);
    return error_;
}

void OutputFile::flush() {
    writeAll(pending_, pendingSize_, written_);
    written_ += pendingSize_;
    pendingSize_ = 0;
}

void OutputFile::writeAll(const void* data, size_t size, uint64_t offset) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0 && error_ == 0) {
        const ssize_t done = pwrite(file_, bytes, size, static_cast<off_t>(offset));
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) {
            error_ = done < 0 ? errno : EIO;
            return;
        }
        bytes += done;
        size -= static_cast<size_t>(done);
        offset += static_cast<uint64_t>(done);
    }
}

}  // namespace platform
