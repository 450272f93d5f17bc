#include "vp/src/CRotation.h"

#include <gtest/gtest.h>

#include "vp/src/TestImage.h"
#include "vp/src/Turn.h"

namespace {

using qorvp::kErrorArgument;
using qorvp::kErrorUnsupported;
using qorvp::kOk;
using qorvp::Planes;
using qorvp::test::kAllFormats;
using qorvp::test::TestImage;

class RotationTest : public testing::Test {
  protected:
    int32_t turn(int32_t degrees, TestImage& from, TestImage& to) {
        EXPECT_EQ(mRotation.SetParam(3, &degrees), kOk);
        return mRotation.Process(3, &from.image(), &to.image());
    }

    // By every angle.
    void expectTurned(uint32_t format) {
        TestImage from(format, 11, 6, 1);
        from.fillRandom(mRandom);
        for (const int32_t degrees : {90, 180, 270}) {
            const bool across = degrees != 180;
            TestImage to(format, across ? 6 : 11, across ? 11 : 6, 2),
                expected(format, across ? 6 : 11, across ? 11 : 6);
            EXPECT_EQ(turn(degrees, from, to), kOk) << format;
            const Planes source = from.planes(), turned = expected.planes();
            for (int plane = 0; plane < source.count; ++plane) {
                const auto by = degrees == 90 ? qorvp::turn90 : degrees == 180 ? qorvp::turn180 : qorvp::turn270;
                by(source.plane[plane], turned.plane[plane]);
            }
            EXPECT_EQ(to.samples(), expected.samples()) << format << " by " << degrees;
        }
    }

    std::mt19937 mRandom{1};
    qorvp::CRotation mRotation;
};

}  // namespace

TEST_F(RotationTest, EveryPlaneIsTurned) {
    for (const uint32_t order : {0u, qorvp::kBottomUp}) {
        for (const uint32_t format : kAllFormats) {
            if (format != qorvp::kFormatGrey) expectTurned(format | order);
        }
    }
}

TEST_F(RotationTest, OtherAnglesAreUnsupported) {
    TestImage from(qorvp::kFormatBgra, 4, 4), to(qorvp::kFormatBgra, 4, 4);
    EXPECT_EQ(mRotation.Process(3, &from.image(), &to.image()), kErrorUnsupported);
    for (const int32_t degrees : {0, 1, -90, 360, 450})
        EXPECT_EQ(turn(degrees, from, to), kErrorUnsupported) << degrees;
}

TEST_F(RotationTest, OtherFormatsAreUnsupported) {
    TestImage from(qorvp::kFormatGrey, 4, 4), to(qorvp::kFormatGrey, 4, 4);
    for (const uint32_t format : {31u, 0u, 9u, 3u, 25u}) {
        from.image().format = to.image().format = format;
        EXPECT_EQ(turn(90, from, to), kErrorUnsupported) << format;
    }
}

TEST_F(RotationTest, ImagesThatDoNotGoTogetherAreRefused) {
    TestImage from(qorvp::kFormatI420, 8, 4), to(qorvp::kFormatI420, 4, 8), same(qorvp::kFormatI420, 8, 4),
        other(qorvp::kFormatYv12, 4, 8);
    EXPECT_EQ(turn(90, from, same), kErrorArgument);
    EXPECT_EQ(turn(180, from, to), kErrorArgument);
    EXPECT_EQ(turn(180, from, from), kErrorArgument);
    EXPECT_EQ(turn(90, from, other), kErrorArgument);
    EXPECT_EQ(mRotation.Process(3, nullptr, &to.image()), kErrorArgument);
    EXPECT_EQ(mRotation.Process(3, &from.image(), nullptr), kErrorArgument);
    to.image().planes[2] = nullptr;
    EXPECT_EQ(turn(90, from, to), kErrorArgument);
}

TEST_F(RotationTest, AngleIsTold) {
    int32_t degrees = 7;
    EXPECT_EQ(mRotation.GetParam(3, &degrees), kOk);
    EXPECT_EQ(degrees, 0);
    degrees = 270;
    EXPECT_EQ(mRotation.SetParam(3, &degrees), kOk);
    degrees = 0;
    EXPECT_EQ(mRotation.GetParam(3, &degrees), kOk);
    EXPECT_EQ(degrees, 270);
    EXPECT_EQ(mRotation.SetParam(3, nullptr), kErrorArgument);
    EXPECT_EQ(mRotation.GetParam(3, nullptr), kErrorArgument);
}
