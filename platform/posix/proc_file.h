#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace platform {

// Reads a file of /proc. Async-signal-safe calls only, no heap.
class ProcFile {
  public:
    explicit ProcFile(const char* path);
    ~ProcFile();
    ProcFile(const ProcFile&) = delete;
    ProcFile& operator=(const ProcFile&) = delete;

    size_t read(char* target, size_t size);  // 0 at the end and after a failure

  private:
    const int file_;
};

// Reads the begin of a small file of /proc as text with a terminator; its length, 0 if there is none.
size_t readProcText(const char* path, char* target, size_t size);

// "/proc/self/task/ID/NAME"
struct TaskPath {
    TaskPath(pid_t id, const char* name);
    char text[64];
};

// Reads a number at `text`, and moves `text` behind it: digits of that base (10 or 16), "0x" before hexadecimal ones
// allowed. False if there is no digit.
bool parseNumber(const char*& text, unsigned base, uint64_t& number);

}  // namespace platform
