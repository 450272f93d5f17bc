#include "util/include/CmTime.h"

#include <atomic>
#include <limits>

#include "platform/include/clock.h"

namespace {

constexpr int64_t kMicrosecondsPerSecond = 1000000;

std::atomic<timer_policy::Source> g_source{nullptr};

}  // namespace

int64_t CCmTimeValue::totalMicroseconds() const {
    const int64_t end = m_seconds < 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
    int64_t total = 0;
    if (__builtin_mul_overflow(static_cast<int64_t>(m_seconds), kMicrosecondsPerSecond, &total)) return end;
    if (__builtin_add_overflow(total, static_cast<int64_t>(m_microseconds), &total)) return end;
    return total;
}

unsigned long long timer_policy::now() {
    const Source source = g_source.load(std::memory_order_acquire);
    return source != nullptr ? source() : platform::monotonicMicroseconds();
}

void timer_policy::replace(Source source) {
    g_source.store(source, std::memory_order_release);
}
