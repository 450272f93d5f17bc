#pragma once

#include <cstddef>

namespace zeltest {

// Calls of operator new by this thread so far. A program that links AllocationCount.cpp has operators of its own.
size_t allocationCount();

}  // namespace zeltest
