#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "engines/vino/LadonNetworks.h"
#include "host/HostEngineFixture.h"
#include "host/ReplacedNetworks.h"
#include "platform/include/clock.h"
#include "platform/include/module.h"

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr uint32_t kXnnGpu = 8, kXnnCpu = 9, kXnnNpu = 10, kSegmentationCpu = 3;
constexpr uint32_t kWidth = 16, kHeight = 8;
constexpr size_t kPixels = size_t{kWidth} * kHeight;

using Bytes = std::vector<uint8_t>;
using Result = std::unique_ptr<ipc::LadonResult>;

ladon_networks::Options withTable(const std::string& name) {
    ladon_networks::Options options;
    options.name = name;
    options.lut = {1, 3, 33, 33, 33};
    options.lutVertices = {1, 3, 33};
    options.lutConfidence = {1, 1};
    return options;
}

// The host with the library that is built beside it, and with small networks.
class HostXnnTest : public HostGpuFixture {
  protected:
    void SetUp() override {
        ReplacedNetworks::put(218, 217, ladon_networks::make(withTable("SmallXnn")));
        ReplacedNetworks::put(216, 215, ladon_networks::make(withTable("LargeXnn")));
        ReplacedNetworks::put(140, 150, mask_networks::make({}));
        HostGpuFixture::SetUp();
        tellFolder(platform::executableDirectory() + "/../bin");
    }

    void tellFolder(const std::string& folder) {
        mClient->command([&folder](ipc::Command& command) {
            command.code = static_cast<uint32_t>(ipc::CommandCode::SetModelPath);
            command.pathKind = static_cast<int32_t>(ipc::PathKind::XnnLibrary);
            folder.copy(command.text, sizeof command.text - 1);
        });
    }
    Result run(bool skipAllowed = true) {
        mClient->frame(kWidth, kHeight, mFrame, 1, {}, false, skipAllowed);
        Result result = mClient->ladonResult();
        if (!result) throw std::runtime_error("a frame was not answered");
        return result;
    }
    void await(const std::string& text) {
        const uint32_t start = platform::tickCount();
        while (!mTrace.contains(text)) {
            ASSERT_LT(platform::tickCount() - start, zeltest::kDeadlineMs) << text;
            run();
        }
    }

    const ReplacedNetworks mNetworks;
    const Bytes mFrame = [] {
        Bytes frame;
        for (size_t i = 0; i < kPixels; ++i) frame.insert(frame.end(), {200, 250, 0});
        return frame;
    }();
};

TEST_F(HostXnnTest, RecordHoldsWhatTheNetworkGaveWithItsTable) {
    EXPECT_THAT(eventsOf(kXnnCpu, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre("SmallXnn"));
    EXPECT_THAT(mTypes, ElementsAre(kXnnCpu));
    const Result result = run();
    EXPECT_EQ(result->size, kPixels);
    EXPECT_THAT(Bytes(result->mask, result->mask + kPixels), Each(250));
    EXPECT_THAT(result->gesture, Each(100.0f));
    EXPECT_EQ(result->landmarks[ipc::kLandmarkValues - 1], 200.0f + 1000 * 8 + 1438);
    EXPECT_EQ(result->motion, 25.0f);
    EXPECT_EQ(result->lut[0], 200.0f);
    EXPECT_EQ(result->lut[ipc::kLutValues - 1], 200.0f + ipc::kLutValues - 1);
    EXPECT_EQ(result->lutVertices[ipc::kLutVertexValues - 1], 200.0f + ipc::kLutVertexValues - 1);
    EXPECT_EQ(result->lutConfidence, 25.0f);
}

TEST_F(HostXnnTest, TypeEightBecomesNineWithoutAGpu) {
    mMachine.mAdapters.clear();
    eventsOf(kXnnGpu, 0);
    EXPECT_THAT(mTypes, ElementsAre(kXnnCpu));
    run();
}

// The runtime of the library has no such devices here.
class AbsentDeviceTest : public HostXnnTest, public testing::WithParamInterface<uint32_t> {};

INSTANTIATE_TEST_SUITE_P(Types, AbsentDeviceTest, testing::Values(kXnnGpu, kXnnNpu));

TEST_P(AbsentDeviceTest, LeavesTheCpuServing) {
    eventsOf(GetParam(), 0);
    EXPECT_THAT(mTypes, ElementsAre(GetParam()));
    run();
    await("zelipc >> ZelLadonXnnHelper::initXnn, ");
    run();
}

TEST_F(HostXnnTest, FirstSwitchToTypeTenKeepsTheNameBefore) {
    eventsOf(kSegmentationCpu, 0);
    eventsOf(kXnnNpu, 0);
    EXPECT_THAT(mNames, ElementsAre("SmallMask"));
    eventsOf(kXnnNpu, 1);
    EXPECT_THAT(mNames, ElementsAre("SmallXnn")) << "the wanted device has not changed, so nothing is loaded";
    eventsOf(kXnnCpu, 1);
    EXPECT_THAT(mNames, ElementsAre("SmallXnn"));
}

TEST_F(HostXnnTest, MissingLibraryIsAFailedStart) {
    tellFolder("/no/such/folder");
    EXPECT_THAT(eventsOf(kXnnCpu, 0), ElementsAre(4u));
    EXPECT_THAT(mTypes, ElementsAre(0u));
    EXPECT_TRUE(traced(0, "zelipc>>ZelMLHost::initMLengine, failed to initMLengine"));
    EXPECT_TRUE(mTrace.contains(" not exists."));
}

TEST_F(HostXnnTest, HelperStaysOverOtherTypes) {
    eventsOf(kXnnCpu, 0);
    eventsOf(kSegmentationCpu, 0);
    eventsOf(kXnnCpu, 0);
    run();
    EXPECT_FALSE(mTrace.contains("~ZelLadonXnnHelper"));
    EXPECT_EQ(mTrace.count(2, "ZelLadonXnnHelper xnn lib path"), 1);
    terminate();
    mHost.reset();
    EXPECT_TRUE(mTrace.contains("~ZelLadonXnnHelper"));
}

// A slot that has been used before still holds the older record.
TEST_F(HostXnnTest, TableThatCannotBeDecodedIsSentAsZeros) {
    ladon_networks::Options shapes = withTable("Other");
    shapes.lut = {1, 3, 33, 33, 32};
    ReplacedNetworks::put(216, 215, ladon_networks::make(shapes));
    for (size_t slot = 0; slot < ipc::LadonChannel::kSlots; ++slot) {
        mHost->sendLadonResults("", [](ipc::LadonResult& record) {
            std::fill(std::begin(record.lut), std::end(record.lut), 0.5f);
            std::fill(std::begin(record.lutVertices), std::end(record.lutVertices), 0.25f);
            record.lutConfidence = 0.125f;
        });
        ASSERT_TRUE(mClient->ladonResult());
    }
    eventsOf(kXnnCpu, 1);
    const Result result = run();
    EXPECT_THAT(Bytes(result->mask, result->mask + kPixels), Each(250));
    EXPECT_THAT(result->lut, Each(0.0f));
    EXPECT_THAT(result->lutVertices, Each(0.0f));
    EXPECT_EQ(result->lutConfidence, 0.0f);
}

TEST_F(HostXnnTest, InferenceThatFailsIsAFrameWithoutAResult) {
    ladon_networks::Options without = withTable("Other");
    without.missing = {"lut_vertices"};
    ReplacedNetworks::put(218, 217, ladon_networks::make(without));
    eventsOf(kXnnCpu, 0);
    mClient->frame(kWidth, kHeight, mFrame);
    const uint32_t start = platform::tickCount();
    while (!mTrace.contains("VinoHelper->process failed. mZelType=9")) {
        ASSERT_LT(platform::tickCount() - start, zeltest::kDeadlineMs);
        platform::sleepMilliseconds(1);
    }
    EXPECT_EQ(mTrace.count(0, "zelipc>> ZelMLHost::onSDFrameIpcPacket, inference failed: "), 1);
    EXPECT_FALSE(mClient->ladonResult(0));
}

}  // namespace
