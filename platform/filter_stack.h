#pragma once

#include <cstddef>

namespace platform::test {

// How much stack the calling thread has for the exception filter when its own has run out, in bytes: on Linux the stack
// for handlers, on Windows what is kept back of its own.
size_t stackForFilter();

}  // namespace platform::test
