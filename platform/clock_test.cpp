#include "platform/include/clock.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(ClockTest, TicksAndMicrosecondsNeverGoBack) {
    uint64_t before = monotonicMicroseconds();
    uint32_t tickBefore = tickCount();
    for (int i = 0; i < 10000; ++i) {
        const uint64_t now = monotonicMicroseconds();
        const uint32_t tick = tickCount();
        ASSERT_GE(now, before);
        ASSERT_LT(tick - tickBefore, 0x80000000u);
        before = now;
        tickBefore = tick;
    }
}

TEST(ClockTest, SleepTakesAtLeastItsTime) {
    const uint64_t before = monotonicMicroseconds();
    sleepMilliseconds(15);
    EXPECT_GE(monotonicMicroseconds() - before, 15000u);
}

TEST(ClockTest, SleepOfNothingReturns) {
    sleepMilliseconds(0);
}

TEST(ClockTest, TickSourceCanBeReplacedAndPutBack) {
    replaceTickSource([]() -> uint32_t { return 0xFFFFFFFFu; });
    EXPECT_EQ(tickCount(), 0xFFFFFFFFu);
    replaceTickSource([]() -> uint32_t { return 3; });
    EXPECT_EQ(tickCount(), 3u);
    replaceTickSource(nullptr);
    const uint32_t first = tickCount();
    const uint64_t end = monotonicMicroseconds() + 40000;
    while (monotonicMicroseconds() < end) {
    }
    EXPECT_NE(tickCount(), first);
}

}  // namespace
}  // namespace platform
