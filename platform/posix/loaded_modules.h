#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

inline constexpr size_t kLongestBuildId = 64;  // bytes; usual are 16 or 20

// An ELF file that is mapped to be run. Valid during the visit only.
struct LoadedModule {
    const char* path;  // as the system tells it, without " (deleted)"; "[vdso]" for the kernel's own
    uint64_t base;     // where its first segment begins
    uint64_t size;     // to the end of its last mapping
    const uint8_t* buildId;
    size_t buildIdSize;  // 0 where it has none
};

// Visits all modules of this process by address, until a visit returns false. Async-signal-safe calls only, no heap,
// and no lock of the loader's.
using ModuleVisitor = bool (*)(void* context, const LoadedModule& module);
void visitLoadedModules(ModuleVisitor visit, void* context);

}  // namespace platform
