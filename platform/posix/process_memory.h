#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// Copies memory of this process that need not be there. The bytes up to the first that cannot be read: `size` if all
// can. Async-signal-safe.
size_t readProcessMemory(uint64_t address, void* target, size_t size);

// The same for a record as a whole.
template <typename T>
bool readProcessRecord(uint64_t address, T& record) {
    return readProcessMemory(address, &record, sizeof record) == sizeof record;
}

}  // namespace platform
