#include "vp/src/YuvToRgb.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "vp/src/YuvTables.h"

namespace {

using qorvp::ChromaLayout;
using qorvp::PixelLayout;
using testing::ElementsAre;

using Bytes = std::vector<uint8_t>;

// Two pixels of that luma and chroma, in every layout of chroma and in both rows the same.
Bytes converted(PixelLayout layout, uint8_t first, uint8_t second, uint8_t u, uint8_t v) {
    const uint8_t luma[] = {first, second, first, second};
    const uint8_t uv[] = {u, v}, vu[] = {v, u};
    Bytes planar(16, 0xAA), interleaved(16, 0xAA), exchanged(16, 0xAA);
    qorvp::yuvKernel(ChromaLayout::kPlanar, layout)({luma, 2, &u, &v, planar.data(), 8, 2});
    qorvp::yuvKernel(ChromaLayout::kUv, layout)({luma, 2, uv, nullptr, interleaved.data(), 8, 2});
    qorvp::yuvKernel(ChromaLayout::kVu, layout)({luma, 2, vu, nullptr, exchanged.data(), 8, 2});
    EXPECT_EQ(planar, interleaved);
    EXPECT_EQ(planar, exchanged);
    const auto middle = planar.begin() + 8;
    EXPECT_TRUE(std::equal(planar.begin(), middle, middle)) << "the two rows differ";
    planar.resize(8);
    return planar;
}

int cut(double value) {
    return static_cast<int>(std::clamp(std::floor(value), 0.0, 255.0));
}

}  // namespace

TEST(YuvTablesTest, EntriesFollowTheirRules) {
    EXPECT_EQ(qorvp::kLuma[0], -1184);
    EXPECT_EQ(qorvp::kLuma[16], 0);
    EXPECT_EQ(qorvp::kLuma[255], 17686);
    EXPECT_EQ(qorvp::kBlueFromU[0], -16512);
    EXPECT_EQ(qorvp::kBlueFromU[255], 16383);
    EXPECT_EQ(qorvp::kGreenFromU[129], 25);
    EXPECT_EQ(qorvp::kGreenFromV[129], 52);
    EXPECT_EQ(qorvp::kRedFromV[129], 102);
    EXPECT_EQ(qorvp::kRedFromV[128], 0);
}

TEST(YuvToRgbTest, BlackIsZeroAndWhiteIs253) {
    EXPECT_THAT(converted(PixelLayout::kBgr, 16, 235, 128, 128), ElementsAre(0, 0, 0, 253, 253, 253, 0xAA, 0xAA));
    EXPECT_THAT(converted(PixelLayout::kBgr, 0, 255, 128, 128), ElementsAre(0, 0, 0, 255, 255, 255, 0xAA, 0xAA));
}

TEST(YuvToRgbTest, EachLayoutHasItsBytes) {
    // luma 37 (2738), blue 2738 + 129 * 40 = 7898, green 2738 - 25 * 40 + 52 * 20 = 2778, red 2738 - 102 * 20 = 698.
    constexpr uint8_t kY = 53, kU = 168, kV = 108;
    constexpr int kBlue = 123, kGreen = 43, kRed = 10;
    const auto pixel = [&](PixelLayout layout, size_t bytes) {
        Bytes both = converted(layout, kY, kY, kU, kV);
        EXPECT_TRUE(std::equal(both.begin(), both.begin() + static_cast<ptrdiff_t>(bytes),
                               both.begin() + static_cast<ptrdiff_t>(bytes)));
        both.resize(bytes);
        return both;
    };
    EXPECT_THAT(pixel(PixelLayout::kBgr, 3), ElementsAre(kBlue, kGreen, kRed));
    EXPECT_THAT(pixel(PixelLayout::kBgra, 4), ElementsAre(kBlue, kGreen, kRed, 255));
    EXPECT_THAT(pixel(PixelLayout::kRgba, 4), ElementsAre(kRed, kGreen, kBlue, 255));
    EXPECT_THAT(pixel(PixelLayout::kArgb, 4), ElementsAre(255, kRed, kGreen, kBlue));
    EXPECT_THAT(pixel(PixelLayout::kAbgr, 4), ElementsAre(255, kBlue, kGreen, kRed));
    const int word = (kRed >> 3) * 2048 + (kGreen >> 2) * 32 + (kBlue >> 3);
    EXPECT_THAT(pixel(PixelLayout::kRgb565, 2), ElementsAre(word % 256, word / 256));
}

TEST(YuvToRgbTest, EveryLumaWithEveryChromaFollowsTheFormula) {
    for (int u = 0; u < 256; u += 5) {
        for (int v = 0; v < 256; v += 3) {
            for (int y = 0; y < 256; y += 2) {
                const Bytes pixels = converted(PixelLayout::kBgr, static_cast<uint8_t>(y), static_cast<uint8_t>(y + 1),
                                               static_cast<uint8_t>(u), static_cast<uint8_t>(v));
                for (const int second : {0, 1}) {
                    const double luma = 74.0 * (y + second - 16);
                    const uint8_t* const pixel = pixels.data() + second * 3;
                    ASSERT_EQ(pixel[0], cut((luma + 129.0 * (u - 128)) / 64));
                    ASSERT_EQ(pixel[1], cut((luma - 25.0 * (u - 128) - 52.0 * (v - 128)) / 64));
                    ASSERT_EQ(pixel[2], cut((luma + 102.0 * (v - 128)) / 64));
                }
            }
        }
    }
}
