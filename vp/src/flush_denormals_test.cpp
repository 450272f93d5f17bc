#include "vp/src/FlushDenormals.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

// Not known before it runs.
float halfOf(float value) {
    volatile float number = value;
    number = number / 2;
    return number;
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
