#pragma once

#include <cstddef>

// Views of shared-memory files in this process. Any thread.
namespace platform {

// The first `size` bytes of the open file, for reading and writing. Null, with errno, when the system refuses. Whether
// two views of one file have one address is not told; each is unmapped once.
void* mapShared(int descriptor, size_t size);
void unmapShared(void* view, size_t size);

}  // namespace platform
