#include "vp/src/HalveRows.h"

#include <gtest/gtest.h>

#include <initializer_list>

#include "vp/src/CScaler.h"
#include "vp/src/CSteppedScaler.h"
#include "vp/src/FeatureSetName.h"
#include "vp/src/TestImage.h"

namespace {

using qorvp::test::Guard;
using qorvp::test::TestImage;

template <class Scaler>
std::vector<uint8_t> scaled(uint32_t features, TestImage& from, int width, int height, Guard guard) {
    TestImage to(from.image().format, width, height, 3, guard);
    Scaler scaler(features);
    EXPECT_EQ(scaler.Process(4, &from.image(), &to.image()), qorvp::kOk);
    return to.samples();
}

// Pictures of many widths at half their size, with and without the step that halves.
template <class Scaler>
void expectHalvedAsScaled(std::initializer_list<uint32_t> formats, uint32_t features) {
    std::mt19937 random(7);
    for (const uint32_t format : formats) {
        const int step = qorvp::hasHalfChroma(format) ? 2 : 1;
        for (int half = step; half <= 130; half += step) {
            for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                TestImage from(format, half * 2, 12, 5, guard);
                from.fillRandom(random);
                EXPECT_EQ(scaled<Scaler>(features, from, half, 6, guard), scaled<Scaler>(0, from, half, 6, guard))
                    << format << " to " << half;
            }
        }
    }
}

// What comes out of a row of every pair of bytes over a row of one byte.
std::vector<uint8_t> halved(qorvp::HalveRows halve, uint8_t lower) {
    std::vector<uint8_t> upperRow, lowerRow(2 * 65536, lower), to(65536);
    for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b)
            upperRow.insert(upperRow.end(), {static_cast<uint8_t>(a), static_cast<uint8_t>(b)});
    halve(upperRow.data(), lowerRow.data(), 1, to.data(), 65536);
    return to;
}

class HalveKernelsTest : public testing::TestWithParam<qorvp::FeatureSet> {};

}  // namespace

TEST(HalveRowsTest, EachSampleIsTheMeanOfFour) {
    const uint8_t upper[] = {0, 1, 10, 20}, lower[] = {3, 4, 255, 255};
    uint8_t to[3] = {};
    qorvp::halveBilinear(upper, lower, 1, to, 2);
    EXPECT_EQ(to[0], (1 + 4) / 2);
    EXPECT_EQ(to[1], (15 + 255) / 2);
    EXPECT_EQ(to[2], 0);
}

TEST(HalveRowsTest, SteppedMeansAreThoseOfTheWeights) {
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            const uint8_t row[] = {static_cast<uint8_t>(a), static_cast<uint8_t>(b)};
            uint8_t to = 0;
            qorvp::halveStepped(row, row, 1, &to, 1);
            const int mean = (a * 0x3FFF + b * 0x4000 + 0x4000) >> 15;
            ASSERT_EQ(to, (mean * 0x3FFF + mean * 0x4000 + 0x4000) >> 15) << a << ' ' << b;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sets, HalveKernelsTest, testing::ValuesIn(qorvp::featureSets()), qorvp::test::nameOf);

TEST_P(HalveKernelsTest, EveryPairOfBytesIsHalvedAsByThePlainForms) {
    const qorvp::HalveKernels kernels = qorvp::halveKernels(GetParam().features);
    ASSERT_EQ(kernels.bilinear == nullptr, GetParam().features == 0);
    if (!kernels.bilinear) return;
    for (const uint8_t lower : {0, 1, 77, 128, 254, 255}) {
        EXPECT_EQ(halved(kernels.bilinear, lower), halved(qorvp::halveBilinear, lower)) << int{lower};
        EXPECT_EQ(halved(kernels.stepped, lower), halved(qorvp::halveStepped, lower)) << int{lower};
    }
}

TEST_P(HalveKernelsTest, HalvedPictureIsThatOfTheGeneralSteps) {
    using qorvp::kFormatBgr, qorvp::kFormatBgra, qorvp::kFormatGrey, qorvp::kFormatI420, qorvp::kFormatNv12;
    expectHalvedAsScaled<qorvp::CScaler>({kFormatGrey, kFormatBgr, kFormatBgra, kFormatNv12}, GetParam().features);
    expectHalvedAsScaled<qorvp::CSteppedScaler>({kFormatGrey, kFormatI420}, GetParam().features);
}
