#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/posix/proc_file.h"

namespace platform {

struct Mapping {
    uint64_t begin;
    uint64_t end;
    uint64_t offset;  // in the file
    bool readable;
    bool executable;
    const char* path;  // "" for memory without a name; valid until the next one is asked for
};

// The mappings of this process in the order of their addresses, as the system tells them. Others may map and unmap
// meanwhile; what stays is not missed. Async-signal-safe calls only, no heap.
class MemoryMap {
  public:
    bool next(Mapping& mapping);

  private:
    char* nextLine();

    ProcFile file_{"/proc/thread-self/maps"};
    char buffer_[8192];  // a line has a path of 4095 bytes at most
    size_t begin_ = 0;
    size_t end_ = 0;
};

}  // namespace platform
