#include "client/src/LargeBlocks.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define HEAP_OF_A_SANITIZER
#include <sanitizer/allocator_interface.h>
#endif
#endif

namespace {

thread_local size_t refusedFrom = SIZE_MAX;  // bytes
thread_local bool neverWaits = false;

std::atomic<size_t> waitFrom{SIZE_MAX};  // bytes
std::mutex waitMutex;
std::condition_variable waitChanged;
size_t waiting = 0;  // threads, under waitMutex

void waitWithLargeBlock(size_t size) {
    if (size < waitFrom || neverWaits) return;
    std::unique_lock lock(waitMutex);
    ++waiting;
    waitChanged.notify_all();
    waitChanged.wait(lock, [size] { return size < waitFrom; });
    --waiting;
}

}  // namespace

#ifdef HEAP_OF_A_SANITIZER

// The sanitizers have operators of their own, and call this for every block that they give.
extern "C" void __sanitizer_malloc_hook(const volatile void*, size_t size) {
    waitWithLargeBlock(size);
}

#else

namespace {

void* allocated(size_t size) {
    if (size >= refusedFrom) throw std::bad_alloc();
    waitWithLargeBlock(size);
    if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(size_t size) {
    return allocated(size);
}
void* operator new[](size_t size) {
    return allocated(size);
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

#endif

LargeBlocksWait::LargeBlocksWait(size_t bytes) {
    neverWaits = true;
    waitFrom = bytes;
}

bool LargeBlocksWait::someoneWaits() {
    std::unique_lock lock(waitMutex);
    return waitChanged.wait_for(lock, std::chrono::seconds(30), [] { return waiting > 0; });
}

void LargeBlocksWait::end() {
    {
        std::lock_guard lock(waitMutex);
        waitFrom = SIZE_MAX;
    }
    waitChanged.notify_all();
    neverWaits = false;
}

LargeBlocksRefused::LargeBlocksRefused(size_t bytes) {
    refusedFrom = bytes;
}

LargeBlocksRefused::~LargeBlocksRefused() {
    refusedFrom = SIZE_MAX;
}
