#include "plugins/qorml/Resizer.h"

#include <gmock/gmock.h>

#include <numeric>

#include "platform/include/guarded_memory.h"

namespace {

using platform::GuardedMemory;
using qorml::LineScale;
using qorml::Resizer;
using qorml::Size;
using testing::Each;
using testing::ElementsAre;

std::vector<uint8_t> resized(const std::vector<uint8_t>& from, Size size, Size to) {
    std::vector<uint8_t> result(to.pixels());
    Resizer(size, to).toBytes(from.data(), result.data());
    return result;
}

TEST(ResizerTest, EqualSizesChangeNothing) {
    std::vector<uint8_t> all(256);
    std::iota(all.begin(), all.end(), uint8_t{0});
    EXPECT_EQ(resized(all, {16, 16}, {16, 16}), all);
    EXPECT_EQ(resized(all, {256, 1}, {256, 1}), all);
}

TEST(ResizerTest, LongerLineIsInterpolated) {
    EXPECT_THAT(resized({0, 100}, {2, 1}, {4, 1}), ElementsAre(0, 25, 75, 100));
    EXPECT_THAT(resized({0, 100}, {1, 2}, {1, 4}), ElementsAre(0, 25, 75, 100));
}

TEST(ResizerTest, ShorterLineIsAveraged) {
    EXPECT_THAT(resized({0, 200, 0, 200, 0, 200, 0, 200}, {8, 1}, {1, 1}), ElementsAre(100));
    // The two in the middle weigh 3.5 to the outer ones' 2.5.
    EXPECT_THAT(resized({0, 120, 120, 0}, {4, 1}, {1, 1}), ElementsAre(70));
}

TEST(ResizerTest, OnePixelFillsEverything) {
    EXPECT_THAT(resized({77}, {1, 1}, {640, 360}), Each(77));
    EXPECT_THAT(resized(std::vector<uint8_t>(640 * 360, 255), {640, 360}, {1, 1}), ElementsAre(255));
}

TEST(ResizerTest, WeightsOfAPixelSumToOneInsideTheLine) {
    for (const size_t from : {1, 2, 3, 7, 143, 144, 145, 255, 1280, 230400}) {
        for (const size_t to : {1, 2, 5, 144, 256, 360, 640}) {
            const LineScale scale(from, to);
            for (size_t i = 0; i < to; ++i) {
                const LineScale::Part part = scale.part(i);
                ASSERT_GE(part.count, 1u);
                ASSERT_LE(part.first + part.count, from);
                ASSERT_NEAR(std::accumulate(part.weights, part.weights + part.count, 0.0), 1.0, 1e-3);
            }
        }
    }
}

TEST(ResizerTest, PlaneOfAPictureIsReadInItsSteps) {
    const std::vector<uint8_t> picture = {1, 2, 3, 4, 5, 6, 7, 8};
    std::vector<float> plane(2);
    Resizer({2, 1}, {2, 1}).toFloats(picture.data() + 2, 4, plane.data());
    EXPECT_THAT(plane, ElementsAre(3.0f, 7.0f));
}

TEST(ResizerTest, NothingBeyondTheBuffersIsTouched) {
    const Size kSizes[] = {{1, 1}, {3, 5}, {255, 143}, {257, 145}, {641, 359}, {1280, 180}, {1, 2000}, {2000, 1}};
    for (const Size size : kSizes) {
        for (const Size network : {Size{256, 144}, Size{640, 360}}) {
            const GuardedMemory picture(size.pixels() * 4);
            const GuardedMemory plane(network.pixels() * sizeof(float));
            Resizer(size, network).toFloats(picture.data() + 3, 4, reinterpret_cast<float*>(plane.data()));
            const GuardedMemory from(network.pixels());
            const GuardedMemory mask(size.pixels());
            Resizer(network, size).toBytes(from.data(), mask.data());
        }
    }
}

}  // namespace
