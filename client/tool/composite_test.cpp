#include "client/tool/Composite.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>

#include "qorvp/Format.h"

namespace {

using namespace zeltool;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

Image mask(uint32_t width, uint32_t height, uint8_t value) {
    Image image(width, height, 1);
    std::fill(image.bytes.begin(), image.bytes.end(), value);
    return image;
}

// A frame of one colour.
struct Video {
    Video(uint32_t format, uint8_t y, uint8_t u, uint8_t v) : luma(kWidth * kHeight, y) {
        const bool vFirst = format == qorvp::kFormatYv12 || format == qorvp::kFormatNv21;
        const bool pairs = format == qorvp::kFormatNv12 || format == qorvp::kFormatNv21;
        const uint8_t values[] = {vFirst ? v : u, vFirst ? u : v};
        for (size_t at = 0; at < chroma.size(); ++at) chroma[at] = values[pairs ? at % 2 : at / (chroma.size() / 2)];
        record.planes[0] = luma.data();
        record.planes[1] = chroma.data();
        record.planes[2] = pairs ? nullptr : chroma.data() + chroma.size() / 2;
        record.stride0 = kWidth;
        record.stride1 = pairs ? kWidth : kWidth / 2;
        record.width = kWidth;
        record.height = kHeight;
        record.format = format;
    }

    static constexpr int kWidth = 6;
    static constexpr int kHeight = 4;
    std::vector<uint8_t> luma;
    std::vector<uint8_t> chroma = std::vector<uint8_t>(kWidth * kHeight / 2);
    qorvp::VpImage record{};
};

TEST(CompositeTest, GrowingGoesEvenlyFromOnePixelToTheNextInEachChannel) {
    for (const uint32_t channels : {1u, 3u, 4u}) {
        Image pair(2, 1, channels);
        for (uint32_t channel = 0; channel < channels; ++channel)
            pair.bytes[channels + channel] = static_cast<uint8_t>(100 + 40 * channel);
        const Image grown = enlarged(pair, 8, 3);
        ASSERT_EQ(grown.channels, channels);
        for (uint32_t y = 0; y < 3; ++y) {
            for (uint32_t x = 0; x < 8; ++x) {
                const double share = std::clamp((x + 0.5) / 4 - 0.5, 0.0, 1.0);
                for (uint32_t channel = 0; channel < channels; ++channel)
                    EXPECT_NEAR(grown.row(y)[x * channels + channel], share * (100 + 40 * channel), 1.5) << x;
            }
        }
    }
}

TEST(CompositeTest, BlurLeavesPlainPictures) {
    const Image plain = plainColour(20, 10, 50, 60, 70);
    EXPECT_EQ(blurred(plain, 4).bytes, plain.bytes);
    EXPECT_THAT(blurred(mask(2, 2, 8), 50).bytes, Each(8));
    EXPECT_THAT(blurred(mask(1, 1, 9), 50).bytes, Each(9));
}

TEST(CompositeTest, BlurSoftensEdgesTheFurtherTheLargerItsSigma) {
    Image edge(400, 1, 1);
    std::fill_n(edge.row(0) + 200, 200, 255);
    for (const auto& [sigma, reach] : {std::pair{2.0f, 8}, {5.0f, 37}, {8.0f, 88}}) {
        const Image soft = blurred(edge, sigma);
        EXPECT_EQ(soft.bytes.front(), 0);
        EXPECT_EQ(soft.bytes.back(), 255);
        EXPECT_TRUE(std::is_sorted(soft.bytes.begin(), soft.bytes.end()));
        const auto between = std::count_if(soft.bytes.begin(), soft.bytes.end(),
                                           [](uint8_t value) { return value > 25 && value < 230; });
        EXPECT_NEAR(between, reach, 4) << sigma;
    }
}

TEST(CompositeTest, BlurMixesNoColourWithAnother) {
    // Red from left to right, green from top to bottom, no blue.
    Image picture(40, 30, 3);
    for (uint32_t y = 0; y < picture.height; ++y) {
        for (uint32_t x = 0; x < picture.width; ++x) {
            picture.row(y)[3 * x] = x < 20 ? 0 : 200;
            picture.row(y)[3 * x + 1] = y < 15 ? 0 : 100;
        }
    }
    const Image soft = blurred(picture, 2);
    EXPECT_EQ(soft.channels, 3u);
    const auto at = [&soft](uint32_t x, uint32_t y) {
        const uint8_t* pixel = soft.row(y) + size_t{3} * x;
        return std::vector<uint8_t>(pixel, pixel + 3);
    };
    EXPECT_THAT(at(0, 0), ElementsAre(0, 0, 0));
    EXPECT_THAT(at(39, 0), ElementsAre(200, 0, 0));
    EXPECT_THAT(at(0, 29), ElementsAre(0, 100, 0));
    EXPECT_THAT(at(39, 29), ElementsAre(200, 100, 0));
    EXPECT_EQ(at(20, 0)[1], 0);
    EXPECT_NEAR(at(20, 0)[0], 130, 40);
}

TEST(CompositeTest, MaskMixesPersonAndBackground) {
    const Image person = plainColour(3, 1, 200, 210, 220);
    Image weights(3, 1, 1);
    weights.bytes = {0, 255, 128};
    // 255 leaves one part in 256 of the background.
    EXPECT_THAT(composed(person, weights, plainColour(3, 1, 100, 110, 120)).bytes,
                ElementsAre(100, 110, 120, 199, 209, 219, 150, 160, 170));
    EXPECT_THAT(person.bytes, ElementsAre(200, 210, 220, 200, 210, 220, 200, 210, 220));
}

TEST(CompositeTest, EachThreadsPictureHasItsOwnMask) {
    std::atomic<int> ready{0};
    const auto compose = [&ready](uint8_t weight, int* wrong) {
        const Image white = plainColour(8, 8, 255, 255, 255), black = plainColour(8, 8, 0, 0, 0);
        const Image weights = mask(8, 8, weight);
        for (++ready; ready < 2;) std::this_thread::yield();
        for (int round = 0; round < 100000; ++round)
            *wrong += composed(white, weights, black).bytes.front() != weight * 255 / 256;
    };
    int first = 0, second = 0;
    std::thread other(compose, uint8_t{64}, &first);
    compose(192, &second);
    other.join();
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 0);
}

TEST(CompositeTest, VideoOfEachLayoutBecomesRedGreenBlue) {
    for (const uint32_t format : {qorvp::kFormatI420, qorvp::kFormatYv12, qorvp::kFormatNv12, qorvp::kFormatNv21}) {
        // The video of 200, 40, 90.
        const Image picture = converted(Video(format, 102, 120, 186).record);
        EXPECT_EQ(picture.width, 6u);
        EXPECT_EQ(picture.height, 4u);
        EXPECT_EQ(picture.channels, 3u);
        for (size_t at = 0; at < picture.bytes.size(); at += 3) {
            EXPECT_NEAR(picture.bytes[at], 192, 2) << format;
            EXPECT_NEAR(picture.bytes[at + 1], 55, 2);
            EXPECT_NEAR(picture.bytes[at + 2], 83, 2);
        }
        EXPECT_THAT(converted(Video(format, 235, 128, 128).record).bytes, Each(253));
        EXPECT_THAT(converted(Video(format, 16, 128, 128).record).bytes, Each(0));
    }
}

TEST(CompositeTest, PictureBeyondTheLibraryIsAFailure) {
    try {
        blurred(Image(40961, 1, 1), 1);
        FAIL() << "it was blurred";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("40961x1"));
    }
}

}  // namespace
