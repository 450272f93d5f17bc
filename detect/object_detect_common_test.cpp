#include "detect/ObjectDetectCommon.h"

#include <gmock/gmock.h>

#include <limits>
#include <numeric>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Bytes = std::vector<uint8_t>;
using Boxes = std::vector<DetectBox>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr int32_t kClasses = 2;
constexpr DetectBox kUntouched{-1, -1, -1, -1, -1, -1};

struct Row {
    float x, y, width, height, objectness;
    float classes[kClasses];
};

DetectBox square(float left, float top, float score) {
    return {left, top, left + 10, top + 10, score, 0};
}

class DetectTest : public testing::Test {
  protected:
    Boxes suppressed(Boxes candidates, float iouThreshold = 0.5f, int32_t maxBoxes = 100, bool clip = false) {
        return limited(std::move(candidates), 100, iouThreshold, maxBoxes, clip);
    }

    Boxes limited(Boxes candidates, int32_t candidateLimit, float iouThreshold = 0.5f, int32_t maxBoxes = 100,
                  bool clip = false) {
        Boxes boxes(100, kUntouched);
        int32_t count = -1;
        detect.nonMaxSuppression(candidates, boxes.data(), &count, iouThreshold, candidateLimit, maxBoxes, clip);
        return firstOf(boxes, count);
    }

    Boxes decoded(std::vector<Row>& rows, float objectness = 0.5f, float classThreshold = 0.25f,
                  int32_t maxBoxes = 100) {
        static_assert(sizeof(Row) == (5 + kClasses) * sizeof(float));
        Boxes boxes(100, kUntouched);
        int32_t count = -1;
        detect.postProcess(&rows[0].x, boxes.data(), &count, static_cast<int32_t>(rows.size()), objectness,
                           classThreshold, kClasses, 5 + kClasses, maxBoxes);
        return firstOf(boxes, count);
    }
    Boxes decoded(const Row& row) {
        std::vector<Row> rows{row};
        return decoded(rows);
    }

    ObjectDetectCommon detect;

  private:
    static Boxes firstOf(const Boxes& boxes, int32_t count) {
        for (size_t i = static_cast<size_t>(count); i < boxes.size(); ++i) EXPECT_EQ(boxes[i], kUntouched) << i;
        return {boxes.begin(), boxes.begin() + count};
    }
};

Bytes numbered(size_t count) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

}  // namespace

TEST_F(DetectTest, PadsAreZeroAtFirst) {
    EXPECT_EQ(detect.mPadTop, 0);
    EXPECT_EQ(detect.mPadLeft, 0);
}

TEST_F(DetectTest, SmallerPictureGoesToTheMiddleAndLeavesTheBorder) {
    const Bytes source = numbered(6);
    Bytes canvas(6 * 5, 114);
    EXPECT_TRUE(detect.padCenter(source.data(), canvas.data(), 3, 2, 6, 5));
    EXPECT_EQ(detect.mPadLeft, 1);
    EXPECT_EQ(detect.mPadTop, 1);
    Bytes expected(6 * 5, 114);
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 3; ++x) expected[(y + 1) * 6 + x + 1] = source[y * 3 + x];
    EXPECT_EQ(canvas, expected);
}

TEST_F(DetectTest, PictureOfTheCanvasSizeIsCopiedAndLeavesThePads) {
    Bytes canvas(12, 0);
    ASSERT_TRUE(detect.padCenter(numbered(2).data(), canvas.data(), 1, 2, 3, 4));
    const Bytes source = numbered(12);
    EXPECT_TRUE(detect.padCenter(source.data(), canvas.data(), 3, 4, 3, 4));
    EXPECT_EQ(canvas, source);
    EXPECT_EQ(detect.mPadLeft, 1);
    EXPECT_EQ(detect.mPadTop, 1);
    ASSERT_TRUE(detect.padCenter(source.data(), canvas.data(), 3, 1, 3, 4));
    EXPECT_EQ(detect.mPadLeft, 0);
    EXPECT_EQ(detect.mPadTop, 1);
}

TEST_F(DetectTest, ScreenshotOfFourHundredByThreeHundredLandsWhereItIsExpected) {
    const Bytes source(400 * 300, 1);
    Bytes canvas(512 * 512, 114);
    EXPECT_TRUE(detect.padCenter(source.data(), canvas.data(), 400, 300, 512, 512));
    EXPECT_EQ(detect.mPadLeft, 56);
    EXPECT_EQ(detect.mPadTop, 106);
    EXPECT_EQ(std::count(canvas.begin(), canvas.end(), 1), 400 * 300);
    EXPECT_EQ(canvas[106 * 512 + 55], 114);
    EXPECT_EQ(canvas[106 * 512 + 56], 1);
    EXPECT_EQ(canvas[405 * 512 + 455], 1);
    EXPECT_EQ(canvas[405 * 512 + 456], 114);
    EXPECT_EQ(canvas[406 * 512 + 455], 114);
}

TEST_F(DetectTest, PictureThatDoesNotFitIsRefusedAndChangesNothing) {
    const Bytes source = numbered(100);
    Bytes canvas(16, 9);
    EXPECT_FALSE(detect.padCenter(source.data(), canvas.data(), 5, 4, 4, 4));
    EXPECT_FALSE(detect.padCenter(source.data(), canvas.data(), 4, 5, 4, 4));
    EXPECT_FALSE(detect.padCenter(source.data(), canvas.data(), -1, 4, 4, 4));
    EXPECT_FALSE(detect.padCenter(source.data(), canvas.data(), 4, std::numeric_limits<int32_t>::min(), 4, 4));
    EXPECT_FALSE(detect.padCenter(nullptr, canvas.data(), 4, 4, 4, 4));
    EXPECT_FALSE(detect.padCenter(source.data(), nullptr, 4, 4, 4, 4));
    EXPECT_EQ(canvas, Bytes(16, 9));
    EXPECT_EQ(detect.mPadLeft, 0);
}

TEST_F(DetectTest, EmptyPictureOnlySetsThePads) {
    const Bytes source(1);
    Bytes canvas(16, 9);
    EXPECT_TRUE(detect.padCenter(source.data(), canvas.data(), 0, 0, 4, 4));
    EXPECT_EQ(canvas, Bytes(16, 9));
    EXPECT_EQ(detect.mPadLeft, 2);
    EXPECT_EQ(detect.mPadTop, 2);
}

TEST_F(DetectTest, RowBecomesTheBoxOfItsBestClassWithItsObjectness) {
    EXPECT_THAT(decoded({50, 40, 20, 10, 0.5f, {0.6f, 0.9f}}), ElementsAre(DetectBox{40, 35, 60, 45, 0.5f, 1}));
    EXPECT_THAT(decoded({50, 40, 20, 10, 0.9f, {0.8f, 0.1f}}), ElementsAre(DetectBox{40, 35, 60, 45, 0.9f, 0}));
}

TEST_F(DetectTest, ClassScoresAreMultipliedInTheRow) {
    std::vector<Row> rows{{50, 40, 20, 10, 0.5f, {0.5f, 0.25f}}, {50, 40, 20, 10, 0.25f, {0.5f, 0.25f}}};
    EXPECT_THAT(decoded(rows), IsEmpty());
    EXPECT_THAT(rows[0].classes, ElementsAre(0.25f, 0.125f));
    EXPECT_THAT(rows[1].classes, ElementsAre(0.5f, 0.25f)) << "a row below the threshold is left alone";
}

TEST_F(DetectTest, ThresholdOfTheObjectnessIncludesItself) {
    EXPECT_EQ(decoded({0, 0, 2, 2, 0.5f, {1, 0}}).size(), 1u);
    EXPECT_THAT(decoded({0, 0, 2, 2, 0.49999997f, {1, 0}}), IsEmpty());
}

TEST_F(DetectTest, ThresholdOfTheClassExcludesItself) {
    EXPECT_THAT(decoded({0, 0, 2, 2, 1, {0.25f, 0}}), IsEmpty());
    EXPECT_EQ(decoded({0, 0, 2, 2, 1, {0.25000003f, 0}}).size(), 1u);
}

TEST_F(DetectTest, HigherOfTwoEqualClassesWins) {
    EXPECT_EQ(decoded({0, 0, 2, 2, 1, {0.7f, 0.7f}}).at(0).classId, 1);
}

TEST_F(DetectTest, ThresholdOfTheClassIsThatOfTheOverlapToo) {
    std::vector<Row> rows{{5, 5, 10, 10, 0.9f, {1, 0}}, {10, 5, 10, 10, 0.8f, {1, 0}}};
    EXPECT_EQ(decoded(rows, 0.5f, 0.25f).size(), 1u) << "a third is more than a quarter";
    rows = {{5, 5, 10, 10, 0.9f, {1, 0}}, {10, 5, 10, 10, 0.8f, {1, 0}}};
    EXPECT_EQ(decoded(rows, 0.5f, 0.4f).size(), 2u);
}

TEST_F(DetectTest, BoxesComeBackInThePicturesCoordinates) {
    Bytes canvas(512 * 512);
    ASSERT_TRUE(detect.padCenter(Bytes(400 * 300).data(), canvas.data(), 400, 300, 512, 512));
    EXPECT_THAT(decoded({60, 110, 20, 20, 0.9f, {1, 0}}), ElementsAre(DetectBox{-6, -6, 14, 14, 0.9f, 0}));
}

TEST_F(DetectTest, BestRowsAreKeptUpToTheLimit) {
    std::vector<Row> rows;
    for (int i = 0; i < 25; ++i)
        rows.push_back({static_cast<float>(i * 20), 10, 10, 10, 0.6f + 0.01f * static_cast<float>(i), {1, 0}});
    const Boxes boxes = decoded(rows, 0.5f, 0.25f, 20);
    ASSERT_EQ(boxes.size(), 20u);
    for (size_t i = 0; i < boxes.size(); ++i) EXPECT_EQ(boxes[i].score, rows[24 - i].objectness);
}

TEST_F(DetectTest, NoRowsGiveNoBoxes) {
    std::vector<Row> rows(1);
    int32_t count = 7;
    DetectBox box = kUntouched;
    detect.postProcess(&rows[0].x, &box, &count, 0, 0, 0, kClasses, 5 + kClasses, 1);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(box, kUntouched);
}

TEST_F(DetectTest, RowsThatAreNoNumbersGiveNoBoxes) {
    EXPECT_THAT(decoded({0, 0, 2, 2, kNaN, {1, 1}}), IsEmpty());
    EXPECT_THAT(decoded({0, 0, 2, 2, 1, {kNaN, kNaN}}), IsEmpty());
    EXPECT_EQ(decoded({0, 0, 2, 2, 1, {0.9f, kNaN}}).at(0).classId, 0);
    EXPECT_EQ(decoded({kNaN, kInfinity, -kInfinity, 2, kInfinity, {1, 0}}).size(), 1u);
}

TEST_F(DetectTest, NoCandidatesLeaveTheBoxesAlone) {
    EXPECT_THAT(suppressed({}), IsEmpty());
}

TEST_F(DetectTest, CandidatesAreSortedInPlace) {
    Boxes candidates{square(0, 0, 0.1f), square(20, 0, 0.9f), square(40, 0, 0.5f)};
    Boxes boxes(3);
    int32_t count = 0;
    detect.nonMaxSuppression(candidates, boxes.data(), &count, 0.5f, 3, 3, false);
    EXPECT_THAT(candidates, ElementsAre(square(20, 0, 0.9f), square(40, 0, 0.5f), square(0, 0, 0.1f)));
    EXPECT_EQ(boxes, candidates);
}

TEST_F(DetectTest, OverlapAtTheThresholdStays) {
    const DetectBox better = square(0, 0, 0.9f), worse{0, 0, 10, 5, 0.8f, 0};
    EXPECT_THAT(suppressed({better, worse}, 0.5f), ElementsAre(better, worse));
    EXPECT_THAT(suppressed({better, worse}, 0.49f), ElementsAre(better));
}

TEST_F(DetectTest, DroppedCandidatesDropNobody) {
    const DetectBox first = square(0, 0, 0.9f), second = square(4, 0, 0.8f), third = square(8, 0, 0.7f);
    EXPECT_THAT(suppressed({third, second, first}, 0.4f), ElementsAre(first, third));
}

TEST_F(DetectTest, ClassesDoNotMatterForTheOverlap) {
    DetectBox other = square(0, 0, 0.8f);
    other.classId = 3;
    EXPECT_EQ(suppressed({square(0, 0, 0.9f), other}).size(), 1u);
}

TEST_F(DetectTest, BoxesThatOnlyTouchDoNotOverlap) {
    EXPECT_EQ(suppressed({square(0, 0, 0.9f), square(10, 0, 0.8f), square(0, 10, 0.7f)}, 0).size(), 3u);
}

// A threshold below 0 tells 0 from what a formula gives outside of its range.
TEST_F(DetectTest, BoxesApartOverlapByExactlyZero) {
    for (const DetectBox& apart : {square(0, 20, 0.8f), square(20, 0, 0.8f), square(20, 20, 0.8f)})
        EXPECT_EQ(suppressed({square(0, 0, 0.9f), apart}, -0.01f).size(), 1u);
    EXPECT_EQ(suppressed({square(0, 0, 0.9f), square(20, 20, 0.8f)}, 0).size(), 2u);
}

TEST_F(DetectTest, BoxesTooSmallForAnAreaOverlapByExactlyZero) {
    const DetectBox tiny{0, 0, 1e-30f, 1e-30f, 0.9f, 0};
    EXPECT_EQ(suppressed({tiny, tiny}, -0.01f).size(), 1u);
    EXPECT_EQ(suppressed({tiny, tiny}, 0).size(), 2u);
}

TEST_F(DetectTest, BoxesWithoutAreaDropNobody) {
    const DetectBox empty{5, 5, 5, 5, 0.9f, 0}, turned{10, 10, 0, 0, 0.8f, 0};
    EXPECT_EQ(suppressed({empty, turned, square(0, 0, 0.7f)}, 0).size(), 3u);
}

TEST_F(DetectTest, WalkEndsAtItsLimits) {
    const Boxes candidates{square(0, 0, 0.9f), square(1, 0, 0.8f), square(40, 0, 0.7f), square(60, 0, 0.6f)};
    EXPECT_EQ(limited(candidates, 2).size(), 1u) << "the dropped one counts as walked";
    EXPECT_EQ(limited(candidates, 3).size(), 2u);
    EXPECT_EQ(limited(candidates, 0).size(), 0u);
    EXPECT_EQ(limited(candidates, -1).size(), 0u);
    EXPECT_EQ(limited(candidates, 1000).size(), 3u);
    EXPECT_EQ(suppressed(candidates, 0.5f, 2).size(), 2u);
    EXPECT_EQ(suppressed(candidates, 0.5f, 0).size(), 0u);
    EXPECT_EQ(suppressed(candidates, 0.5f, -1).size(), 0u);
}

TEST_F(DetectTest, ClippedCopiesAreWhatLaterCandidatesAreComparedWith) {
    // Of the better one half lies outside: unclipped, the two overlap by a half, clipped by all.
    const DetectBox better{-0.5f, 0, 0.5f, 1, 0.9f, 0}, worse{0, 0, 0.5f, 1, 0.8f, 0};
    EXPECT_EQ(suppressed({better, worse}, 0.5f).size(), 2u);
    EXPECT_THAT(suppressed({better, worse}, 0.5f, 4, true), ElementsAre(DetectBox{0, 0, 0.5f, 1, 0.9f, 0}));
    EXPECT_THAT(suppressed({{0.2f, -1, 3, 2, 0.9f, 0}}, 0.5f, 4, true), ElementsAre(DetectBox{0.2f, 0, 1, 1, 0.9f, 0}));
}

TEST_F(DetectTest, ScoresThatAreNoNumbersComeLast) {
    const Boxes boxes = suppressed({square(0, 0, kNaN), square(20, 0, -kInfinity), square(40, 0, kNaN),
                                    square(60, 0, 1), square(80, 0, kInfinity)});
    ASSERT_EQ(boxes.size(), 5u);
    EXPECT_EQ(boxes[0].left, 80);
    EXPECT_EQ(boxes[1].left, 60);
    EXPECT_EQ(boxes[2].left, 20);
}

TEST_F(DetectTest, BoxesThatAreNoNumbersOverlapNobody) {
    EXPECT_EQ(suppressed({{kNaN, kNaN, kNaN, kNaN, 0.9f, 0}, square(0, 0, 0.8f)}, 0).size(), 2u);
    EXPECT_EQ(suppressed({{-kInfinity, -kInfinity, kInfinity, kInfinity, 0.9f, 0}, square(0, 0, 0.8f)}, 0).size(), 2u);
}
