#pragma once

#include <cstddef>

namespace platform::test {

// How often this thread has asked the heap for memory so far, by whatever function. A program that links
// heap_count.cpp has a malloc of its own, or a hook in the sanitizer's.
size_t heapCallsOfThread();

}  // namespace platform::test
