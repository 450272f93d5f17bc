#include "client/tool/Overlay.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

#include "client/tool/Placement.h"

namespace {

using namespace zeltool;

constexpr Colour kWhite = {255, 255, 255};

class OverlayTest : public testing::Test {
  protected:
    bool lit(uint32_t x, uint32_t y) const { return picture.row(y)[3 * x] == 255; }
    size_t litPixels() const {
        return static_cast<size_t>(std::count(picture.bytes.begin(), picture.bytes.end(), 255)) / 3;
    }
    size_t touchedPixels() const {
        return picture.bytes.size() / 3 -
               static_cast<size_t>(std::count(picture.bytes.begin(), picture.bytes.end(), 90)) / 3;
    }

    Image picture = plainColour(100, 60, 90, 90, 90);
    Overlay overlay{picture};
};

TEST_F(OverlayTest, FrameIsItsEdgesAndNothingElse) {
    overlay.frame({10, 20, 30, 50}, kWhite);
    EXPECT_TRUE(lit(10, 20) && lit(29, 20) && lit(10, 49) && lit(29, 49));
    EXPECT_FALSE(lit(30, 20) || lit(10, 50) || lit(9, 20) || lit(20, 30));
    EXPECT_EQ(litPixels(), 2u * 20 + 2 * 28);
}

TEST_F(OverlayTest, WhatLiesOutsideIsNotDrawn) {
    constexpr float kFar = std::numeric_limits<float>::max();
    overlay.frame({-kFar, -kFar, kFar, kFar}, kWhite);
    overlay.frame({-50, -50, -10, -10}, kWhite);
    overlay.frame({200, 200, 300, 300}, kWhite);
    overlay.dot(-5, 3, kWhite);
    overlay.dot(kFar, kFar, kWhite);
    EXPECT_EQ(touchedPixels(), 0u);
    overlay.frame({-10, 10, 200, 200}, kWhite);
    EXPECT_TRUE(lit(0, 10) && lit(99, 10));
    EXPECT_EQ(litPixels(), 100u);
}

TEST_F(OverlayTest, DotIsWhereItsPointIs) {
    overlay.dot(40.5f, 20.5f, kWhite);
    EXPECT_TRUE(lit(40, 20));
    EXPECT_EQ(litPixels(), 1u);
}

TEST_F(OverlayTest, TextIsWrittenInsideThePicture) {
    overlay.text(5, 5, "OK", kWhite);
    const size_t letters = litPixels();
    EXPECT_GT(letters, 20u);
    EXPECT_EQ(picture.row(4)[3 * 6], 90);
    // Beyond the right and the lower edge it is moved back, and whole.
    picture = plainColour(100, 60, 90, 90, 90);
    overlay.text(99, 59, "OK", kWhite);
    EXPECT_EQ(litPixels(), letters);
}

TEST_F(OverlayTest, EveryLetterOfALineIsWritten) {
    const auto pixelsOf = [this](const std::string& line) {
        picture = plainColour(100, 60, 90, 90, 90);
        overlay.text(0, 0, line, kWhite);
        return litPixels();
    };
    const size_t digit = pixelsOf("8");
    EXPECT_EQ(pixelsOf("88888888"), 8 * digit);
}

TEST_F(OverlayTest, TextWiderThanThePictureIsCut) {
    overlay.text(0, 0, std::string(500, 'W'), kWhite);
    EXPECT_GT(litPixels(), 100u);
    overlay.text(0, 0, "", kWhite);
}

TEST_F(OverlayTest, BarIsAsLongAsItsShare) {
    overlay.bar(0.25f, "m", kWhite);
    EXPECT_TRUE(lit(0, 59) && lit(24, 59));
    EXPECT_FALSE(lit(25, 59));
    overlay.bar(7, "m", kWhite);
    EXPECT_TRUE(lit(99, 59));
}

TEST_F(OverlayTest, TintFollowsTheMask) {
    Image mask(100, 60, 1);
    mask.bytes[1] = 255;
    mask.bytes[2] = 128;
    overlay.tint(mask, kWhite);
    EXPECT_EQ(picture.bytes[0], 90);
    EXPECT_GT(picture.bytes[6], 90);
    EXPECT_GT(picture.bytes[3], picture.bytes[6]);
    EXPECT_LT(picture.bytes[3], 255);
}

TEST(PlacementTest, WayBackFollowsTheLetterbox) {
    const Image picture = plainColour(100, 100, 1, 2, 3);
    const Placement placement(picture, areaInside(100, 100, 256, 144));
    const zelclient_rect rect = placement.back(zelclient_rect{56, 0, 200, 72});
    EXPECT_FLOAT_EQ(rect.left, 0);
    EXPECT_FLOAT_EQ(rect.top, 0);
    EXPECT_FLOAT_EQ(rect.right, 100);
    EXPECT_FLOAT_EQ(rect.bottom, 50);
    const zelclient_point point = placement.back(zelclient_point{128, 36, -14.4f});
    EXPECT_FLOAT_EQ(point.x, 50);
    EXPECT_FLOAT_EQ(point.y, 25);
    EXPECT_FLOAT_EQ(point.z, -10);
}

}  // namespace
