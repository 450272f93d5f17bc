#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace client {

// Puts the chunks of the log channel together to lines. What it is given comes from another process: sizes and flags
// are bounded, a line that never ends is cut. One thread.
class LogLines {
  public:
    using Sink = std::function<void(uint32_t level, const std::string& line)>;

    // Longest line kept, in bytes; the rest of a longer one is dropped.
    static constexpr size_t kLongest = 64 * 1024;

    explicit LogLines(Sink sink) : mSink(std::move(sink)) {}

    // One chunk: `flags` and `size` as they stand in the record, `body` of `capacity` bytes from offset 8 on. A line
    // goes to the sink with its last chunk; one that another line's first chunk interrupts goes out as far as it came.
    void chunk(uint8_t flags, uint32_t size, const void* body, size_t capacity);

  private:
    void flush();

    Sink mSink;
    std::string mLine;
    uint32_t mLevel = 0;
    bool mOpen = false;
};

}  // namespace client
