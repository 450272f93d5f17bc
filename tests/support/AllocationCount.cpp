#include "tests/support/AllocationCount.h"

#include <cstdlib>
#include <new>

namespace {

thread_local size_t allocations = 0;

void* counted(size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}

}  // namespace

size_t zeltest::allocationCount() {
    return allocations;
}

void* operator new(size_t size) {
    return counted(size);
}
void* operator new[](size_t size) {
    return counted(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
    std::free(memory);
}
