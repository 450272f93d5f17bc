#include <gmock/gmock.h>

#include "host/HostEngineFixture.h"
#include "host/ReplacedNetworks.h"
#include "platform/include/clock.h"

namespace {

using HostEngineTest = HostEngineFixture;

constexpr const char* kSmallCpuNetwork = "Large_256144_Chan4_D5_V33_03012022U8";
constexpr const char* kLargeCpuNetwork = "Large_640360_Chan4_D5_V33_03032022U8";
constexpr const char* kSmallGpuNetwork = "Large_256144_Chan4_D5_V33_03032022";

// A machine with a GPU, and the pictures of a client that wants its masks.
class HostGpuTest : public HostGpuFixture {
  protected:
    // Sends frames, each of which must be answered, until a line with `text` was traced.
    void streamUntil(const std::string& text) {
        await(text, [this] {
            mClient->frame(256, 144, mFrame);
            ASSERT_TRUE(mClient->mask());
        });
    }

    const std::vector<uint8_t> mFrame = std::vector<uint8_t>(256 * 144 * 3, 90);
};

// Segmentation by a small network, whose mask is byte 0 of the picture's pixels. A person stands on the left.
class HostSmallMaskTest : public HostEngineFixture {
  protected:
    static constexpr uint32_t kWidth = 16, kHeight = 8;

    void SetUp() override {
        ReplacedNetworks::put(140, 150, mask_networks::make({}));
        HostEngineFixture::SetUp();
        eventsOf(3, 0);
    }

    // `corner` is the person's byte in the columns that are farthest from the outline.
    void send(uint8_t corner) {
        std::vector<uint8_t> frame(size_t{kWidth} * kHeight * 3);
        for (size_t at = 0; at < frame.size(); at += 3) {
            const size_t x = at / 3 % kWidth;
            if (x < 8) frame[at] = x < 2 ? corner : 240;
        }
        mClient->frame(kWidth, kHeight, frame);
    }
    uint8_t cornerOfMask() {
        const auto mask = mClient->mask();
        return mask ? mask->data.front() : 0;
    }

    const ReplacedNetworks mNetworks;
};

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(HostEngineTest, RefusedTypesYieldNoEvent) {
    for (const uint32_t type : {4u, 11u, 0xFFFFFFFFu}) EXPECT_THAT(eventsOf(type, 0), IsEmpty());
    EXPECT_TRUE(traced(2, "zelipc>>ZelMLHost::setModelType, oldType = 0, newType = 11, devCapacity = 0"));
    EXPECT_TRUE(traced(2, "zelipc>>ZelMLHost::setModelType, modelType invalid, remain old modelType:0"));
}

TEST_F(HostEngineTest, IdleYieldsNoEvent) {
    EXPECT_THAT(eventsOf(0, 0), IsEmpty());
    EXPECT_TRUE(traced(2, "zelipc>>ZelMLHost::setModelType, modelType = 0, set to idle model type"));
}

TEST_F(HostEngineTest, TypesThatStartNothingFailWithTheOldType) {
    for (const uint32_t type : {5u, 8u, 9u, 10u}) {
        mTrace.takeLines();
        EXPECT_THAT(eventsOf(type, 0), ElementsAre(4u));
        EXPECT_THAT(mTypes, ElementsAre(0u));
        EXPECT_TRUE(traced(0, "zelipc>>ZelMLHost::initMLengine, failed to initMLengine")) << type;
    }
}

TEST_F(HostEngineTest, CpuStartNamesTheNetworkAndThenTheType) {
    EXPECT_THAT(eventsOf(3, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre(kSmallCpuNetwork));
    EXPECT_THAT(mTypes, ElementsAre(3u));
}

TEST_F(HostEngineTest, SameTypeAndCapacityRestartNothing) {
    eventsOf(3, 0);
    mTrace.takeLines();
    EXPECT_THAT(eventsOf(3, 0), ElementsAre(4u));
    EXPECT_FALSE(mTrace.contains("initMLengine"));
}

TEST_F(HostEngineTest, CapacityAloneRestarts) {
    eventsOf(3, 0);
    EXPECT_THAT(eventsOf(3, 1), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre(kLargeCpuNetwork));
}

TEST_F(HostEngineTest, FailedStartSendsTheStaleName) {
    eventsOf(3, 0);
    EXPECT_THAT(eventsOf(5, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre(kSmallCpuNetwork));
    EXPECT_THAT(mTypes, ElementsAre(3u));
}

TEST_F(HostEngineTest, TypeTwoKeepsItsNumberWithoutGpu) {
    EXPECT_THAT(eventsOf(2, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre(kSmallCpuNetwork));
    EXPECT_THAT(mTypes, ElementsAre(2u));
}

TEST_F(HostEngineTest, IdleThenSameTypeRestarts) {
    eventsOf(3, 0);
    eventsOf(0, 0);
    EXPECT_THAT(eventsOf(3, 0), ElementsAre(3u, 4u));
}

TEST_F(HostEngineTest, LinesOfAStartComeInOrder) {
    eventsOf(3, 0);
    std::vector<std::string> heads;
    for (const auto& line : mTrace.lines())
        for (const char* head :
             {" zelipc>> ZelMLHost::onIpcCommand, SetModelType received, type = 3, devCapacity = 0",
              "zelipc>>ZelMLHost::setModelType, oldType = 0, newType = 3, devCapacity = 0", "zelipc>> load bin size: ",
              "zelipc>>ZelVinoHelper::init LoadNetwork time :", "zelipc::initMLengine end [this="})
            if (line.text.rfind(head, 0) == 0) heads.push_back(head);
    // The helper reads the small CPU pair once when it is made and once when it is started.
    EXPECT_THAT(heads,
                ElementsAre(" zelipc>> ZelMLHost::onIpcCommand, SetModelType received, type = 3, devCapacity = 0",
                            "zelipc>>ZelMLHost::setModelType, oldType = 0, newType = 3, devCapacity = 0",
                            "zelipc>> load bin size: ", "zelipc>> load bin size: ",
                            "zelipc>>ZelVinoHelper::init LoadNetwork time :", "zelipc::initMLengine end [this="));
}

TEST_F(HostGpuTest, SplitStartServesAtOnceAndTheGpuTakesOverWithoutDroppingAFrame) {
    holdBackgroundLoads();
    EXPECT_THAT(eventsOf(2, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre(kSmallGpuNetwork));
    EXPECT_THAT(mTypes, ElementsAre(2u));
    EXPECT_TRUE(traced(2, "zelipc>>ZelMLHost::initMLengine. thread detach failed"));
    mClient->frame(256, 144, mFrame);
    EXPECT_TRUE(mClient->mask());
    EXPECT_FALSE(mTrace.contains("zelipc>>loadgpu finished"));
    releaseBackgroundLoads();
    streamUntil("zelipc>>loadgpu finished, cache is ready.");
    mClient->frame(256, 144, mFrame);
    EXPECT_TRUE(mClient->mask());
}

TEST_F(HostGpuTest, FailingLoadLeavesTheCpuServing) {
    setVariable("ZELHOST_DEVICE_FAIL", "GPU");
    EXPECT_THAT(eventsOf(2, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mTypes, ElementsAre(2u));
    streamUntil("zelipc>>ZelMLHost::initMLengine, background load failed: ");
    mClient->frame(256, 144, mFrame);
    EXPECT_TRUE(mClient->mask());
}

TEST_F(HostGpuTest, DeviceThatIsNotThereLeavesTheCpuServing) {
    clearVariables();
    EXPECT_THAT(eventsOf(2, 0), ElementsAre(3u, 4u));
    streamUntil("zelipc>>ZelMLHost::initMLengine, background load failed: ");
}

TEST_F(HostGpuTest, SecondSplitStartDetachesTheFirstLoad) {
    eventsOf(2, 0);
    eventsOf(2, 1);
    EXPECT_TRUE(mTrace.contains("zelipc>>ZelMLHost::initMLengine. old thread detached [this="));
}

TEST_F(HostGpuTest, TypeChangeDuringTheLoadFreesNothingInUse) {
    setVariable("ZELHOST_DEVICE_DELAY_MS", "GPU=50");
    for (int round = 0; round < 3; ++round) {
        eventsOf(2, 0);
        eventsOf(3, 0);
        EXPECT_THAT(mTypes, ElementsAre(3u));
    }
    mClient->frame(256, 144, mFrame);
    EXPECT_TRUE(mClient->mask());
}

TEST_F(HostSmallMaskTest, OptionTurnsSkippingOff) {
    send(240);
    const uint8_t before = cornerOfMask();
    send(200);
    EXPECT_EQ(cornerOfMask(), before) << "nothing has changed along the outline";
    mClient->command(ipc::CommandCode::SetOption, 0);
    settle();
    send(200);
    EXPECT_LT(cornerOfMask(), before);
}

// A client that reads no masks blocks a frame, but not the commands that it sends meanwhile.
TEST_F(HostSmallMaskTest, OptionWaitsForNoFrame) {
    for (size_t frame = 0; frame < ipc::FrameChannel::kSlots + 1; ++frame) send(240);
    platform::sleepMilliseconds(100);  // for the last one to get to where it waits
    mClient->command(ipc::CommandCode::SetOption, 0);
    mClient->command(ipc::CommandCode::InitClient);
    EXPECT_TRUE(mClient->event(ipc::EventCode::InitClientReply, 10000));
    for (size_t frame = 0; frame < ipc::FrameChannel::kSlots + 1; ++frame) EXPECT_TRUE(mClient->mask());
}

}  // namespace
