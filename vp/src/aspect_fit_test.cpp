#include "vp/src/CAspectFit.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include "qorvp/createFrameWork.h"
#include "vp/src/TestImage.h"

namespace {

using qorvp::AspectFitParameter;
using qorvp::kErrorArgument;
using qorvp::kErrorFailed;
using qorvp::kOk;
using qorvp::VpImage;
using qorvp::test::TestImage;

VpImage frameOf(int32_t width, int32_t height, uint32_t format = qorvp::kFormatBgra) {
    VpImage frame{};
    frame.width = width;
    frame.height = height;
    frame.format = format;
    return frame;
}

class AspectFitTest : public testing::Test {
  protected:
    int32_t fit(const AspectFitParameter& parameter, VpImage source) {
        EXPECT_EQ(mFit.SetParam(13, &parameter), kOk);
        return mFit.Process(13, &source, &mRegion);
    }
    void expectRegion(const AspectFitParameter& parameter, const VpImage& source, int32_t left, int32_t top,
                      int32_t right, int32_t bottom) {
        ASSERT_EQ(fit(parameter, source), kOk);
        EXPECT_EQ(std::tuple(mRegion.cropX, mRegion.cropY, mRegion.width, mRegion.height),
                  std::tuple(left, top, right, bottom));
    }

    qorvp::CAspectFit mFit;
    VpImage mRegion{};
};

}  // namespace

// 1280 / 4 is 320, 720 / 3 is 240; 1000 / 16 is 62.
TEST_F(AspectFitTest, SmallerQuotientGivesTheRegionInTheMiddle) {
    expectRegion({0, 0, 4, 3}, frameOf(1280, 720), 160, 0, 1120, 720);
    expectRegion({0, 0, 16, 9}, frameOf(1000, 1000), 4, 221, 996, 779);
    expectRegion({0, 0, 2, 1}, frameOf(101, 100), 0, 25, 100, 75);
    expectRegion({0, 0, 1280, 720}, frameOf(1280, 720), 0, 0, 1280, 720);
}

TEST_F(AspectFitTest, PairIsTurnedToTheFramesOrientation) {
    expectRegion({0, 0, 3, 4}, frameOf(1280, 720), 160, 0, 1120, 720);
    expectRegion({0, 0, 4, 3}, frameOf(720, 1280), 0, 160, 720, 1120);
    expectRegion({0, 0, 3, 4}, frameOf(720, 1280), 0, 160, 720, 1120);
    expectRegion({0, 0, 1, 1}, frameOf(720, 1280), 0, 280, 720, 1000);
}

TEST_F(AspectFitTest, SquareIsLandscape) {
    expectRegion({0, 0, 1, 2}, frameOf(100, 100), 0, 25, 100, 75);
    expectRegion({0, 0, 2, 1}, frameOf(100, 100), 0, 25, 100, 75);
}

TEST_F(AspectFitTest, TargetIsTakenAsItStands) {
    expectRegion({300, 500, 4, 3}, frameOf(1280, 720), 490, 110, 790, 610);
    expectRegion({1280, 720, 0, 0}, frameOf(1280, 720), 0, 0, 1280, 720);
    expectRegion({7, 1, 0, 0}, frameOf(8, 4), 0, 1, 7, 2);
}

TEST_F(AspectFitTest, TargetOfOneValueIsNone) {
    expectRegion({300, 0, 4, 3}, frameOf(1280, 720), 160, 0, 1120, 720);
    expectRegion({0, 3000, 4, 3}, frameOf(1280, 720), 160, 0, 1120, 720);
}

TEST_F(AspectFitTest, HalvedChromaBeginsAtAnEvenPlace) {
    for (const uint32_t format : {23u, 24u, 26u, 29u, 29u | qorvp::kBottomUp})
        expectRegion({6, 6, 0, 0}, frameOf(8, 12, format), 0, 2, 6, 8);
    for (const uint32_t format : {2u, 5u, 31u}) expectRegion({6, 6, 0, 0}, frameOf(8, 12, format), 1, 3, 7, 9);
}

TEST_F(AspectFitTest, RatioThatCannotBeFails) {
    EXPECT_EQ(fit({0, 0, 0, 0}, frameOf(1280, 720)), kErrorFailed);
    EXPECT_EQ(fit({0, 0, 4, 0}, frameOf(1280, 720)), kErrorFailed);
    EXPECT_EQ(fit({300, 0, 0, 3}, frameOf(1280, 720)), kErrorFailed);
    EXPECT_EQ(fit({0, 0, 16, 9}, frameOf(10, 10)), kErrorFailed);
    EXPECT_EQ(fit({0, 0, 9, 16}, frameOf(20, 8)), kErrorFailed);
    const int32_t most = std::numeric_limits<int32_t>::max();
    EXPECT_EQ(fit({0, 0, most, most}, frameOf(most - 1, most)), kErrorFailed);
    EXPECT_EQ(mRegion.width, 0);
}

TEST_F(AspectFitTest, NumbersThatDoNotGoAreRefused) {
    const AspectFitParameter wrong[] = {{-1, 0, 4, 3}, {0, -1, 4, 3},   {0, 0, -4, 3},
                                        {0, 0, 4, -3}, {1281, 1, 4, 3}, {1, 721, 4, 3}};
    for (const AspectFitParameter& parameter : wrong) EXPECT_EQ(fit(parameter, frameOf(1280, 720)), kErrorArgument);
    for (const auto& [width, height] : {std::pair{0, 0}, {0, 5}, {5, 0}, {-5, 5}})
        EXPECT_EQ(fit({0, 0, 1, 1}, frameOf(width, height)), kErrorArgument);
    VpImage frame = frameOf(4, 4);
    EXPECT_EQ(mFit.Process(13, nullptr, &mRegion), kErrorArgument);
    EXPECT_EQ(mFit.Process(13, &frame, nullptr), kErrorArgument);
    EXPECT_EQ(mRegion.width, 0);
}

TEST_F(AspectFitTest, RatioIsNotLookedAtBesideATarget) {
    expectRegion({640, 360, -4, 3}, frameOf(1280, 720), 320, 180, 960, 540);
}

TEST_F(AspectFitTest, LargestNumbersDoNotOverflow) {
    const int32_t most = std::numeric_limits<int32_t>::max();
    expectRegion({0, 0, most, 1}, frameOf(most, most), 0, most / 2, most, most / 2 + 1);
    expectRegion({most, most, 0, 0}, frameOf(most, most), 0, 0, most, most);
    expectRegion({0, 0, 65536, 65536}, frameOf(most, most), 32767, 32767, most - 32768, most - 32768);
}

TEST_F(AspectFitTest, DestinationWithoutAPlaneBecomesAView) {
    TestImage frame(qorvp::kFormatI420, 16, 8, 3), other(qorvp::kFormatI420, 4, 4);
    VpImage& source = frame.image();
    mRegion.reserved = 5;
    mRegion.reserved2 = 6;
    expectRegion({0, 0, 1, 1}, source, 4, 0, 12, 8);
    EXPECT_EQ(mRegion.planes[0], source.planes[0]);
    EXPECT_EQ(mRegion.planes[1], source.planes[1]);
    EXPECT_EQ(mRegion.planes[2], source.planes[2]);
    EXPECT_EQ(std::tuple(mRegion.stride0, mRegion.stride1, mRegion.format),
              std::tuple(source.stride0, source.stride1, source.format));
    EXPECT_EQ(std::tuple(mRegion.reserved, mRegion.reserved2), std::tuple(5u, 6u));

    mRegion = other.image();
    mRegion.format = qorvp::kFormatNv12;
    expectRegion({0, 0, 1, 1}, source, 4, 0, 12, 8);
    EXPECT_EQ(mRegion.planes[0], other.image().planes[0]);
    EXPECT_EQ(std::tuple(mRegion.stride0, mRegion.stride1, mRegion.format),
              std::tuple(other.image().stride0, other.image().stride1, qorvp::kFormatNv12));
}

TEST_F(AspectFitTest, ParameterIsTold) {
    const AspectFitParameter given = {1, 2, 3, 4};
    AspectFitParameter told{};
    EXPECT_EQ(mFit.SetParam(13, &given), kOk);
    EXPECT_EQ(mFit.GetParam(13, &told), kOk);
    EXPECT_EQ(std::tuple(told.targetWidth, told.targetHeight, told.ratioWidth, told.ratioHeight),
              std::tuple(1, 2, 3, 4));
}

// The road of a frame to a picture of another shape: its middle is found, then scaled.
TEST_F(AspectFitTest, FrontObjectScalesTheRegionThatItFound) {
    const auto vp = qorvp::createFrameWork();
    TestImage frame(qorvp::kFormatGrey, 40, 20), middle(qorvp::kFormatGrey, 20, 20);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 40; ++x) frame.image().planes[0][y * 40 + x] = static_cast<uint8_t>(x + y);
    }
    const AspectFitParameter square = {0, 0, 1, 1};
    ASSERT_EQ(vp->SetParam(qorvp::kAspectFit, &square), kOk);
    VpImage region{};
    ASSERT_EQ(vp->Process(qorvp::kAspectFit, &frame.image(), &region), kOk);
    EXPECT_EQ(std::tuple(region.cropX, region.cropY, region.width, region.height), std::tuple(10, 0, 30, 20));
    ASSERT_EQ(vp->Process(qorvp::kScaler, &region, &middle.image()), kOk);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 20; ++x) EXPECT_EQ(middle.samples()[static_cast<size_t>(y * 20 + x)], 10 + x + y);
    }
}

TEST_F(AspectFitTest, FrontObjectsImagesOfZerosAreRefused) {
    const auto vp = qorvp::createFrameWork();
    const AspectFitParameter square = {0, 0, 1, 1};
    ASSERT_EQ(vp->SetParam(qorvp::kAspectFit, &square), kOk);
    VpImage frame = frameOf(8, 4);
    EXPECT_EQ(vp->Process(qorvp::kAspectFit, nullptr, &frame), kErrorArgument);
    EXPECT_EQ(vp->Process(qorvp::kAspectFit, nullptr, nullptr), kErrorArgument);
    EXPECT_EQ(vp->Process(qorvp::kAspectFit, &frame, nullptr), kOk);
    EXPECT_EQ(frame.width, 8);
}
