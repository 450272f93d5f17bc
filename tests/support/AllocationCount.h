#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zeltest {

// Calls of operator new by this thread so far. A program that links AllocationCount.cpp has operators of its own.
size_t allocationCount();

// Allocations of the cheapest of many calls: those of the runtime depend on which of its threads does the work.
template <class Work>
size_t allocationsOf(Work work, int calls = 300) {
    size_t fewest = SIZE_MAX;
    for (int call = 0; call < calls; ++call) {
        const size_t before = allocationCount();
        work();
        fewest = std::min(fewest, allocationCount() - before);
    }
    return fewest;
}

}  // namespace zeltest
