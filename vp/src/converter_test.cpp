#include "vp/src/CConverter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

#include "qorvp/Parameters.h"
#include "qorvp/createFrameWork.h"
#include "vp/src/TestImage.h"
#include "vp/src/YuvToRgb.h"

namespace {

using qorvp::kBottomUp;
using qorvp::kErrorArgument;
using qorvp::kErrorUnsupported;
using qorvp::kOk;
using qorvp::PixelLayout;
using qorvp::VpImage;
using qorvp::test::Guard;
using qorvp::test::TestImage;

constexpr uint32_t kVideo[] = {23, 24, 26, 29};

const std::pair<uint32_t, PixelLayout> kPixels[] = {{1, PixelLayout::kRgb565}, {2, PixelLayout::kBgra},
                                                    {5, PixelLayout::kBgr},    {6, PixelLayout::kRgba},
                                                    {7, PixelLayout::kArgb},   {8, PixelLayout::kAbgr}};

bool isVideo(uint32_t format) {
    return std::find(std::begin(kVideo), std::end(kVideo), format) != std::end(kVideo);
}

// Luma, U and V of a pixel of video, as they lie in memory.
struct Yuv {
    uint8_t y, u, v;
    bool operator==(const Yuv& other) const = default;
};

Yuv yuvAt(const VpImage& image, int x, int y) {
    const uint8_t* const first = image.planes[1] + y / 2 * image.stride1;
    const uint8_t luma = image.planes[0][y * image.stride0 + x];
    switch (image.format & ~kBottomUp) {
        case 26:
            return {luma, first[x / 2 * 2], first[x / 2 * 2 + 1]};
        case 29:
            return {luma, first[x / 2 * 2 + 1], first[x / 2 * 2]};
        default: {
            const uint8_t* const second = image.planes[2] + y / 2 * image.stride1;
            const bool vFirst = (image.format & ~kBottomUp) == 24;
            return {luma, vFirst ? second[x / 2] : first[x / 2], vFirst ? first[x / 2] : second[x / 2]};
        }
    }
}

std::vector<uint8_t> pixelOf(const Yuv& yuv, PixelLayout layout, size_t bytes) {
    const uint8_t luma[] = {yuv.y, yuv.y, yuv.y, yuv.y};
    uint8_t pixels[16];
    qorvp::yuvKernel(qorvp::ChromaLayout::kPlanar, layout)({luma, 2, &yuv.u, &yuv.v, pixels, 8, 2});
    return {pixels, pixels + bytes};
}

class ConverterTest : public testing::Test {
  protected:
    int32_t convert(TestImage& from, TestImage& to) { return mConverter.Process(1, &from.image(), &to.image()); }

    // Every pixel of `to` is that of `from` at `place(x, y)`, rows as they lie in memory.
    void expectPixels(TestImage& from, TestImage& to, const std::function<std::pair<int, int>(int, int)>& place) {
        const VpImage &source = from.image(), &target = to.image();
        for (int y = 0; y < source.height; ++y) {
            for (int x = 0; x < source.width; ++x) {
                const auto [fromX, fromY] = place(x, y);
                const Yuv yuv = yuvAt(source, fromX, fromY);
                if (isVideo(target.format & ~kBottomUp)) {
                    ASSERT_EQ(yuvAt(target, x, y), yuv) << target.format << " at " << x << ", " << y;
                    continue;
                }
                const auto* const layout =
                    std::find_if(std::begin(kPixels), std::end(kPixels),
                                 [&](const auto& pixels) { return pixels.first == (target.format & ~kBottomUp); });
                const auto bytes = static_cast<size_t>(to.planes().plane[0].bytes);
                const uint8_t* const pixel = target.planes[0] + y * target.stride0 + x * static_cast<int>(bytes);
                ASSERT_EQ(std::vector<uint8_t>(pixel, pixel + bytes), pixelOf(yuv, layout->second, bytes))
                    << target.format << " at " << x << ", " << y;
            }
        }
    }

    std::vector<uint32_t> targets() const {
        std::vector<uint32_t> formats(std::begin(kVideo), std::end(kVideo));
        for (const auto& pixels : kPixels) formats.push_back(pixels.first);
        return formats;
    }

    std::mt19937 mRandom{1};
    qorvp::CConverter mConverter;
};

}  // namespace

TEST_F(ConverterTest, EveryPairOfLayoutsConverts) {
    for (const uint32_t source : kVideo) {
        for (const uint32_t target : targets()) {
            for (const auto& [width, height] : {std::pair{2, 2}, {6, 4}, {34, 8}, {130, 6}}) {
                for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                    TestImage from(source, width, height, 3, guard), to(target, width, height, 1, guard);
                    from.fillRandom(mRandom);
                    ASSERT_EQ(convert(from, to), kOk) << source << " to " << target;
                    expectPixels(from, to, [](int x, int y) { return std::pair(x, y); });
                }
            }
        }
    }
}

TEST_F(ConverterTest, OneBottomUpFormatFlipsAndTwoDoNot) {
    constexpr int kHeight = 6;
    for (const uint32_t target : targets()) {
        for (const auto& [sourceBit, targetBit] :
             {std::pair<uint32_t, uint32_t>{0, kBottomUp}, {kBottomUp, 0}, {kBottomUp, kBottomUp}}) {
            TestImage from(23, 8, kHeight), to(target, 8, kHeight);
            from.fillRandom(mRandom);
            from.image().format |= sourceBit;
            to.image().format |= targetBit;
            ASSERT_EQ(convert(from, to), kOk);
            const bool flips = sourceBit != targetBit;
            expectPixels(from, to, [=](int x, int y) { return std::pair(x, flips ? kHeight - 1 - y : y); });
        }
    }
}

TEST_F(ConverterTest, HalfTurnTurnsRowsAndColumns) {
    constexpr int kWidth = 10, kHeight = 6;
    const int32_t degrees = 180;
    EXPECT_EQ(mConverter.SetParam(1, &degrees), kOk);
    for (const uint32_t source : kVideo) {
        for (const uint32_t target : targets()) {
            for (const uint32_t bit : {0u, kBottomUp}) {
                TestImage from(source, kWidth, kHeight), to(target, kWidth, kHeight);
                from.fillRandom(mRandom);
                to.image().format |= bit;
                ASSERT_EQ(convert(from, to), kOk);
                expectPixels(from, to,
                             [=](int x, int y) { return std::pair(kWidth - 1 - x, bit ? y : kHeight - 1 - y); });
            }
        }
    }
}

TEST_F(ConverterTest, SizesAreMadeEvenInBothRecords) {
    TestImage from(23, 7, 5), to(2, 9, 6);
    from.fillRandom(mRandom);
    EXPECT_EQ(convert(from, to), kOk);
    EXPECT_EQ(from.image().width, 6);
    EXPECT_EQ(from.image().height, 4);
    EXPECT_EQ(to.image().width, 8);
    EXPECT_EQ(to.image().height, 6);
    expectPixels(from, to, [](int x, int y) { return std::pair(x, y); });
}

TEST_F(ConverterTest, LargerDestinationKeepsItsRest) {
    TestImage from(23, 4, 2), to(5, 6, 4);
    to.fill(99);
    EXPECT_EQ(convert(from, to), kOk);
    const std::vector<uint8_t> bytes = to.bytes();
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 99), 6 * 4 * 3 - 4 * 2 * 3);
}

TEST_F(ConverterTest, OtherPairsAndAnglesAreUnsupported) {
    TestImage video(23, 4, 4), pixels(2, 4, 4), others(6, 4, 4), grey(31, 4, 4);
    EXPECT_EQ(convert(pixels, others), kErrorUnsupported);
    EXPECT_EQ(convert(pixels, video), kErrorUnsupported);
    EXPECT_EQ(convert(video, grey), kErrorUnsupported);
    EXPECT_EQ(convert(grey, pixels), kErrorUnsupported);
    for (const int32_t degrees : {1, 90, 270, -180}) {
        EXPECT_EQ(mConverter.SetParam(1, &degrees), kOk);
        EXPECT_EQ(convert(video, pixels), kErrorUnsupported) << degrees;
    }
}

TEST_F(ConverterTest, ImagesThatDoNotGoTogetherAreRefused) {
    TestImage from(23, 4, 4), to(2, 4, 4), narrow(2, 2, 4), low(2, 4, 2), tiny(23, 1, 1);
    EXPECT_EQ(convert(from, narrow), kErrorArgument);
    EXPECT_EQ(convert(from, low), kErrorArgument);
    const int32_t degrees = 180;
    EXPECT_EQ(mConverter.SetParam(1, &degrees), kOk);
    EXPECT_EQ(convert(from, narrow), kErrorArgument);
    EXPECT_EQ(convert(tiny, to), kErrorArgument);
    EXPECT_EQ(mConverter.Process(1, nullptr, &to.image()), kErrorArgument);
    EXPECT_EQ(mConverter.Process(1, &from.image(), nullptr), kErrorArgument);
    to.image().stride0 = 15;
    EXPECT_EQ(convert(from, to), kErrorArgument);
    TestImage other(24, 4, 4);
    other.image().planes[1] = from.image().planes[1];
    EXPECT_EQ(convert(from, other), kErrorArgument);
}

TEST_F(ConverterTest, MissingPlanesAreRefused) {
    TestImage from(23, 4, 4), to(24, 4, 4);
    ASSERT_EQ(convert(from, to), kOk);
    for (VpImage* image : {&from.image(), &to.image()}) {
        for (uint8_t*& plane : image->planes) {
            uint8_t* const held = std::exchange(plane, nullptr);
            EXPECT_EQ(convert(from, to), kErrorArgument);
            plane = held;
        }
    }
}

TEST_F(ConverterTest, AngleIsTold) {
    int32_t degrees = 180;
    EXPECT_EQ(mConverter.SetParam(1, &degrees), kOk);
    degrees = 0;
    EXPECT_EQ(mConverter.GetParam(1, &degrees), kOk);
    EXPECT_EQ(degrees, 180);
    EXPECT_EQ(mConverter.SetParam(1, nullptr), kErrorArgument);
    EXPECT_EQ(mConverter.GetParam(1, nullptr), kErrorArgument);
}

TEST(CreateFrameWorkTest, NumbersHaveTheirStrategies) {
    const auto frameWork = qorvp::createFrameWork();
    TestImage video(23, 5, 4), pixels(2, 5, 4), front(2, 5, 4), mask(31, 5, 4), turned(2, 4, 5);
    EXPECT_EQ(frameWork->Process(qorvp::kConverter, &video.image(), &pixels.image()), kOk);
    EXPECT_EQ(pixels.image().width, 4);
    EXPECT_EQ(video.image().width, 5);
    pixels.image().width = 5;
    const float sigma = 3;
    EXPECT_EQ(frameWork->SetParam(qorvp::kBlur, &sigma), kOk);
    EXPECT_EQ(frameWork->Process(qorvp::kBlur, &pixels.image(), &pixels.image()), kOk);
    const int32_t degrees = 90;
    EXPECT_EQ(frameWork->SetParam(qorvp::kRotation, &degrees), kOk);
    EXPECT_EQ(frameWork->Process(qorvp::kRotation, &pixels.image(), &turned.image()), kOk);
    EXPECT_EQ(frameWork->Process(qorvp::kScaler, &pixels.image(), &turned.image()), kOk);
    const qorvp::BlendParameter parameter = {mask.image()};
    EXPECT_EQ(frameWork->SetParam(qorvp::kBlend, &parameter), kOk);
    EXPECT_EQ(frameWork->Process(qorvp::kBlend, &front.image(), &pixels.image()), kOk);
    const qorvp::AspectFitParameter square = {0, 0, 1, 1};
    EXPECT_EQ(frameWork->SetParam(qorvp::kAspectFit, &square), kOk);
    EXPECT_EQ(frameWork->Process(qorvp::kAspectFit, &pixels.image(), &turned.image()), kOk);
    TestImage pairs(26, 8, 8), half(26, 4, 4), smaller(26, 6, 6);
    EXPECT_EQ(frameWork->Process(qorvp::kHalfSize, &pairs.image(), &half.image()), kOk);
    EXPECT_EQ(frameWork->Process(qorvp::kHalfSize, &pairs.image(), &smaller.image()), kErrorArgument);
    EXPECT_EQ(frameWork->Process(qorvp::kSteppedScaler, &pairs.image(), &smaller.image()), kOk);
    const uint8_t mode = qorvp::kScaleNearest;
    EXPECT_EQ(frameWork->SetParam(qorvp::kHalfSize, &mode), kErrorUnsupported);
    EXPECT_EQ(frameWork->SetParam(qorvp::kSteppedScaler, &mode), kOk);
}

TEST(CreateFrameWorkTest, NullImageIsOfNoFormat) {
    const auto frameWork = qorvp::createFrameWork();
    const int32_t degrees = 90;
    EXPECT_EQ(frameWork->SetParam(qorvp::kRotation, &degrees), kOk);
    const std::pair<uint32_t, uint32_t> formats[] = {
        {qorvp::kConverter, 23}, {qorvp::kBlur, 23},          {qorvp::kRotation, 23}, {qorvp::kScaler, 23},
        {qorvp::kHalfSize, 26},  {qorvp::kSteppedScaler, 23}, {qorvp::kBlend, 31}};
    for (const auto& [number, format] : formats) {
        TestImage image(format, 4, 4);
        EXPECT_EQ(frameWork->Process(number, nullptr, &image.image()), kErrorUnsupported) << number;
        EXPECT_EQ(frameWork->Process(number, &image.image(), nullptr),
                  number == qorvp::kConverter ? kErrorUnsupported : kErrorArgument)
            << number;
    }
}

TEST(CreateFrameWorkTest, AllOtherNumbersAreEmpty) {
    const auto frameWork = qorvp::createFrameWork();
    // Room for any parameter. A strategy refuses this one, or tells it again.
    using Bytes = std::array<uint8_t, 256>;
    Bytes given{};
    for (const uint32_t number : {8u, 9u, 10u, 11u, 12u, 14u, 15u, 16u, 17u, 18u}) {
        Bytes told;
        told.fill(7);
        EXPECT_EQ(frameWork->SetParam(number, given.data()), kOk) << number;
        EXPECT_EQ(frameWork->GetParam(number, told.data()), kOk) << number;
        EXPECT_EQ(told[0], 7) << number;
        EXPECT_EQ(frameWork->Process(number, nullptr, nullptr), kErrorUnsupported) << number;
    }
}
