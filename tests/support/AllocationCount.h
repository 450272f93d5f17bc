#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zeltest {

// Calls of operator new by this thread so far. A program that links AllocationCount.cpp has operators of its own.
size_t allocationCount();

// Allocations of the cheapest of many calls: those of the runtime depend on which of its threads does the work. No more
// calls are made once one makes do with `enough`.
template <class Work>
size_t allocationsDownTo(size_t enough, Work work, int calls = 10000) {
    size_t fewest = SIZE_MAX;
    for (int call = 0; call < calls && fewest > enough; ++call) {
        const size_t before = allocationCount();
        work();
        fewest = std::min(fewest, allocationCount() - before);
    }
    return fewest;
}

template <class Work>
size_t allocationsOf(Work work) {
    return allocationsDownTo(0, work, 300);
}

}  // namespace zeltest
