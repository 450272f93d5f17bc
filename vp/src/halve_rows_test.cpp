#include "vp/src/HalveRows.h"

#include <gtest/gtest.h>

#include "vp/src/CScaler.h"
#include "vp/src/TestImage.h"

namespace {

using qorvp::test::Guard;
using qorvp::test::TestImage;

std::vector<uint8_t> scaled(uint32_t features, TestImage& from, int width, int height, Guard guard) {
    TestImage to(from.image().format, width, height, 3, guard);
    qorvp::CScaler scaler(features);
    EXPECT_EQ(scaler.Process(4, &from.image(), &to.image()), qorvp::kOk);
    return to.samples();
}

}  // namespace

TEST(HalveRowsTest, EachSampleIsTheMeanOfFour) {
    const uint8_t upper[] = {0, 1, 10, 20}, lower[] = {3, 4, 255, 255};
    uint8_t to[3] = {};
    qorvp::halveRows(upper, lower, 1, to, 2);
    EXPECT_EQ(to[0], (1 + 4) / 2);
    EXPECT_EQ(to[1], (15 + 255) / 2);
    EXPECT_EQ(to[2], 0);
}

TEST(HalveRowsTest, HalvedPictureIsThatOfTheGeneralSteps) {
    const uint32_t features = qorvp::processorFeatures();
    std::mt19937 random(7);
    for (const uint32_t format : {qorvp::kFormatGrey, qorvp::kFormatBgr, qorvp::kFormatBgra, qorvp::kFormatNv12}) {
        for (int half = 2; half <= 130; half += 2) {
            for (const Guard guard : {Guard::kBehind, Guard::kBefore}) {
                TestImage from(format, half * 2, 12, 5, guard);
                from.fillRandom(random);
                EXPECT_EQ(scaled(features, from, half, 6, guard), scaled(0, from, half, 6, guard))
                    << format << " to " << half;
            }
        }
    }
}
