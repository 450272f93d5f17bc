#include <gmock/gmock.h>

#include <algorithm>
#include <functional>

#include "engines/vino/LadonNetworks.h"
#include "host/HostEngineFixture.h"
#include "host/ReplacedNetworks.h"
#include "platform/include/clock.h"
#include "tests/support/Repetitions.h"
#include "tests/support/SamplePhotograph.h"

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr uint32_t kLadonGpu = 6, kLadonCpu = 7, kSegmentationCpu = 3;
constexpr const char* kHelperEnds = "zelipc>> :~ZelLadonVinoHelper() ";
constexpr const char* kGpuLoaded = "zelipc>>loadgpu finished, cache is ready.";

using Bytes = std::vector<uint8_t>;
using Result = std::unique_ptr<ipc::LadonResult>;

Bytes maskOf(const ipc::LadonResult& result) {
    return Bytes(result.mask, result.mask + result.size);
}

// The program's own networks.
class HostLadonModelsTest : public HostEngineFixture {
  protected:
    static constexpr uint32_t kWidth = 256, kHeight = 144;
    static constexpr size_t kPixels = size_t{kWidth} * kHeight;
    static constexpr size_t kCells = size_t{9} * 16, kCellValues = 1439;

    static std::vector<size_t> cellsWithFace(const ipc::LadonResult& result) {
        std::vector<size_t> cells;
        for (size_t i = 0; i < kCells; ++i)
            if (result.landmarks[i * kCellValues] != 0) cells.push_back(i);
        return cells;
    }
};

TEST_F(HostLadonModelsTest, StartNamesTheNetworkAndTheType) {
    EXPECT_THAT(eventsOf(kLadonCpu, 1), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre("LadonMedium_640360_Chan4_v124_nolut_06172025"));
    EXPECT_THAT(mTypes, ElementsAre(kLadonCpu));
}

TEST_F(HostLadonModelsTest, OneFrameGivesEveryOutput) {
    EXPECT_THAT(eventsOf(kLadonCpu, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre("LadonMedium_256144_Chan4_v124_nolut_06172025"));
    mClient->frame(kWidth, kHeight, zeltest::samplePhotograph(kWidth, kHeight));
    const Result result = mClient->ladonResult();
    ASSERT_TRUE(result);
    ASSERT_EQ(result->size, kPixels);
    const Bytes mask = maskOf(*result);
    EXPECT_GT(std::count_if(mask.begin(), mask.end(), [](uint8_t byte) { return byte > 240; }), kPixels / 10);
    EXPECT_GT(std::count_if(mask.begin(), mask.end(), [](uint8_t byte) { return byte < 15; }), kPixels / 10);
    EXPECT_THAT(result->gesture, Each(0.0f)) << "no hand on it";
    EXPECT_GT(result->motion, 0.1f) << "a person who was not there before";
    EXPECT_EQ(result->skipRun, 0u);
    const std::vector<size_t> cells = cellsWithFace(*result);
    ASSERT_EQ(cells.size(), 1u);
    const float* face = result->landmarks + cells[0] * kCellValues;
    EXPECT_GT(face[0], 0.75f);
    const float x = (face[1] + face[3]) / 2, y = (face[2] + face[4]) / 2;
    EXPECT_EQ(cells[0], static_cast<size_t>(y * 9) * 16 + static_cast<size_t>(x * 16));
    EXPECT_GT(face[5], face[1]) << "the first point lies in the box";
    EXPECT_LT(face[5], face[3]);
    EXPECT_FALSE(mClient->mask(0)) << "the answer goes to one channel";
}

constexpr uint32_t kWidth = 16, kHeight = 8;
constexpr size_t kPixels = size_t{kWidth} * kHeight;

// A frame whose mask is `mask`, and whose other outputs are not zero.
Bytes frameWithMask(uint8_t mask) {
    Bytes frame;
    for (size_t i = 0; i < kPixels; ++i) frame.insert(frame.end(), {200, mask, 0});
    return frame;
}

// What a client of the Ladon models does.
class HostLadonTest : public HostGpuFixture {
  protected:
    void SetUp() override {
        ReplacedNetworks::put(214, 213, ladon_networks::make({}));
        ReplacedNetworks::put(212, 211, ladon_networks::make({}));
        ReplacedNetworks::put(140, 150, mask_networks::make({}));
        HostGpuFixture::SetUp();
    }

    Result run(const Bytes& frame, bool skipAllowed = true) {
        mClient->frame(kWidth, kHeight, frame, 1, {}, false, skipAllowed);
        Result result = mClient->ladonResult();
        if (!result) throw std::runtime_error("a frame was not answered");
        return result;
    }
    // Runs frames until a line with `text` was traced.
    void runUntil(const std::string& text) {
        await(text, [this] { run(mFrame); });
    }
    void expectNoResult(const Bytes& frame, const std::string& why) {
        mTrace.takeLines();
        mClient->frame(kWidth, kHeight, frame);
        await("zelipc>> ZelMLHost::onSDFrameIpcPacket VinoHelper->process failed. mZelType=7");
        EXPECT_EQ(mTrace.count(0, why), 1) << why;
        EXPECT_FALSE(mClient->ladonResult(0));
    }

    const ReplacedNetworks mNetworks;
    const Bytes mFrame = frameWithMask(250);
};

TEST_F(HostLadonTest, TypeSixBecomesSevenWithoutAGpu) {
    mMachine.mAdapters.clear();
    eventsOf(kLadonGpu, 0);
    EXPECT_THAT(mTypes, ElementsAre(kLadonCpu));
    EXPECT_THAT(eventsOf(kLadonGpu, 0), ElementsAre(4u)) << "restarted";
}

TEST_F(HostLadonTest, RecordHoldsWhatTheNetworkGave) {
    eventsOf(kLadonCpu, 0);
    const Result result = run(mFrame);
    EXPECT_EQ(result->size, kPixels);
    EXPECT_THAT(maskOf(*result), Each(250));
    EXPECT_THAT(result->gesture, Each(100.0f));
    EXPECT_EQ(result->landmarks[0], 200.0f);
    EXPECT_EQ(result->landmarks[ipc::kLandmarkValues - 1], 200.0f + 1000 * 8 + 1438);
    EXPECT_EQ(result->motion, 25.0f);
    EXPECT_EQ(result->skipRun, 0u);
}

TEST_F(HostLadonTest, LoadTimeIsReportedOnceForEachStart) {
    setVariable("ZELHOST_DEVICE_DELAY_MS", "CPU=20");
    for (int start = 0; start < 2; ++start) {
        eventsOf(kLadonCpu, 0);
        for (int i = 0; i < 3; ++i) run(mFrame);
        const auto event = mClient->event(ipc::EventCode::ModelLoadTime, 0);
        ASSERT_TRUE(event) << start;
        EXPECT_GE(event->loadTime, 20u);
        EXPECT_FALSE(mClient->event(ipc::EventCode::ModelLoadTime, 0)) << start;
        eventsOf(0, 0);
    }
}

TEST_F(HostLadonTest, StillPictureRepeatsEverything) {
    eventsOf(kLadonCpu, 0);
    Result last = run(mFrame), next = run(mFrame);
    for (int i = 0; i < 60 && next->skipRun == 0; ++i) {
        last = std::move(next);
        next = run(mFrame);
    }
    ASSERT_EQ(next->skipRun, 1u);
    EXPECT_EQ(maskOf(*next), maskOf(*last));
    EXPECT_EQ(next->motion, last->motion);
    EXPECT_TRUE(std::equal(std::begin(next->landmarks), std::end(next->landmarks), std::begin(last->landmarks)));
}

TEST_F(HostLadonTest, NoFrameIsSkippedWhenTheClientSaysSo) {
    eventsOf(kLadonCpu, 0);
    for (int i = 0; i < 40; ++i) EXPECT_EQ(run(mFrame, false)->skipRun, 0u) << i;
}

TEST_F(HostLadonTest, OptionTurnsSkippingOff) {
    eventsOf(kLadonCpu, 0);
    mClient->command(ipc::CommandCode::SetOption, 0);
    settle();
    for (int i = 0; i < 40; ++i) EXPECT_EQ(run(mFrame)->skipRun, 0u) << i;
}

TEST_F(HostLadonTest, FrameOfAnotherSizeIsToldAndHasNoReply) {
    eventsOf(kLadonCpu, 0);
    mClient->frame(4, 2, Bytes(24));
    await("VinoHelper->process failed. mZelType=7");
    EXPECT_TRUE(traced(0,
                       "zelipc>> ZelLadonVinoHelper model size not the same, tensor: w =16 h = 8, input sample: w = 4 "
                       "h = 2"));
    EXPECT_FALSE(mClient->ladonResult(0));
}

// A slot that has been used before still holds the older record.
TEST_F(HostLadonTest, WhatCannotBeDecodedIsSentAsZeros) {
    ladon_networks::Options shapes;
    shapes.gesture = {1, 8};
    shapes.landmarks = {1, 1, 9, 16, 3};
    ReplacedNetworks::put(212, 211, ladon_networks::make(shapes));
    eventsOf(kLadonCpu, 0);
    for (size_t slot = 0; slot < ipc::LadonChannel::kSlots; ++slot) run(mFrame, false);
    eventsOf(kLadonCpu, 1);
    const Result result = run(mFrame);
    EXPECT_THAT(maskOf(*result), Each(250));
    EXPECT_THAT(result->gesture, Each(0.0f));
    EXPECT_THAT(result->landmarks, Each(0.0f));
    EXPECT_TRUE(traced(0,
                       "zelipc>> ZelLadonVinoHelper::getGestureOutput, gesture number not equal to preset number, "
                       "actual:8, preset:9"));
    EXPECT_TRUE(traced(0,
                       "zelipc >> ZelLadonVinoHelper::parseLandmarksOutput, output tensor shape not equal to preset "
                       "shape, actual: 1x9x16x3, preset: 1x9x16x1439"));
}

// Records of models with a colour table have passed through every slot before.
TEST_F(HostLadonTest, OnlyTheFieldsOfItsFormAreWritten) {
    for (size_t slot = 0; slot < ipc::LadonChannel::kSlots; ++slot) {
        mHost->sendLadonResults("", [](ipc::LadonResult& record) {
            std::fill(std::begin(record.mask), std::end(record.mask), uint8_t{7});
            std::fill(std::begin(record.lut), std::end(record.lut), 0.5f);
            std::fill(std::begin(record.lutVertices), std::end(record.lutVertices), 0.25f);
            record.lutConfidence = 0.125f;
        });
        ASSERT_TRUE(mClient->ladonResult());
    }
    eventsOf(kLadonCpu, 0);
    const Result result = run(mFrame);
    EXPECT_THAT(maskOf(*result), Each(250));
    EXPECT_THAT(std::vector<uint8_t>(result->mask + kPixels, std::end(result->mask)), Each(7));
    EXPECT_THAT(result->lut, Each(0.5f));
    EXPECT_THAT(result->lutVertices, Each(0.25f));
    EXPECT_EQ(result->lutConfidence, 0.125f);
}

TEST_F(HostLadonTest, InferenceThatFailsIsAFrameWithoutAResult) {
    ladon_networks::Options without;
    without.missing = {"motion"};
    ReplacedNetworks::put(212, 211, ladon_networks::make(without));
    eventsOf(kLadonCpu, 1);
    expectNoResult(mFrame, "zelipc>> ZelMLHost::onSDFrameIpcPacket, inference failed: ");
    eventsOf(kLadonCpu, 0);
    EXPECT_THAT(maskOf(*run(mFrame)), Each(250));
}

TEST_F(HostLadonTest, LeavingTheTypeEndsTheHelper) {
    eventsOf(kLadonCpu, 0);
    eventsOf(0, 0);
    EXPECT_FALSE(mTrace.contains(kHelperEnds)) << "idle keeps it";
    eventsOf(kLadonCpu, 0);
    eventsOf(kSegmentationCpu, 0);
    EXPECT_TRUE(traced(2, std::string(kHelperEnds) + "CPU"));
    eventsOf(kLadonCpu, 0);
    run(mFrame);
}

TEST_F(HostLadonTest, CpuServesUntilTheGpuTakesOver) {
    setVariable("ZELHOST_DEVICE_DELAY_MS", "GPU=20");
    holdBackgroundLoads();
    EXPECT_THAT(eventsOf(kLadonGpu, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mTypes, ElementsAre(kLadonGpu));
    run(mFrame);
    EXPECT_FALSE(mClient->event(ipc::EventCode::ModelLoadTime, 0)) << "not of the load that only serves meanwhile";
    releaseBackgroundLoads();
    runUntil(kGpuLoaded);
    // The line comes a moment before the network is in place.
    while (!mClient->event(ipc::EventCode::ModelLoadTime, 0)) run(mFrame);
}

TEST_F(HostLadonTest, LeavingDuringTheLoadLeavesTheEndToTheLoad) {
    holdBackgroundLoads();
    eventsOf(kLadonGpu, 0);
    eventsOf(kSegmentationCpu, 0);
    EXPECT_FALSE(mTrace.contains(kHelperEnds));
    releaseBackgroundLoads();
    await(std::string(kHelperEnds) + "GPU");
}

TEST_F(HostLadonTest, ComingBackDuringTheLoadKeepsTheHelper) {
    holdBackgroundLoads();
    eventsOf(kLadonGpu, 0);
    eventsOf(kSegmentationCpu, 0);
    eventsOf(kLadonGpu, 1);
    releaseBackgroundLoads();
    await("network is no longer wanted");
    EXPECT_FALSE(mTrace.contains(kHelperEnds));
    run(mFrame);
}

TEST_F(HostLadonTest, FailingLoadLeavesTheCpuServing) {
    setVariable("ZELHOST_DEVICE_FAIL", "GPU");
    eventsOf(kLadonGpu, 0);
    runUntil("zelipc>>ZelMLHost::initMLengine, background load failed: ");
    run(mFrame);
    eventsOf(kSegmentationCpu, 0);
    EXPECT_TRUE(traced(2, std::string(kHelperEnds) + "GPU")) << "no load is under way any more";
}

// For the sanitizers: a helper is neither freed in use nor forgotten, however soon the type is left.
TEST_F(HostLadonTest, LeavingAgainAndAgainEndsEveryHelper) {
    const uint32_t rounds = zeltest::repetitions("ZELHOST_LADON_ROUNDS", 50);
    setVariable("ZELHOST_DEVICE_DELAY_MS", "GPU=3");
    for (uint32_t round = 0; round < rounds; ++round) {
        mClient->command(ipc::CommandCode::SetModelType, kLadonGpu, round % 2);
        mClient->frame(kWidth, kHeight, mFrame);
        mClient->command(ipc::CommandCode::SetModelType, kSegmentationCpu, 0);
        settle();
        while (mClient->ladonResult(0) || mClient->mask(0)) {
        }
    }
    eventsOf(kLadonCpu, 0);
    run(mFrame);
    eventsOf(kSegmentationCpu, 0);
    terminate();
    mHost.reset();
    // A helper reads a network when it is made and with each start.
    const long starts = rounds + 1;
    EXPECT_EQ(mTrace.count(2, kHelperEnds), mTrace.count(2, "zelipc>> load model, model name: ") - starts);
}

}  // namespace
