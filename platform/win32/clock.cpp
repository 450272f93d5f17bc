#include "platform/include/clock.h"

#include <windows.h>

#include <atomic>

namespace platform {
namespace {

std::atomic<TickSource> replacedSource{nullptr};

uint64_t counterFrequency() {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return static_cast<uint64_t>(frequency.QuadPart);
}

}  // namespace

uint32_t tickCount() {
    if (const TickSource source = replacedSource.load()) return source();
    return GetTickCount();
}

void replaceTickSource(TickSource source) {
    replacedSource = source;
}

uint64_t monotonicMicroseconds() {
    static const uint64_t frequency = counterFrequency();
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    const auto count = static_cast<uint64_t>(counter.QuadPart);
    // Split, so that the product stays inside 64 bits.
    return count / frequency * 1000000 + count % frequency * 1000000 / frequency;
}

void sleepMilliseconds(uint32_t milliseconds) {
    const uint64_t end = monotonicMicroseconds() + uint64_t{milliseconds} * 1000;
    for (uint64_t now = monotonicMicroseconds(); now < end; now = monotonicMicroseconds()) {
        Sleep(static_cast<DWORD>((end - now + 999) / 1000));
    }
}

}  // namespace platform
