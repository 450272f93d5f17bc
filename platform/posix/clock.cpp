#include "platform/include/clock.h"

#include <atomic>
#include <cerrno>
#include <ctime>

namespace platform {
namespace {

std::atomic<TickSource> replacedSource{nullptr};

timespec monotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

}  // namespace

uint32_t tickCount() {
    if (const TickSource source = replacedSource.load()) return source();
    return static_cast<uint32_t>(monotonicMicroseconds() / 1000);
}

void replaceTickSource(TickSource source) {
    replacedSource = source;
}

uint64_t monotonicMicroseconds() {
    const timespec now = monotonicNow();
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

void sleepMilliseconds(uint32_t milliseconds) {
    timespec end = monotonicNow();
    end.tv_sec += milliseconds / 1000;
    end.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (end.tv_nsec >= 1000000000) {
        end.tv_nsec -= 1000000000;
        ++end.tv_sec;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

}  // namespace platform
