#include "vp/src/CBlend.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "vp/src/BlendRow.h"
#include "vp/src/TestImage.h"

namespace {

using qorvp::BlendParameter;
using qorvp::kErrorArgument;
using qorvp::kErrorUnsupported;
using qorvp::kOk;
using qorvp::VpImage;
using qorvp::test::Guard;
using qorvp::test::kAllFormats;
using qorvp::test::TestImage;

class BlendTest : public testing::Test {
  protected:
    int32_t blend(TestImage& foreground, TestImage& mask, TestImage& background) {
        const BlendParameter parameter = {mask.image()};
        EXPECT_EQ(mBlend.SetParam(7, &parameter), kOk);
        return mBlend.Process(7, &foreground.image(), &background.image());
    }

    std::mt19937 mRandom{1};
    qorvp::CBlend mBlend;
};

}  // namespace

TEST(BlendRowTest, EveryMaskValueFollowsTheFormula) {
    for (int mask = 0; mask < 256; ++mask) {
        const auto m = static_cast<uint8_t>(mask);
        const uint8_t foreground[] = {0, 255, 100, 7};
        uint8_t background[] = {255, 0, 100, 200};
        qorvp::blendRow(foreground, &m, background, 1, 4);
        EXPECT_EQ(background[0], (256 - mask) * 255 / 256) << mask;
        EXPECT_EQ(background[1], mask * 255 / 256) << mask;
        EXPECT_EQ(background[2], 100) << mask;
        EXPECT_EQ(background[3], ((256 - mask) * 200 + mask * 7) / 256) << mask;
    }
}

TEST(BlendRowTest, WholeMaskLeavesATraceOfTheBackground) {
    const uint8_t foreground = 0, mask = 255;
    uint8_t background = 255;
    qorvp::blendRow(&foreground, &mask, &background, 1, 1);
    EXPECT_EQ(background, 0);
    background = 200;
    const uint8_t bright = 255;
    qorvp::blendRow(&bright, &mask, &background, 1, 1);
    EXPECT_EQ(background, 254);
}

TEST_F(BlendTest, EachPixelHasItsOwnWeight) {
    for (const uint32_t format : {2u, 5u, 6u, 7u, 8u, 31u}) {
        for (const auto& [width, height] : {std::pair{1, 1}, {7, 3}, {130, 5}}) {
            for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                TestImage from(format, width, height, 1, guard), mask(qorvp::kFormatGrey, width, height, 2, guard),
                    to(format, width, height, 3, guard);
                for (TestImage* image : {&from, &mask, &to}) image->fillRandom(mRandom);
                std::vector<uint8_t> expected = to.samples();
                const std::vector<uint8_t> front = from.samples(), weights = mask.samples();
                const size_t bytes = front.size() / weights.size();
                for (size_t i = 0; i < expected.size(); ++i) {
                    const int m = weights[i / bytes];
                    expected[i] = static_cast<uint8_t>(((256 - m) * expected[i] + m * front[i]) >> 8);
                }
                ASSERT_EQ(blend(from, mask, to), kOk);
                EXPECT_EQ(to.samples(), expected) << format;
            }
        }
    }
}

TEST_F(BlendTest, EmptyMaskLeavesTheBackground) {
    TestImage from(qorvp::kFormatBgra, 20, 10), mask(qorvp::kFormatGrey, 20, 10), to(qorvp::kFormatBgra, 20, 10);
    from.fillRandom(mRandom);
    to.fillRandom(mRandom);
    const std::vector<uint8_t> before = to.samples();
    EXPECT_EQ(blend(from, mask, to), kOk);
    EXPECT_EQ(to.samples(), before);
}

TEST_F(BlendTest, MaskMayLieBottomUp) {
    TestImage from(qorvp::kFormatGrey, 1, 2), mask(qorvp::kFormatGrey, 1, 2), to(qorvp::kFormatGrey, 1, 2);
    from.fill(256 / 2);
    mask.image().planes[0][1] = 128;
    mask.image().format |= qorvp::kBottomUp;
    EXPECT_EQ(blend(from, mask, to), kOk);
    EXPECT_EQ(to.samples(), (std::vector<uint8_t>{64, 0}));
}

TEST_F(BlendTest, OtherFormatsAreUnsupported) {
    for (const uint32_t format : kAllFormats) {
        TestImage from(format, 4, 4), mask(qorvp::kFormatGrey, 4, 4), to(format, 4, 4);
        const bool own = format != 1 && format != 23 && format != 24 && format != 26 && format != 29;
        EXPECT_EQ(blend(from, mask, to), own ? kOk : kErrorUnsupported) << format;
    }
}

TEST_F(BlendTest, ImagesThatDoNotGoTogetherAreRefused) {
    TestImage from(qorvp::kFormatBgra, 4, 4), mask(qorvp::kFormatGrey, 4, 4), to(qorvp::kFormatBgra, 4, 4),
        wider(qorvp::kFormatBgra, 5, 4), small(qorvp::kFormatGrey, 4, 3), coloured(qorvp::kFormatBgra, 4, 4);
    EXPECT_EQ(mBlend.Process(7, &from.image(), &to.image()), kErrorArgument);
    EXPECT_EQ(blend(from, mask, wider), kErrorArgument);
    EXPECT_EQ(blend(from, small, to), kErrorArgument);
    EXPECT_EQ(blend(from, coloured, to), kErrorArgument);
    EXPECT_EQ(mBlend.Process(7, nullptr, &to.image()), kErrorArgument);
    EXPECT_EQ(mBlend.Process(7, &from.image(), nullptr), kErrorArgument);
    EXPECT_EQ(blend(from, mask, from), kOk);
    VpImage shifted = from.image();
    shifted.planes[0] += 4;
    shifted.height = 3;
    mask.image().height = 3;
    VpImage part = from.image();
    part.height = 3;
    const BlendParameter parameter = {mask.image()};
    EXPECT_EQ(mBlend.SetParam(7, &parameter), kOk);
    EXPECT_EQ(mBlend.Process(7, &part, &shifted), kErrorArgument);
}

TEST_F(BlendTest, MaskIsForgottenWithUninit) {
    TestImage from(qorvp::kFormatBgra, 4, 4), mask(qorvp::kFormatGrey, 4, 4), to(qorvp::kFormatBgra, 4, 4);
    EXPECT_EQ(blend(from, mask, to), kOk);
    BlendParameter parameter{};
    EXPECT_EQ(mBlend.GetParam(7, &parameter), kOk);
    EXPECT_EQ(parameter.mask.planes[0], mask.image().planes[0]);
    EXPECT_EQ(mBlend.Uninit(7), kOk);
    EXPECT_EQ(mBlend.Process(7, &from.image(), &to.image()), kErrorArgument);
    EXPECT_EQ(mBlend.SetParam(7, nullptr), kErrorArgument);
    EXPECT_EQ(mBlend.GetParam(7, nullptr), kErrorArgument);
}
