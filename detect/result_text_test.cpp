#include "detect/ResultText.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr size_t kWidth = 160, kHeight = 90;

std::string faceText(const std::vector<DetectBox>& faces) {
    return ::faceText(faces.data(), static_cast<int32_t>(faces.size()), kWidth, kHeight);
}

std::string contentText(const std::vector<DetectBox>& boxes) {
    return ::contentText(boxes.data(), static_cast<int32_t>(boxes.size()));
}

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

}  // namespace

TEST(ResultTextTest, NothingFoundIsAnEmptyList) {
    EXPECT_EQ(faceText({}), "{\"faceNum\":0,\"facePos\":[]}");
    EXPECT_EQ(contentText({}), "{\"ContentNum\":0,\"ContentPos\":[]}");
}

TEST(ResultTextTest, FacesAreCornerAndSizeInWholePixelsOfThePicture) {
    EXPECT_EQ(faceText({{0.125f, 0.25f, 0.5f, 0.75f, 0.9f, 0}, {0, 0, 1, 1, 0.8f, 0}}),
              "{\"faceNum\":2,\"facePos\":[[20,22,60,45],[0,0,160,90]]}");
    EXPECT_EQ(faceText({{0.0124f, 0, 0.0249f, 0.999f, 0.9f, 0}}), "{\"faceNum\":1,\"facePos\":[[1,0,2,89]]}");
}

TEST(ResultTextTest, FaceWithSwappedEdgesHasAPositiveSize) {
    EXPECT_EQ(faceText({{0.5f, 0.75f, 0.125f, 0.25f, 0.9f, 0}}), "{\"faceNum\":1,\"facePos\":[[80,67,60,45]]}");
    EXPECT_EQ(faceText({{0.5f, 0.5f, 0.5f, 0.5f, 0.9f, 0}}), "{\"faceNum\":1,\"facePos\":[[80,45,0,0]]}");
}

TEST(ResultTextTest, RegionsAreCornersScoreAndClass) {
    EXPECT_EQ(contentText({{12.9f, 40, 500.5f, 300, 0.912345f, 2}, {-6.5f, -0.5f, 3, 4, 1, 0}}),
              "{\"ContentNum\":2,\"ContentPos\":[[12,40,500,300,0.912345,2],[-6,0,3,4,1.000000,0]]}");
}

TEST(ResultTextTest, WhatIsNoNumberIsZeroAsAPixel) {
    EXPECT_EQ(contentText({{kNaN, kInfinity, -kInfinity, 1e20f, kInfinity, 0}}),
              "{\"ContentNum\":1,\"ContentPos\":[[0,0,0,0,inf,0]]}");
    EXPECT_EQ(faceText({{kNaN, 0, 1, kNaN, 1, 0}}), "{\"faceNum\":1,\"facePos\":[[0,0,0,0]]}");
}
