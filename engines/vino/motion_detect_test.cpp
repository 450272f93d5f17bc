#include "engines/vino/MotionDetect.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <vector>

#include "tests/support/TraceCapture.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Bytes = std::vector<uint8_t>;

// A row of pixels, all on the edge, of which the first `changed` differ from the reference by `difference` in all.
struct Scene {
    explicit Scene(size_t pixels, size_t changed = 0, int difference = 31)
        : frame(pixels * 3, 100), reference(pixels * 3, 100), edges(pixels, 1) {
        for (size_t i = 0; i < changed; ++i) {
            frame[i * 3] = static_cast<uint8_t>(100 + difference - difference / 2 - difference / 3);
            frame[i * 3 + 1] = static_cast<uint8_t>(100 - difference / 2);
            frame[i * 3 + 2] = static_cast<uint8_t>(100 + difference / 3);
        }
    }
    int32_t isChanged(int32_t& counter) const { return isChanged(static_cast<int32_t>(edges.size()), counter); }
    int32_t isChanged(int32_t edgeCount, int32_t& counter) const {
        return MotionDetect::isChanged(static_cast<int32_t>(edges.size()), frame.data(), reference.data(), edges.data(),
                                       edgeCount, &counter);
    }
    Bytes frame, reference, edges;
};

struct Edges {
    Bytes map;
    int32_t count = -1;
};

Edges edgesOf(int32_t width, int32_t height, const Bytes& mask) {
    Edges edges{Bytes(mask.size(), 0)};
    MotionDetect::getMaskEdge(width, height, mask.data(), &edges.count, edges.map.data());
    return edges;
}

Bytes eroded(int32_t width, int32_t height, const Bytes& src) {
    Bytes dst(src.size(), 77);
    EXPECT_EQ(MotionDetect::erodeMask(width, height, src.data(), dst.data()), 0);
    return dst;
}

}  // namespace

TEST(IsChangedTest, NullBufferIsLoggedAndCountsAsAChange) {
    const Bytes bytes(30, 0);
    for (int missing = 0; missing < 3; ++missing) {
        zeltest::TraceCapture trace;
        int32_t counter = 7;
        EXPECT_EQ(
            MotionDetect::isChanged(10, missing == 0 ? nullptr : bytes.data(), missing == 1 ? nullptr : bytes.data(),
                                    missing == 2 ? nullptr : bytes.data(), 10, &counter),
            1);
        EXPECT_EQ(counter, 0);
        EXPECT_THAT(trace.lines(),
                    ElementsAre(zeltest::TraceCapture::Line{0, "MotionDetect isChanged: Pointer is empty"}));
    }
}

TEST(IsChangedTest, EmptyEdgeNeverChangesUntilTheRunIsOver) {
    const Scene scene(100, 100, 300);
    for (const int32_t edgeCount : {0, 8}) {
        int32_t counter = 0;
        for (int32_t frame = 1; frame <= 17; ++frame) {
            EXPECT_EQ(scene.isChanged(edgeCount, counter), 0);
            EXPECT_EQ(counter, frame);
        }
        EXPECT_EQ(scene.isChanged(edgeCount, counter), 1);
        EXPECT_EQ(counter, 0);
    }
}

TEST(IsChangedTest, EdgeOfNinePixelsIsTested) {
    const Scene scene(9, 9);
    int32_t counter = 0;
    EXPECT_EQ(scene.isChanged(8, counter), 0);
    EXPECT_EQ(scene.isChanged(9, counter), 1);
}

TEST(IsChangedTest, CounterOf16AllowsOneMoreUnchangedFrame) {
    const Scene scene(100);
    int32_t counter = 16;
    EXPECT_EQ(scene.isChanged(counter), 0);
    EXPECT_EQ(counter, 17);
    EXPECT_EQ(scene.isChanged(counter), 1);
    EXPECT_EQ(counter, 0);
}

TEST(IsChangedTest, FractionMustPass18Percent) {
    int32_t counter = 3;
    EXPECT_EQ(Scene(100, 18).isChanged(counter), 0);
    EXPECT_EQ(counter, 4);
    EXPECT_EQ(Scene(100, 19).isChanged(counter), 1);
    EXPECT_EQ(counter, 0);
}

TEST(IsChangedTest, ChangesFarApartInALargePictureAddUp) {
    for (const size_t changed : {5400, 5401}) {
        Scene scene(30000, changed);
        std::rotate(scene.frame.begin(), scene.frame.begin() + 2700 * 3, scene.frame.end());
        int32_t counter = 3;
        EXPECT_EQ(scene.isChanged(counter), changed == 5401) << changed;
    }
}

TEST(IsChangedTest, PixelSumMustPass30) {
    int32_t counter = 0;
    EXPECT_EQ(Scene(100, 100, 30).isChanged(counter), 0);
    EXPECT_EQ(Scene(100, 100, 31).isChanged(counter), 1);
}

TEST(IsChangedTest, OnlyEdgePixelsCount) {
    Scene scene(100, 100);
    std::fill(scene.edges.begin() + 18, scene.edges.end(), uint8_t{0});
    int32_t counter = 0;
    EXPECT_EQ(scene.isChanged(100, counter), 0);
    scene.edges[99] = 255;
    EXPECT_EQ(scene.isChanged(100, counter), 1);
}

TEST(IsChangedTest, NegativeCounterSkipsEveryTestAndCountsUp) {
    const Scene scene(100, 100);
    int32_t counter = -2;
    EXPECT_EQ(scene.isChanged(counter), 0);
    EXPECT_EQ(counter, -1);
    EXPECT_EQ(scene.isChanged(counter), 0);
    EXPECT_EQ(counter, 0);
    EXPECT_EQ(scene.isChanged(counter), 1);
}

TEST(IsChangedTest, NoPixelsAreUnchanged) {
    const Scene scene(100, 100);
    for (const int32_t pixels : {0, -5}) {
        int32_t counter = 0;
        EXPECT_EQ(MotionDetect::isChanged(pixels, scene.frame.data(), scene.reference.data(), scene.edges.data(), 100,
                                          &counter),
                  0);
    }
}

TEST(GetMaskEdgeTest, NullBufferIsLoggedAndLeavesTheCount) {
    Bytes bytes(9, 200);
    for (const bool withMask : {false, true}) {
        zeltest::TraceCapture trace;
        int32_t count = 5;
        MotionDetect::getMaskEdge(3, 3, withMask ? bytes.data() : nullptr, &count, withMask ? nullptr : bytes.data());
        EXPECT_EQ(count, 5);
        EXPECT_THAT(trace.lines(),
                    ElementsAre(zeltest::TraceCapture::Line{0, "MotionDetect getMaskEdge: Pointer is empty"}));
    }
    EXPECT_THAT(bytes, Each(200));
}

TEST(GetMaskEdgeTest, UniformMaskHasNoEdge) {
    for (const int value : {0, 128, 129, 255}) {
        const Edges edges = edgesOf(10, 8, Bytes(80, static_cast<uint8_t>(value)));
        EXPECT_EQ(edges.count, 0);
        EXPECT_THAT(edges.map, Each(0));
    }
}

TEST(GetMaskEdgeTest, ValueOf128IsBackgroundAnd129IsForeground) {
    Bytes mask(49, 0);
    mask[24] = 128;
    EXPECT_EQ(edgesOf(7, 7, mask).count, 0);
    mask[24] = 129;
    EXPECT_EQ(edgesOf(7, 7, mask).count, 25);
    mask.assign(49, 255);
    mask[24] = 129;
    EXPECT_EQ(edgesOf(7, 7, mask).count, 0);
    mask[24] = 128;
    EXPECT_EQ(edgesOf(7, 7, mask).count, 25);
}

TEST(GetMaskEdgeTest, BandReachesTwoPixelsToEitherSideOfTheOutline) {
    Bytes mask;
    for (int y = 0; y < 6; ++y) mask.insert(mask.end(), {0, 0, 0, 0, 0, 255, 255, 255, 255, 255});
    const Edges edges = edgesOf(10, 6, mask);
    EXPECT_EQ(edges.count, 24);
    for (size_t i = 0; i < mask.size(); ++i) EXPECT_EQ(edges.map[i], i % 10 >= 3 && i % 10 <= 6) << i;
}

TEST(GetMaskEdgeTest, WindowIsClippedAtTheBorder) {
    Bytes mask(40, 0);
    mask[0] = 255;
    const Edges edges = edgesOf(8, 5, mask);
    EXPECT_EQ(edges.count, 9);
    for (size_t i = 0; i < mask.size(); ++i) EXPECT_EQ(edges.map[i], i % 8 <= 2 && i / 8 <= 2) << i;
}

TEST(GetMaskEdgeTest, BytesOffTheBandKeepTheirValue) {
    Bytes mask(100, 0);
    mask[0] = 255;
    Bytes map(100, 1);
    int32_t count = 0;
    MotionDetect::getMaskEdge(10, 10, mask.data(), &count, map.data());
    EXPECT_EQ(count, 9);
    EXPECT_THAT(map, Each(1));
}

TEST(GetMaskEdgeTest, EdgeIsWhereAWindowHoldsBothKinds) {
    std::mt19937 random(7);
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 9}, {9, 1}, {2, 2}, {5, 4}, {33, 21}, {100, 3}}) {
        Bytes mask(static_cast<size_t>(width * height));
        std::bernoulli_distribution sparse(0.04);
        for (uint8_t& byte : mask) byte = sparse(random) ? 255 : 0;
        const Edges edges = edgesOf(width, height, mask);
        int32_t count = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                bool inside = false, outside = false;
                for (int v = std::max(y - 2, 0); v <= std::min(y + 2, height - 1); ++v) {
                    for (int u = std::max(x - 2, 0); u <= std::min(x + 2, width - 1); ++u) {
                        (mask[static_cast<size_t>(v) * width + u] ? inside : outside) = true;
                    }
                }
                ASSERT_EQ(edges.map[static_cast<size_t>(y) * width + x], inside && outside) << x << ' ' << y;
                count += inside && outside;
            }
        }
        EXPECT_EQ(edges.count, count);
    }
}

TEST(GetMaskEdgeTest, NegativeDimensionsAreAnEmptyPicture) {
    uint8_t byte = 200;
    int32_t count = 4;
    MotionDetect::getMaskEdge(-3, 5, &byte, &count, &byte);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(byte, 200);
}

TEST(ErodeMaskTest, NullPointersAndSmallPicturesAreRefusedWithoutALine) {
    zeltest::TraceCapture trace;
    const Bytes src(9, 1);
    Bytes dst(9, 77);
    EXPECT_EQ(MotionDetect::erodeMask(3, 3, nullptr, dst.data()), -1);
    EXPECT_EQ(MotionDetect::erodeMask(3, 3, src.data(), nullptr), -1);
    EXPECT_EQ(MotionDetect::erodeMask(2, 3, src.data(), dst.data()), -1);
    EXPECT_EQ(MotionDetect::erodeMask(3, 2, src.data(), dst.data()), -1);
    EXPECT_EQ(MotionDetect::erodeMask(-3, 3, src.data(), dst.data()), -1);
    EXPECT_THAT(dst, Each(77));
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST(ErodeMaskTest, BorderTakesTheMinimumOfItsClippedWindow) {
    const Bytes result = eroded(4, 4,
                                {9, 8, 7, 6,    //
                                 5, 50, 50, 4,  //
                                 3, 50, 50, 2,  //
                                 9, 9, 1, 9});
    EXPECT_THAT(result, ElementsAre(5, 5, 4, 4,    //
                                    3, 50, 2, 2,   //
                                    3, 50, 50, 1,  //
                                    3, 1, 1, 1));
}

TEST(ErodeMaskTest, InnerPixelOfThe3x3PictureFollowsEachOfTheFourTests) {
    const Bytes middleBelowLeft{5, 3, 9, 5, 3, 3, 5, 3, 8};
    const Bytes rightBelowMiddle{3, 5, 2, 9, 5, 4, 1, 5, 3};
    const Bytes middleBelowTop{5, 5, 5, 3, 3, 3, 9, 3, 8};
    const Bytes bottomBelowMiddle{3, 9, 1, 5, 5, 5, 2, 4, 3};
    for (const Bytes& window : {middleBelowLeft, rightBelowMiddle, middleBelowTop, bottomBelowMiddle}) {
        EXPECT_EQ(eroded(3, 3, window)[4], *std::min_element(window.begin(), window.end()));
    }
}

TEST(ErodeMaskTest, OneEqualPairBreaksASteadyFall) {
    EXPECT_EQ(eroded(3, 3, {5, 3, 9, 5, 4, 4, 4, 4, 8})[4], 4);
    EXPECT_EQ(eroded(3, 3, {5, 5, 2, 9, 5, 4, 1, 5, 5})[4], 5);
}

TEST(ErodeMaskTest, OnlySlopesThatFallRightwardAreTakenAndFlatAreasStay) {
    const Bytes rising = eroded(
        5, 5, {10, 20, 30, 40, 50, 10, 20, 30, 40, 50, 10, 20, 30, 40, 50, 10, 20, 30, 40, 50, 10, 20, 30, 40, 50});
    EXPECT_EQ(rising[12], 30);
    const Bytes falling = eroded(
        5, 5, {50, 40, 30, 20, 10, 50, 40, 30, 20, 10, 50, 40, 30, 20, 10, 50, 40, 30, 20, 10, 50, 40, 30, 20, 10});
    EXPECT_EQ(falling[12], 20);
    EXPECT_THAT(eroded(6, 5, Bytes(30, 200)), Each(200));
}
