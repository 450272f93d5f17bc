#include "client/tool/Background.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "client/tool/Tool.h"

namespace {

using namespace zeltool;
using testing::HasSubstr;

// Columns of black and white.
Image stripes(uint32_t width) {
    Image picture(width, 8, 3);
    for (size_t at = 0; at < picture.bytes.size(); ++at) picture.bytes[at] = at / 3 % 2 == 0 ? 0 : 255;
    return picture;
}

// How far the middle columns are apart.
int contrast(const Image& picture) {
    const uint8_t* const middle = picture.row(4) + size_t{3} * (picture.width / 2);
    return std::abs(middle[0] - middle[3]);
}

TEST(BackgroundTest, ColourFillsTheFrame) {
    Background background("#0a0Bff");
    const Image& behind = background.behind(stripes(10));
    EXPECT_EQ(behind.bytes, plainColour(10, 8, 10, 11, 255).bytes);
    EXPECT_EQ(background.behind(stripes(12)).width, 12u);
}

TEST(BackgroundTest, BlurIsAsWideAsItIsTold) {
    const Image frame = stripes(400);
    EXPECT_GT(contrast(Background("blur:0.5").behind(frame)), contrast(Background("blur:1").behind(frame)));
    EXPECT_GT(contrast(Background("blur:1").behind(frame)), contrast(Background("blur:4").behind(frame)));
    EXPECT_GT(contrast(Background("blur:4").behind(frame)), contrast(Background("blur:100").behind(frame)));
}

TEST(BackgroundTest, BlurWithoutASigmaIsOfAPartOfTheWidth) {
    for (const auto& [width, sigma] : {std::pair{320u, "blur:4"}, {16u, "blur:1"}}) {
        const Image frame = stripes(width);
        EXPECT_EQ(Background("blur").behind(frame).bytes, Background(sigma).behind(frame).bytes) << width;
    }
}

TEST(BackgroundTest, BlurIsOfTheFrameThatIsGiven) {
    Background background("blur:2");
    background.behind(stripes(20));
    EXPECT_EQ(background.behind(plainColour(20, 8, 1, 2, 3)).bytes, plainColour(20, 8, 1, 2, 3).bytes);
}

TEST(BackgroundTest, WhatIsNoBackgroundIsRefused) {
    for (const std::string told : {"blur:", "blur:0.4", "blur:101", "blur:nan", "blur:inf", "blur:-3", "blur:3px",
                                   "blur: 3", "blur:1e99", "#12", "#12345g", "#1234567", "#"}) {
        try {
            const Background background(told);
            ADD_FAILURE() << told;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code, kUsage);
            EXPECT_THAT(failure.text, HasSubstr(told));
        }
    }
}

TEST(BackgroundTest, FileThatIsNotThereIsTold) {
    // A name that only begins like a blur is a file's.
    for (const std::string told : {"no/such/wall.png", "blurred.png"}) {
        try {
            const Background background(told);
            ADD_FAILURE() << told;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code, kInput);
            EXPECT_THAT(failure.text, HasSubstr(told));
        }
    }
}

}  // namespace
