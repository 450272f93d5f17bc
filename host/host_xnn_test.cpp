#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>

#include "host/HostXnnFixture.h"

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr uint32_t kSegmentationCpu = 3;

using Bytes = std::vector<uint8_t>;
using Result = std::unique_ptr<ipc::LadonResult>;

class HostXnnTest : public HostSmallXnnFixture {
  protected:
    Result run() { return HostSmallXnnFixture::run(mFrame); }

    const Bytes mFrame = picture(200, 250, 0);
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

INSTANTIATE_TEST_SUITE_P(Types, AbsentDeviceTest, testing::Values(HostXnnFixture::kXnnGpu, HostXnnFixture::kXnnNpu));

TEST_P(AbsentDeviceTest, LeavesTheCpuServing) {
    eventsOf(GetParam(), 0);
    EXPECT_THAT(mTypes, ElementsAre(GetParam()));
    run();
    runUntilTraced("zelipc >> ZelLadonXnnHelper::initXnn, ", mFrame);
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

TEST_F(HostXnnTest, OptionTurnsSkippingOff) {
    eventsOf(kXnnCpu, 0);
    bool skipped = false;
    for (int i = 0; i < 60 && !skipped; ++i) skipped = run()->skipRun > 0;
    ASSERT_TRUE(skipped);
    mClient->command(ipc::CommandCode::SetOption, 0);
    settle();
    const uint32_t last = run()->skipRun;
    for (int i = 0; i < 40; ++i) EXPECT_EQ(run()->skipRun, last) << i;
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
    await("VinoHelper->process failed. mZelType=9");
    EXPECT_EQ(mTrace.count(0, "zelipc>> ZelMLHost::onSDFrameIpcPacket, inference failed: "), 1);
    EXPECT_FALSE(mClient->ladonResult(0));
}

}  // namespace
