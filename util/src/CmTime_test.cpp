#include "util/include/CmTime.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(CmTimeValueTest, CountsSecondsAndMicroseconds) {
    EXPECT_EQ(CCmTimeValue().totalMicroseconds(), 0);
    EXPECT_EQ(CCmTimeValue(1, 0).totalMicroseconds(), 1000000);
    EXPECT_EQ(CCmTimeValue(2, 1500000).totalMicroseconds(), 3500000);
    EXPECT_EQ(CCmTimeValue(-1, 250000).totalMicroseconds(), -750000);
    EXPECT_EQ(CCmTimeValue(1, -500000), CCmTimeValue(0, 500000));
    EXPECT_FALSE(CCmTimeValue(1, 0) == CCmTimeValue(0, 1));
}

TEST(CmTimeValueTest, StaysAtTheEndsOfItsRange) {
    constexpr long kMost = std::numeric_limits<long>::max();
    constexpr long kLeast = std::numeric_limits<long>::min();
    constexpr bool kOverflows = sizeof(long) == 8;
    const int64_t most = kOverflows ? std::numeric_limits<int64_t>::max() : int64_t{kMost} * 1000001;
    const int64_t least = kOverflows ? std::numeric_limits<int64_t>::min() : int64_t{kLeast} * 1000001;
    EXPECT_EQ(CCmTimeValue(kMost, kMost).totalMicroseconds(), most);
    EXPECT_EQ(CCmTimeValue(kLeast, kLeast).totalMicroseconds(), least);
}

TEST(TimerPolicyTest, RunsForward) {
    const unsigned long long first = timer_policy::now();
    EXPECT_GE(timer_policy::now(), first);
    while (timer_policy::now() == first) {
    }
}

TEST(TimerPolicyTest, IsReplacedAndPutBack) {
    timer_policy::replace([] { return 42ull; });
    EXPECT_EQ(timer_policy::now(), 42u);
    timer_policy::replace(nullptr);
    EXPECT_NE(timer_policy::now(), 42u);
}

}  // namespace
