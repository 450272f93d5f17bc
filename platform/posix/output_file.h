#pragma once

#include <limits.h>

#include <cstddef>
#include <cstdint>

namespace platform {

// Opens a new file for writing that only its owner may read, in the place of a file, a link or a pipe; -1 and errno
// when that cannot be, as for a folder, a device or another's file. For use in a signal handler.
int createFile(const char* path);

// A file that comes to be under its name as a whole or not at all: written beside it as PATH.part, then put in place
// of what lies there. For use in a signal handler: async-signal-safe calls only, no heap. It is large; make it static.
class OutputFile {
  public:
    // 0 or an errno. What lies at PATH.part is replaced. One file at a time.
    int open(const char* path);
    // Writes behind what has been written, and tells where. After a failure nothing is written any more.
    uint32_t append(const void* data, size_t size);
    // Fills up to a multiple of 8, and tells where the file ends then.
    uint32_t align();
    // Replaces bytes written before.
    void overwrite(uint32_t offset, const void* data, size_t size);
    // The first error since open, or 0. Without one the file is now at its path; with one nothing of it is left.
    int finish();

  private:
    void flush();
    void writeAll(const void* data, size_t size, uint64_t offset);

    char path_[PATH_MAX];
    char part_[PATH_MAX];
    char pending_[64 * 1024];
    size_t pendingSize_;
    uint64_t written_;  // bytes before pending_
    int file_;
    int error_;
};

}  // namespace platform
