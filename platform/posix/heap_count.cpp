#include "platform/posix/heap_count.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define HEAP_OF_A_SANITIZER
#include <sanitizer/allocator_interface.h>
#endif
#endif

namespace {

thread_local size_t calls = 0;

}  // namespace

#ifdef HEAP_OF_A_SANITIZER

// The sanitizers call it for every block that they give.
extern "C" void __sanitizer_malloc_hook(const volatile void*, size_t) {
    ++calls;
}

#else

// The names by which the system's own functions can still be reached.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) {
    ++calls;
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    ++calls;
    return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
    ++calls;
    return __libc_realloc(block, size);
}
void* memalign(size_t alignment, size_t size) {
    ++calls;
    return __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    ++calls;
    return __libc_memalign(alignment, size);
}
}

#endif

namespace platform::test {

size_t heapCallsOfThread() {
    return calls;
}

}  // namespace platform::test
