#include "engines/vino/HelperFixture.h"
#include "engines/vino/LadonNetworks.h"
#include "engines/vino/ZelLadonVinoHelper.h"
#include "platform/include/clock.h"
#include "tests/support/AllocationCount.h"
#include "util/include/CmTime.h"

namespace {

using zeltest::allocationsOf;

// The allocations at each reading of the clock.
size_t counts[8];
int readings = 0;

uint32_t noteCount() {
    if (readings < 8) counts[readings++] = zeltest::allocationCount();
    return 0;
}
unsigned long long noteCountInMicroseconds() {
    return noteCount();
}

class HelperAllocationsTest : public HelperFixture {};

}  // namespace

TEST_F(HelperAllocationsTest, AllocationsAreCounted) {
    EXPECT_EQ(allocationsOf([] { delete new volatile int(1); }), 1u);
}

// The helper reads the clock just before and just after an inference: what is allocated in between is the runtime's.
TEST_F(HelperAllocationsTest, InferredFrameAllocatesNothingAroundItsInference) {
    ZelVinoHelper helper(source());
    ASSERT_TRUE(helper.init("CPU"));
    const Bytes frames[] = {halfFrame(201), halfFrame(31)};
    platform::replaceTickSource(noteCount);
    for (int turn = 0; turn < 40; ++turn) {
        const Bytes& frame = frames[turn % 2];
        readings = 0;
        const size_t before = zeltest::allocationCount();
        ASSERT_TRUE(helper.processUsingV5Model(kWidth, kHeight, frame.data(), kFrameBytes, &mask));
        const size_t after = zeltest::allocationCount();
        ASSERT_GE(readings, 2);
        if (turn >= 2) {
            EXPECT_EQ(counts[0] - before + after - counts[1], 0u) << turn;
        }
    }
}

TEST_F(HelperAllocationsTest, LadonFrameAllocatesNothingAroundItsInference) {
    ladon_networks::Options options;
    options.factors = {1, 0, 0, 0};
    ZelLadonVinoHelper helper(
        [&](const InferenceEngine::Core& core, int, int) { return ladon_networks::make(options).read(core); });
    ASSERT_TRUE(helper.init("CPU"));
    const Bytes frames[] = {halfFrame(201), halfFrame(140)};
    timer_policy::replace(noteCountInMicroseconds);
    for (int turn = 0; turn < 40; ++turn) {
        const Bytes& frame = frames[turn % 2];
        const float* values = nullptr;
        readings = 0;
        const size_t before = zeltest::allocationCount();
        ASSERT_TRUE(helper.runInference(kWidth, kHeight, frame.data(), kFrameBytes));
        helper.parseSegmentationOutput();
        helper.getGestureOutput(&values);
        helper.parseLandmarksOutput(&values);
        helper.motionOutput();
        const size_t after = zeltest::allocationCount();
        ASSERT_EQ(readings, 2);
        if (turn >= 2) {
            EXPECT_EQ(counts[0] - before + after - counts[1], 0u) << turn;
        }
    }
    timer_policy::replace(nullptr);
}

TEST_F(HelperAllocationsTest, MaskOfALaterFrameIsKeptWithoutAllocation) {
    SkipLogic skip;
    const Bytes frame = halfFrame(201);
    const Bytes bytes = uniformFrame(200);
    const auto update = [&] { skip.update(kWidth, kHeight, bytes.data(), bytes.data(), frame.data()); };
    update();
    const size_t before = zeltest::allocationCount();
    for (int i = 0; i < 25; ++i) update();
    EXPECT_EQ(zeltest::allocationCount(), before);
}

TEST_F(HelperAllocationsTest, SkippedFrameAllocatesNothing) {
    ZelVinoHelper helper(source());
    ASSERT_TRUE(helper.init("CPU"));
    const Bytes frame = halfFrame(201);
    ASSERT_TRUE(process(helper, frame));
    for (int round = 0; round < 3; ++round) {
        mask = incoming.data();
        while (mask == incoming.data()) ASSERT_TRUE(process(helper, frame));
        mask = incoming.data();
        const size_t before = zeltest::allocationCount();
        for (int skipped = 0; skipped < 17; ++skipped) ASSERT_TRUE(process(helper, frame));
        EXPECT_EQ(zeltest::allocationCount(), before);
        EXPECT_EQ(mask, incoming.data());
    }
}
