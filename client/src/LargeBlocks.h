#pragma once

#include <cstddef>

// Tests' hold on the heap of their program.

// While it lives, every thread but its maker's that asks the heap for so many bytes at once or more waits. One at a
// time.
class LargeBlocksWait {
  public:
    explicit LargeBlocksWait(size_t bytes);
    ~LargeBlocksWait() { end(); }
    LargeBlocksWait(const LargeBlocksWait&) = delete;
    LargeBlocksWait& operator=(const LargeBlocksWait&) = delete;

    // Until a thread waits; false at the deadline.
    bool someoneWaits();
    void end();
};

// While it lives, its maker's thread gets no block of so many bytes or more. Not under a sanitizer, which has a heap of
// its own.
class LargeBlocksRefused {
  public:
    explicit LargeBlocksRefused(size_t bytes);
    ~LargeBlocksRefused();
    LargeBlocksRefused(const LargeBlocksRefused&) = delete;
    LargeBlocksRefused& operator=(const LargeBlocksRefused&) = delete;
};
