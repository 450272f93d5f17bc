#pragma once

#include <cstdint>

namespace zelbench {

// Of another process of ours, read from the kernel.
uint64_t privateResidentBytes(int processId);  // resident memory without shared memory objects
uint64_t processorMicroseconds(int processId);

// Fails the process as a wild access would.
void raiseFault(int processId);

}  // namespace zelbench
