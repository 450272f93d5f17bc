#include "engines/vino/SkipLogic.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

#include "platform/include/clock.h"
#include "platform/include/guarded_memory.h"
#include "tests/support/TraceCapture.h"

using platform::GuardedMemory;
using testing::IsEmpty;

namespace {

constexpr int32_t kWidth = 16;
constexpr int32_t kHeight = 8;
constexpr size_t kPixels = kWidth * kHeight;

uint32_t ticks = 0;

class SkipLogicTest : public testing::Test {
  protected:
    SkipLogicTest() : frame(kPixels * 3) {
        ticks = 0;
        platform::replaceTickSource([] { return ticks += 5; });
        leftHalf(255);
    }
    ~SkipLogicTest() override { platform::replaceTickSource(nullptr); }

    void leftHalf(uint8_t value) {
        mask.assign(kPixels, 0);
        for (size_t i = 0; i < kPixels; ++i) mask[i] = i % kWidth < kWidth / 2 ? value : 0;
    }
    std::vector<uint8_t> kept() const { return {skip.previousMask().begin(), skip.previousMask().end()}; }
    void update() { skip.update(kWidth, kHeight, mask.data(), mask.data(), frame.data()); }
    int32_t test() { return skip.test(kWidth, kHeight, frame.data(), kPixels * 3); }
    void paint(uint8_t value) { std::fill(frame.begin(), frame.end(), value); }

    zeltest::TraceCapture trace;
    GuardedMemory frame;
    std::vector<uint8_t> mask;
    SkipLogic skip;
};

}  // namespace

TEST_F(SkipLogicTest, WithoutAReferenceTheChangeTestTellsThatAPointerIsEmpty) {
    EXPECT_EQ(test(), 1);
    EXPECT_EQ(trace.lines(),
              (std::vector<zeltest::TraceCapture::Line>{{0, "MotionDetect isChanged: Pointer is empty"}}));
    EXPECT_FALSE(skip.hasMask());
}

TEST_F(SkipLogicTest, MaskMakesItsFrameTheReference) {
    update();
    EXPECT_TRUE(skip.hasMask());
    EXPECT_EQ(skip.edgeCount(), 4 * kHeight);
    EXPECT_EQ(kept(), mask);
    EXPECT_EQ(test(), 0);
    EXPECT_EQ(skip.skipRun(), 1);
    paint(200);
    EXPECT_EQ(test(), 1);
    EXPECT_EQ(skip.skipRun(), 0);
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(SkipLogicTest, ReferenceStaysBetweenRefreshesAndGoesWithEveryTenthMask) {
    update();
    paint(200);
    for (int mask = 2; mask <= 10; ++mask) {
        update();
        EXPECT_EQ(test(), 1) << mask;
    }
    update();
    EXPECT_EQ(test(), 0);
}

TEST_F(SkipLogicTest, MaskSumThatMovesByMoreThanAFifthRefreshes) {
    leftHalf(200);
    update();  // sum 64 * 200
    paint(200);
    leftHalf(167);  // (12800 + 1) / (10688 + 1) is 1.1976
    update();
    EXPECT_EQ(test(), 1);
    leftHalf(166);  // (12800 + 1) / (10624 + 1) is 1.2048
    update();
    EXPECT_EQ(test(), 0);
}

TEST_F(SkipLogicTest, MaskSumIsComparedWithThatOfTheLastRefresh) {
    leftHalf(200);
    update();
    paint(200);
    for (const uint8_t value : {190, 180, 170}) {
        leftHalf(value);
        update();
        EXPECT_EQ(test(), 1);
    }
    leftHalf(160);
    update();
    EXPECT_EQ(test(), 0);
}

TEST_F(SkipLogicTest, PreviousMaskIsTheOneToSendAndNotTheRawOne) {
    std::vector<uint8_t> sent(kPixels, 9);
    skip.update(kWidth, kHeight, mask.data(), sent.data(), frame.data());
    EXPECT_EQ(kept(), sent);
}

TEST_F(SkipLogicTest, OwnedPreviousMaskOutlivesTheBytesThatItWasGiven) {
    skip.ownPreviousMask();
    EXPECT_TRUE(kept().empty());
    update();
    const std::vector<uint8_t> given = mask;
    skip.ownPreviousMask();
    mask.assign(kPixels, 77);
    EXPECT_EQ(kept(), given);
    skip.ownPreviousMask();
    EXPECT_EQ(kept(), given);
    update();
    EXPECT_EQ(kept(), mask);
}

TEST_F(SkipLogicTest, MissingFrameLeavesTheReference) {
    update();
    skip.clearUpdateCount();
    paint(200);
    skip.update(kWidth, kHeight, mask.data(), mask.data(), nullptr);
    EXPECT_EQ(test(), 1);
}

TEST_F(SkipLogicTest, EdgeMapIsClearedOnARefreshOfItsSize) {
    update();
    const int32_t edges = skip.edgeCount();
    mask.assign(kPixels, 0);
    mask[0] = 255;
    update();
    EXPECT_EQ(skip.edgeCount(), 9);
    EXPECT_NE(edges, 9);
    // Only the nine pixels of the corner are looked at: the rest may change.
    const std::vector<uint8_t> before(frame.begin(), frame.end());
    paint(200);
    for (size_t y = 0; y < 3; ++y) std::copy_n(before.begin() + y * kWidth * 3, 9, frame.data() + y * kWidth * 3);
    EXPECT_EQ(test(), 0);
}

TEST_F(SkipLogicTest, TimeAndSkipsAreCountedUntilTheWindowIsClosed) {
    update();
    EXPECT_EQ(skip.skipCostMs(), 5u);
    skip.addCost(7);
    skip.countSkip();
    skip.countSkip();
    EXPECT_EQ(skip.skipCostMs(), 12u);
    EXPECT_EQ(skip.skipCount(), 2);
    skip.clearStatistics();
    EXPECT_EQ(skip.skipCostMs(), 0u);
    EXPECT_EQ(skip.skipCount(), 0);
    EXPECT_EQ(skip.updateCount(), 1);
}

TEST_F(SkipLogicTest, NothingBeyondTheFrameOrTheReferenceIsRead) {
    update();
    constexpr int32_t kHuge = std::numeric_limits<int32_t>::max();
    for (const auto& [width, height] :
         {std::pair{kWidth, kHeight}, {kHuge, kHuge}, {640, 360}, {1, 1}, {0, 7}, {-1, -1}, {-kHuge, 3}, {3, -kHuge}}) {
        for (const int32_t size : {static_cast<int32_t>(kPixels * 3), 1, 2, 3, 100}) {
            const GuardedMemory part(static_cast<size_t>(size));
            skip.test(width, height, part.data(), size);
        }
        const GuardedMemory larger(kPixels * 9);
        skip.test(width, height, larger.data(), kPixels * 9);
        EXPECT_EQ(skip.test(width, height, frame.data(), 0) & ~1, 0);
        EXPECT_EQ(skip.test(width, height, frame.data(), -7) & ~1, 0);
    }
}

TEST_F(SkipLogicTest, EdgeCountClearedMeanwhileMakesFramesUnchanged) {
    update();
    paint(200);
    skip.clearEdgeCount();
    EXPECT_EQ(test(), 0);
}

TEST(GpuTooSlowTest, AverageMustPass150OnExactlyTheGpu) {
    EXPECT_FALSE(gpuTooSlow("GPU", 150000, 1000));
    EXPECT_TRUE(gpuTooSlow("GPU", 150001, 1000));
    EXPECT_FALSE(gpuTooSlow("CPU", 900000, 1000));
    EXPECT_FALSE(gpuTooSlow("GPU.0", 900000, 1000));
    EXPECT_FALSE(gpuTooSlow("gpu", 900000, 1000));
    EXPECT_FALSE(gpuTooSlow("", 900000, 1000));
}
