#include "vp/src/AlignedFloats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace {

using qorvp::AlignedFloats;

bool isAligned(const float* floats) {
    return reinterpret_cast<uintptr_t>(floats) % 64 == 0;
}

}  // namespace

TEST(AlignedFloatsTest, EveryMemoryBeginsAtAMultipleOf64) {
    AlignedFloats many[20];
    for (size_t i = 0; i < std::size(many); ++i) {
        many[i].reserve(i * 7 + 1);
        ASSERT_NE(many[i].data(), nullptr);
        EXPECT_TRUE(isAligned(many[i].data())) << i;
    }
}

TEST(AlignedFloatsTest, MemoryIsKeptForAsManyAndFewer) {
    AlignedFloats floats, between;
    floats.reserve(100);
    float* const data = floats.data();
    for (const size_t count : {100, 1, 99, 100}) {
        std::fill_n(data, 100, 3.0f);
        floats.reserve(count);
        between.reserve(count);  // would get what had been given back
        EXPECT_EQ(floats.data(), data) << count;
        EXPECT_EQ(std::count(data, data + 100, 3.0f), 100) << count;
    }
}

TEST(AlignedFloatsTest, MemoryGrowsWhenMoreIsAskedFor) {
    AlignedFloats floats;
    for (const size_t count : {16, 17, 100, 1 << 20}) {
        floats.reserve(count);
        EXPECT_TRUE(isAligned(floats.data())) << count;
        std::fill_n(floats.data(), count, 3.0f);
        EXPECT_EQ(floats.data()[count - 1], 3.0f);
    }
}

TEST(AlignedFloatsTest, ReleasedMemoryComesAgain) {
    AlignedFloats floats;
    EXPECT_EQ(floats.data(), nullptr);
    floats.reserve(100);
    floats.release();
    EXPECT_EQ(floats.data(), nullptr);
    floats.reserve(50);
    ASSERT_NE(floats.data(), nullptr);
    std::fill_n(floats.data(), 50, 3.0f);
}
