#include "vp/src/FlushDenormals.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

float halfOf(volatile float value) {
    return value / 2;
}

constexpr float kLeastNormal = std::numeric_limits<float>::min();

}  // namespace

TEST(FlushDenormalsTest, SmallNumbersAreZeroWhileItLives) {
    EXPECT_GT(halfOf(kLeastNormal), 0.0f);
    {
        const qorvp::FlushDenormals flush;
        EXPECT_EQ(halfOf(kLeastNormal), 0.0f);
    }
    EXPECT_GT(halfOf(kLeastNormal), 0.0f);
}
