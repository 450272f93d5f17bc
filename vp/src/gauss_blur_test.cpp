#include "qorvp/CGaussBlur.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <tuple>

#include "vp/src/TestImage.h"

namespace {

using qorvp::CGaussBlur;
using qorvp::kErrorArgument;
using qorvp::kErrorUnsupported;
using qorvp::kOk;
using qorvp::VpImage;
using qorvp::test::kAllFormats;
using qorvp::test::TestImage;

class GaussBlurTest : public testing::Test {
  protected:
    void setSigma(float sigma) { EXPECT_EQ(mBlur.SetParam(2, &sigma), kOk); }
    int32_t blur(TestImage& from, TestImage& to) { return mBlur.Process(2, &from.image(), &to.image()); }
    std::vector<uint8_t> blurred(uint32_t format, int width, int height) {
        std::mt19937 random(7);
        TestImage image(format, width, height);
        image.fillRandom(random);
        EXPECT_EQ(blur(image, image), kOk);
        return image.samples();
    }

    std::mt19937 mRandom{1};
    CGaussBlur mBlur;
};

}  // namespace

TEST_F(GaussBlurTest, OnlyItsFormatsAreBlurred) {
    setSigma(3);
    for (const uint32_t format : kAllFormats) {
        const bool own = format != 1 && format != 5 && format != 26 && format != 29;
        TestImage image(format, 8, 8);
        EXPECT_EQ(blur(image, image), own ? kOk : kErrorUnsupported) << format;
    }
    TestImage image(qorvp::kFormatGrey, 8, 8);
    image.image().format = 9;
    EXPECT_EQ(blur(image, image), kErrorUnsupported);
}

TEST_F(GaussBlurTest, EveryPlaneIsBlurredAtItsOwnSize) {
    setSigma(2);
    TestImage from(qorvp::kFormatI420, 13, 7, 2), to(qorvp::kFormatI420, 13, 7, 1);
    from.fillRandom(mRandom);
    EXPECT_EQ(blur(from, to), kOk);
    // As planes of their own, the chroma with sides rounded down.
    const std::pair<int, int> sizes[] = {{13, 7}, {6, 3}, {6, 3}};
    for (int plane = 0; plane < 3; ++plane) {
        VpImage alone = from.image();
        alone.format = qorvp::kFormatGrey;
        alone.planes[0] = from.image().planes[plane];
        alone.stride0 = plane == 0 ? from.image().stride0 : from.image().stride1;
        std::tie(alone.width, alone.height) = sizes[plane];
        TestImage expected(qorvp::kFormatGrey, alone.width, alone.height);
        EXPECT_EQ(mBlur.Process(2, &alone, &expected.image()), kOk);
        std::vector<uint8_t> samples;
        const qorvp::Plane own = to.planes().plane[plane];
        for (int y = 0; y < own.height; ++y) samples.insert(samples.end(), own.row(y), own.row(y) + own.width);
        EXPECT_EQ(samples, expected.samples()) << plane;
    }
}

TEST_F(GaussBlurTest, SingleRowOrColumnHasNoChroma) {
    setSigma(2);
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 5}, {5, 1}}) {
        TestImage image(qorvp::kFormatYv12, width, height);
        EXPECT_EQ(blur(image, image), kOk);
    }
}

TEST_F(GaussBlurTest, WorksInPlaceAsBetweenImages) {
    setSigma(4);
    TestImage from(qorvp::kFormatRgba, 33, 21, 4), to(qorvp::kFormatRgba, 33, 21);
    from.fillRandom(mRandom);
    EXPECT_EQ(blur(from, to), kOk);
    EXPECT_EQ(blur(from, from), kOk);
    EXPECT_EQ(from.samples(), to.samples());
}

TEST_F(GaussBlurTest, BottomUpRowsAreBlurredTheSameWay) {
    setSigma(4);
    TestImage image(qorvp::kFormatBgra, 20, 11, 4);
    image.fillRandom(mRandom);
    image.image().format |= qorvp::kBottomUp;
    TestImage to(qorvp::kFormatBgra, 20, 11);
    to.image().format |= qorvp::kBottomUp;
    EXPECT_EQ(blur(image, to), kOk);
    TestImage upright(qorvp::kFormatBgra, 20, 11);
    for (int y = 0; y < 11; ++y) std::copy_n(image.planes().plane[0].row(y), 80, upright.planes().plane[0].row(y));
    EXPECT_EQ(blur(upright, upright), kOk);
    EXPECT_EQ(to.samples(), upright.samples());
}

TEST_F(GaussBlurTest, WhatLiesBetweenRowsStays) {
    setSigma(4);
    TestImage from(qorvp::kFormatGrey, 9, 9), to(qorvp::kFormatGrey, 9, 9, 6);
    from.fill(50);
    to.fill(200);
    EXPECT_EQ(blur(from, to), kOk);
    const std::vector<uint8_t> bytes = to.bytes();
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 200), 8 * 6);
}

TEST_F(GaussBlurTest, ImagesThatDoNotGoTogetherAreRefused) {
    TestImage image(qorvp::kFormatBgra, 8, 8);
    EXPECT_EQ(mBlur.Process(2, nullptr, &image.image()), kErrorArgument);
    EXPECT_EQ(mBlur.Process(2, &image.image(), nullptr), kErrorArgument);
    TestImage wider(qorvp::kFormatBgra, 9, 8), higher(qorvp::kFormatBgra, 8, 9), other(qorvp::kFormatRgba, 8, 8);
    for (TestImage* to : {&wider, &higher, &other}) EXPECT_EQ(blur(image, *to), kErrorArgument);
    VpImage overlapping = image.image();
    overlapping.planes[0] += 4;
    overlapping.height = 7;
    VpImage part = image.image();
    part.height = 7;
    EXPECT_EQ(mBlur.Process(2, &part, &overlapping), kErrorArgument);
    --image.image().stride0;
    EXPECT_EQ(blur(image, image), kErrorArgument);
    ++image.image().stride0;
    EXPECT_EQ(blur(image, image), kOk);
    image.image().planes[0] = nullptr;
    EXPECT_EQ(blur(image, image), kErrorArgument);
}

TEST_F(GaussBlurTest, LastSigmaOfAnyBlurHoldsForAll) {
    setSigma(1);
    const std::vector<uint8_t> narrow = blurred(qorvp::kFormatGrey, 40, 40);
    CGaussBlur other;
    const float wide = 9;
    EXPECT_EQ(other.SetParam(2, &wide), kOk);
    EXPECT_NE(blurred(qorvp::kFormatGrey, 40, 40), narrow);
    float sigma = 0;
    EXPECT_EQ(mBlur.GetParam(2, &sigma), kOk);
    EXPECT_EQ(sigma, 1);
    setSigma(1);
    EXPECT_EQ(blurred(qorvp::kFormatGrey, 40, 40), narrow);
}

TEST_F(GaussBlurTest, SigmaIsToldAsItWasGiven) {
    for (const float given : {0.1f, -2.0f, 1e6f}) {
        setSigma(given);
        float told = 0;
        EXPECT_EQ(mBlur.GetParam(2, &told), kOk);
        EXPECT_EQ(told, given);
    }
}

TEST_F(GaussBlurTest, NullParameterIsRefused) {
    EXPECT_EQ(mBlur.SetParam(2, nullptr), kErrorArgument);
    EXPECT_EQ(mBlur.GetParam(2, nullptr), kErrorArgument);
}

TEST_F(GaussBlurTest, SizesMayChangeFromCallToCall) {
    setSigma(3);
    const std::vector<uint8_t> first = blurred(qorvp::kFormatBgra, 30, 20);
    blurred(qorvp::kFormatGrey, 200, 100);
    blurred(qorvp::kFormatBgra, 3, 2);
    EXPECT_EQ(blurred(qorvp::kFormatBgra, 30, 20), first);
    EXPECT_EQ(mBlur.Uninit(2), kOk);
    EXPECT_EQ(blurred(qorvp::kFormatBgra, 30, 20), first);
}
