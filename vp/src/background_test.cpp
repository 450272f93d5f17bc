#include <gtest/gtest.h>

#include "qorvp/Parameters.h"
#include "qorvp/createFrameWork.h"
#include "vp/src/TestImage.h"

// The road of docs/vp.md: a frame of video, its background blurred.

namespace {

using qorvp::test::TestImage;

bool blurBackground(qorvp::CVpFrameWork& vp, qorvp::VpImage frame, qorvp::VpImage picture, qorvp::VpImage background,
                    qorvp::VpImage mask) {
    const float sigma = 10;
    const qorvp::BlendParameter person = {mask};
    return vp.Process(qorvp::kConverter, &frame, &picture) == qorvp::kOk &&
           vp.SetParam(qorvp::kBlur, &sigma) == qorvp::kOk &&
           vp.Process(qorvp::kBlur, &picture, &background) == qorvp::kOk &&
           vp.SetParam(qorvp::kBlend, &person) == qorvp::kOk &&
           vp.Process(qorvp::kBlend, &picture, &background) == qorvp::kOk;
}

constexpr int kWidth = 240;
constexpr int kHeight = 32;
constexpr int kBorder = 90;  // where the last stripe goes on for ever to the blur

bool isPerson(int x) {
    return x < kWidth / 2;
}

}  // namespace

TEST(BackgroundTest, PersonStaysSharpBeforeABlurredBackground) {
    TestImage frame(qorvp::kFormatNv12, kWidth, kHeight), picture(qorvp::kFormatBgra, kWidth, kHeight),
        background(qorvp::kFormatBgra, kWidth, kHeight), mask(qorvp::kFormatGrey, kWidth, kHeight);
    frame.fill(128);
    // Stripes of black and white, a column each.
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            frame.planes().plane[0].row(y)[x] = x % 2 == 0 ? 16 : 235;
            mask.planes().plane[0].row(y)[x] = isPerson(x) ? 255 : 0;
        }
    }
    const auto vp = qorvp::createFrameWork();
    ASSERT_TRUE(blurBackground(*vp, frame.image(), picture.image(), background.image(), mask.image()));
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth - kBorder; ++x) {
            const uint8_t* const pixel = background.planes().plane[0].row(y) + x * 4;
            const int sharp = x % 2 == 0 ? 0 : 253;
            EXPECT_NEAR(pixel[1], isPerson(x) ? sharp : 126, isPerson(x) ? 1 : 16) << x << ", " << y;
            EXPECT_GE(pixel[3], 254);
        }
    }
}
