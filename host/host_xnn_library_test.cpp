// A host with a library made for the purpose: one whose creations last, and one that throws.

#include <gmock/gmock.h>

#include "engines/xnn/TestLibrary.h"
#include "host/HostXnnFixture.h"
#include "platform/include/clock.h"
#include "platform/include/thread.h"
#include "tests/support/Repetitions.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Not;

constexpr uint32_t kFrameMs = 1000 / 30;
constexpr const char* kFailedStart = "zelipc>>ZelMLHost::initMLengine, failed to initMLengine";
constexpr const char* kFailedFrame = "zelipc>> ZelMLHost::onSDFrameIpcPacket VinoHelper->process failed. mZelType=9";
constexpr const char* kWithoutText =
    "zelipc>> ZelMLHost::onSDFrameIpcPacket, inference failed: an exception without text";
constexpr const char* kNpuServes = "ZelLadonXnnHelper::switchEngine, switchEngine success, current device: NPU";

class HostXnnLibraryTest : public HostSmallXnnFixture {
  protected:
    void SetUp() override {
        HostSmallXnnFixture::SetUp();
        mLibrary.actAsLadon(kHeight, kWidth);
        tellFolder(mLibrary.folder());
    }
    // The host's end waits for a creation.
    void TearDown() override {
        mLibrary.set("held", "");
        mLibrary.set("throws", "");
        HostSmallXnnFixture::TearDown();
    }

    // Runs a frame of its own, whose mask the library makes of it.
    void expectServing() {
        mShade = static_cast<uint8_t>(mShade % 100 + 1);
        const auto result = run(picture(mShade, mShade, mShade), false);
        ASSERT_THAT(std::vector<uint8_t>(result->mask, result->mask + kPixels), Each(2 * mShade));
    }
    // Frames at a camera's pace, all answered.
    void serveFor(uint32_t milliseconds) {
        const uint32_t start = platform::tickCount();
        while (platform::tickCount() - start < milliseconds) {
            ASSERT_NO_FATAL_FAILURE(expectServing());
            platform::sleepMilliseconds(kFrameMs);
        }
    }
    void start(uint32_t type) {
        eventsOf(type, 0);
        ASSERT_THAT(mTypes, ElementsAre(type));
    }

    // How long the network's creation on `device` took, by the trace; 0 without a line.
    uint32_t creationMs(const std::string& device) const {
        const std::string before = "create model with device:" + device + ", modelLoadTime=";
        for (const std::string& text : tracedTexts()) {
            const size_t at = text.find(before);
            if (at != std::string::npos) return static_cast<uint32_t>(std::stoul(text.substr(at + before.size())));
        }
        return 0;
    }

    const xnn::test::TestLibrary mLibrary;
    uint8_t mShade = 0;
};

// Handles are counted from 1, and a start asks one for the version first.
TEST_F(HostXnnLibraryTest, FramesAreAnsweredWhileTheCreationOfAnEngineLastsForSeconds) {
    const uint32_t held = zeltest::repetitions("ZELHOST_CREATION_MS", 5000);
    start(kXnnCpu);
    ASSERT_NO_FATAL_FAILURE(expectServing());
    mLibrary.set("held", "ladon_NPU");
    start(kXnnNpu);
    mLibrary.takeCalls();
    ASSERT_NO_FATAL_FAILURE(serveFor(held));
    EXPECT_FALSE(mTrace.contains(kNpuServes));
    EXPECT_THAT(mLibrary.takeCalls(), AllOf(Contains("2 xnnInfer"), Not(Contains("4 xnnInfer"))));

    mLibrary.set("held", "");
    const uint32_t released = platform::tickCount();
    while (!mTrace.contains(kNpuServes)) {
        ASSERT_LT(platform::tickCount() - released, zeltest::kDeadlineMs);
        ASSERT_NO_FATAL_FAILURE(serveFor(1));
    }
    mLibrary.takeCalls();
    ASSERT_NO_FATAL_FAILURE(expectServing());
    EXPECT_THAT(mLibrary.takeCalls(), AllOf(Contains("4 xnnInfer"), Not(Contains("2 xnnInfer"))));
    EXPECT_EQ(mTrace.count(0, ""), 0);
    EXPECT_GE(creationMs("AUTO"), held / 2) << "it may have begun a little after the start was answered";
}

TEST_F(HostXnnLibraryTest, NumberThrownInAFrameIsAFailedFrame) {
    start(kXnnCpu);
    for (const char* entry : {"xnnGetLayerDims", "xnnSetLayerData", "xnnInfer", "xnnHasException", "xnnGetLayerData"}) {
        mTrace.takeLines();
        mLibrary.set("throws", entry);
        mClient->frame(kWidth, kHeight, picture(1, 1, 1));
        await(kFailedFrame);
        mLibrary.set("throws", "");
        EXPECT_TRUE(traced(0, kWithoutText)) << entry;
        EXPECT_EQ(mTrace.count(0, kFailedFrame), 1) << entry;
        EXPECT_FALSE(mClient->ladonResult(0)) << entry;
        ASSERT_NO_FATAL_FAILURE(expectServing()) << entry;
    }
}

TEST_F(HostXnnLibraryTest, NumberThrownInAStartIsAFailedStart) {
    for (const char* entry :
         {"xnnCreateWithLibraryLoader", "xnnSetLogCallback", "xnnCreateNetByBuffers", "xnnGetLayerDims"}) {
        mTrace.takeLines();
        mLibrary.set("throws", entry);
        EXPECT_THAT(eventsOf(kXnnCpu, 0), Contains(4u)) << entry;
        EXPECT_THAT(mTypes, ElementsAre(0u)) << entry;
        EXPECT_TRUE(traced(0, kFailedStart)) << entry;
        mLibrary.set("throws", "");
    }
    start(kXnnCpu);
    ASSERT_NO_FATAL_FAILURE(expectServing());
}

// The engine of a finished job is looked at by the watcher.
TEST_F(HostXnnLibraryTest, NumberThrownOnTheWatchersThreadLeavesTheCpuServing) {
    start(kXnnCpu);
    mLibrary.set("held", "ladon_NPU");
    start(kXnnNpu);
    mLibrary.set("throws", "xnnGetLayerDims");
    mLibrary.set("held", "");
    await("zelipc >> ZelLadonXnnHelper::initXnn, an exception without text");
    mLibrary.set("throws", "");
    ASSERT_NO_FATAL_FAILURE(expectServing());
    EXPECT_FALSE(mTrace.contains(kNpuServes));
}

TEST_F(HostXnnLibraryTest, NumberThrownAtAnEnginesEndIsToldAndNoMore) {
    start(kXnnNpu);
    while (!mTrace.contains(kNpuServes)) ASSERT_NO_FATAL_FAILURE(expectServing());
    mLibrary.set("throws", "xnnDestory");
    start(kXnnCpu);
    EXPECT_TRUE(traced(0, "zelipc>> PluginEngine, xnnDestory threw: an exception without text"));
    ASSERT_NO_FATAL_FAILURE(expectServing());
}

}  // namespace
