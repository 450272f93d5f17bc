#include <gtest/gtest.h>

#include "qorvp/Parameters.h"
#include "qorvp/createFrameWork.h"
#include "vp/src/CHalfSize.h"
#include "vp/src/TestImage.h"

namespace {

using qorvp::kBottomUp;
using qorvp::kErrorArgument;
using qorvp::kErrorUnsupported;
using qorvp::kFormatNv12;
using qorvp::kFormatNv21;
using qorvp::kOk;
using qorvp::Plane;
using qorvp::VpImage;
using qorvp::test::Guard;
using qorvp::test::TestImage;

class HalfSizeStrategyTest : public testing::Test {
  protected:
    int32_t halve(TestImage& from, TestImage& to) { return mHalfSize.Process(5, &from.image(), &to.image()); }

    std::mt19937 mRandom{1};
    qorvp::CHalfSize mHalfSize;
};

int meanAt(const Plane& from, int x, int y, int channel) {
    const auto at = [&](int column, int row) { return from.row(row)[column * from.bytes + channel]; };
    return (at(2 * x, 2 * y) + at(2 * x + 1, 2 * y) + at(2 * x, 2 * y + 1) + at(2 * x + 1, 2 * y + 1) + 2) >> 2;
}

// The samples by the formula, in the order of TestImage::samples().
std::vector<uint8_t> halvesOf(TestImage& from, TestImage& to) {
    std::vector<uint8_t> all;
    for (int index = 0; index < 2; ++index) {
        const Plane source = from.planes().plane[index], shape = to.planes().plane[index];
        for (int y = 0; y < shape.height; ++y) {
            for (int i = 0; i < shape.width * shape.bytes; ++i)
                all.push_back(static_cast<uint8_t>(meanAt(source, i / shape.bytes, y, i % shape.bytes)));
        }
    }
    return all;
}

}  // namespace

TEST_F(HalfSizeStrategyTest, EverySampleIsTheMeanOfItsFour) {
    for (const auto& set : qorvp::featureSets()) {
        qorvp::CHalfSize halfSize(set.features);
        for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
            for (int width = 2; width <= 130; ++width) {
                const int height = 2 + width % 9;
                TestImage from(kFormatNv12, width, height, width % 4, guard),
                    to(kFormatNv12, width / 2, height / 2, width % 3, guard);
                from.fillRandom(mRandom);
                ASSERT_EQ(halfSize.Process(5, &from.image(), &to.image()), kOk);
                ASSERT_EQ(to.samples(), halvesOf(from, to)) << set.name << ' ' << width << 'x' << height;
            }
        }
    }
}

TEST_F(HalfSizeStrategyTest, BytesBetweenRowsStay) {
    for (const int width : {64, 48, 40, 36}) {
        TestImage from(kFormatNv21, width, 8, 5), to(kFormatNv21, width / 2, 4, 3);
        from.fillRandom(mRandom);
        to.fill(7);
        ASSERT_EQ(halve(from, to), kOk);
        for (const Plane& plane : {to.planes().plane[0], to.planes().plane[1]}) {
            for (int y = 0; y + 1 < plane.height; ++y) {
                for (int i = 0; i < 3; ++i) EXPECT_EQ(plane.row(y)[plane.width * plane.bytes + i], 7) << width;
            }
        }
    }
}

TEST_F(HalfSizeStrategyTest, RowsMayLieBottomUp) {
    for (const int height : {8, 9}) {
        TestImage from(kFormatNv12, 32, height), to(kFormatNv12, 16, 4), upright(kFormatNv12, 16, 4);
        from.fillRandom(mRandom);
        from.image().format = to.image().format = kFormatNv12 | kBottomUp;
        ASSERT_EQ(halve(from, to), kOk);
        EXPECT_EQ(to.samples(), halvesOf(from, to)) << height;
    }
}

TEST_F(HalfSizeStrategyTest, OtherFormatsAreUnsupported) {
    const auto frameWork = qorvp::createFrameWork();
    for (const uint32_t format : {23u, 24u, 31u}) {
        TestImage from(format, 8, 8), to(format, 4, 4);
        EXPECT_EQ(frameWork->Process(qorvp::kHalfSize, &from.image(), &to.image()), kErrorUnsupported) << format;
    }
    TestImage from(kFormatNv12, 8, 8), to(kFormatNv12, 4, 4);
    EXPECT_EQ(frameWork->Process(qorvp::kHalfSize, &from.image(), &to.image()), kOk);
    from.image().format = to.image().format = 9;
    EXPECT_EQ(frameWork->Process(qorvp::kHalfSize, &from.image(), &to.image()), kErrorUnsupported);
    from.image().format = to.image().format = qorvp::kFormatBgra;
    EXPECT_EQ(halve(from, to), kErrorUnsupported);
}

TEST_F(HalfSizeStrategyTest, SizesThatAreNotHalfAreRefused) {
    for (const auto& [width, height] : {std::pair{4, 3}, {5, 3}, {4, 4}, {3, 4}, {9, 7}}) {
        TestImage from(kFormatNv12, 9, 7), to(kFormatNv12, width, height);
        EXPECT_EQ(halve(from, to), width == 4 && height == 3 ? kOk : kErrorArgument) << width << 'x' << height;
    }
}

TEST_F(HalfSizeStrategyTest, OnePixelHasNoHalf) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 8}, {8, 1}}) {
        TestImage from(kFormatNv12, width, height), to(kFormatNv12, 4, 4);
        to.image().width = width / 2;
        to.image().height = height / 2;
        EXPECT_EQ(halve(from, to), kErrorArgument);
    }
}

TEST_F(HalfSizeStrategyTest, HalfOfTwoHasNoChroma) {
    TestImage from(kFormatNv12, 2, 2), to(kFormatNv12, 1, 1);
    from.fill(50);
    to.fill(7);
    EXPECT_EQ(halve(from, to), kOk);
    EXPECT_EQ(to.image().planes[0][0], 50);
    EXPECT_EQ(to.image().planes[1][0], 7);
}

TEST_F(HalfSizeStrategyTest, ImagesThatDoNotGoTogetherAreRefused) {
    TestImage from(kFormatNv12, 8, 8), to(kFormatNv12, 4, 4), other(kFormatNv21, 4, 4);
    EXPECT_EQ(halve(from, other), kErrorArgument);
    EXPECT_EQ(mHalfSize.Process(5, nullptr, &to.image()), kErrorArgument);
    EXPECT_EQ(mHalfSize.Process(5, &from.image(), nullptr), kErrorArgument);
    VpImage inside = from.image();
    inside.width = inside.height = 4;
    EXPECT_EQ(mHalfSize.Process(5, &from.image(), &inside), kErrorArgument);
    from.image().stride0 = 7;
    EXPECT_EQ(halve(from, to), kErrorArgument);
    from.image().stride0 = 8;
    EXPECT_EQ(halve(from, to), kOk);
    for (VpImage* image : {&from.image(), &to.image()}) {
        for (uint8_t** plane : {&image->planes[0], &image->planes[1]}) {
            uint8_t* const held = std::exchange(*plane, nullptr);
            EXPECT_EQ(halve(from, to), kErrorArgument);
            *plane = held;
        }
    }
}
