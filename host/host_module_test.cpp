// Model type 1, on modules made for the purpose.

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <thread>

#include "host/HostEngineFixture.h"
#include "platform/include/clock.h"
#include "plugins/qorml/TestModules.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using zeltest::ModuleFolder;
using zeltest::ModuleWatch;

constexpr uint32_t kModule = 1;
constexpr const char* kFailedStart = "zelipc>>ZelMLHost::initMLengine, failed to initMLengine";
constexpr const char* kFailedFrame = "zelipc>> ZelMLHost::onSDFrameIpcPacket VinoHelper->process failed. mZelType=1";

class HostModuleTest : public HostEngineFixture {
  protected:
    void useModule(const std::string& name) {
        mFolder.reset();
        mFolder = std::make_unique<ModuleFolder>(name);
    }
    void TearDown() override {
        HostEngineFixture::TearDown();
        mFolder.reset();
    }

    // A picture of 4 bytes a pixel, all of one colour; its first byte tells the module how to run.
    static std::vector<uint8_t> picture(uint32_t width, uint32_t height, uint8_t green, uint8_t first = 200) {
        std::vector<uint8_t> bytes(size_t{width} * height * 4);
        for (size_t i = 1; i < bytes.size(); i += 4) bytes[i] = green;
        bytes[0] = first;
        return bytes;
    }
    void expectServing(uint32_t width, uint32_t height, uint8_t green) {
        mClient->frame(width, height, picture(width, height, green));
        const auto mask = mClient->mask();
        ASSERT_TRUE(mask);
        EXPECT_EQ(mask->width, width);
        EXPECT_EQ(mask->height, height);
        EXPECT_EQ(mask->size, width * height);
        EXPECT_THAT(mask->data, Each(green));
    }
    void startWorkingModule() {
        useModule("works");
        ASSERT_THAT(eventsOf(kModule, 0), ElementsAre(4u));
        ASSERT_THAT(mTypes, ElementsAre(kModule));
    }

    std::unique_ptr<ModuleFolder> mFolder;
};

TEST_F(HostModuleTest, StartSendsNoNameAndFramesGetMasks) {
    startWorkingModule();
    expectServing(256, 144, 90);
    expectServing(640, 360, 91);
    expectServing(3, 7, 92);
    EXPECT_TRUE(mTrace.contains("zelipc>> ZelHelper::processByZelML tick = "));
}

TEST_F(HostModuleTest, EveryFailedStartKeepsTheOldType) {
    eventsOf(3, 0);
    const std::pair<const char*, const char*> kFailures[] = {
        {"missing", "zelipc>> ZelHelper::Init fail to querymethod"},
        {"no_destroy", "zelipc>> ZelHelper::Init fail to querymethod"},
        {"no_model", "zelipc>> ZelHelper::Init fail to create ml model"},
        {"refuses", "zelipc>> ZelHelper::init init model failed, ret=5"},
        {"throws_in_creation", "zelipc>> ZelHelper::Init failed, the model threw: told to fail"},
        {"throws_in_initialise", "zelipc>> ZelHelper::Init failed, the model threw: told to fail"},
        {"throws_number_in_creation", "zelipc>> ZelHelper::Init failed, the model threw what is no std::exception"},
        {"throws_number_in_initialise", "zelipc>> ZelHelper::Init failed, the model threw what is no std::exception"},
    };
    for (const auto& [module, line] : kFailures) {
        useModule(module);
        mTrace.takeLines();
        EXPECT_THAT(eventsOf(kModule, 0), ElementsAre(4u)) << module;
        EXPECT_THAT(mTypes, ElementsAre(3u)) << module;
        EXPECT_TRUE(traced(0, line)) << module;
        EXPECT_TRUE(traced(0, kFailedStart)) << module;
        mClient->frame(256, 144, std::vector<uint8_t>(256 * 144 * 3, 90));
        EXPECT_TRUE(mClient->mask()) << module;
    }
}

TEST_F(HostModuleTest, FailedFramesGetNoMaskAndTheNextIsServed) {
    startWorkingModule();
    for (const uint8_t behaviour : {uint8_t{1}, uint8_t{2}, uint8_t{3}, uint8_t{4}}) {
        mTrace.takeLines();
        mClient->frame(16, 16, picture(16, 16, 40, behaviour));
        expectServing(16, 16, 50);
        EXPECT_EQ(mTrace.count(0, kFailedFrame), 1) << int{behaviour};
    }
    for (const uint32_t width : {11u, 13u}) {
        mTrace.takeLines();
        mClient->frame(width, 16, picture(width, 16, 40));
        expectServing(16, 16, 50);
        EXPECT_EQ(mTrace.count(0, kFailedFrame), 1) << width;
    }
}

TEST_F(HostModuleTest, NumberThrownAtTheModelsEndIsToldAndNoMore) {
    useModule("throws_number_at_the_end");
    eventsOf(kModule, 0);
    ASSERT_THAT(mTypes, ElementsAre(kModule));
    expectServing(16, 16, 50);
    EXPECT_THAT(eventsOf(3, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mTypes, ElementsAre(3u));
    EXPECT_TRUE(traced(0, "zelipc>> ZelHelper::Release failed, the model threw what is no std::exception"));
}

TEST_F(HostModuleTest, FrameOfMorePixelsThanItsBytesHoldIsRefused) {
    startWorkingModule();
    const uint32_t kMost = ipc::kFrameBytes / 4;
    const std::pair<uint32_t, uint32_t> kSizes[] = {
        {640, 361},           {kMost + 1, 1},  {0x10000, 0x10000}, {0xFFFFFFFF, 0xFFFFFFFF},
        {0x80000000u, 0x40u}, {0, 0xFFFFFFFF}, {0xFFFFFFFF, 0}};
    for (const auto& [width, height] : kSizes) {
        mTrace.takeLines();
        mClient->frame(width, height, std::vector<uint8_t>(64, 90), 1, ipc::kFrameBytes);
        expectServing(16, 16, 60);
        EXPECT_TRUE(traced(0, "zelipc>> ZelMLHost::onSDFrameIpcPacket, frame exceeds module size: w = " +
                                  std::to_string(width) + ", h = " + std::to_string(height)));
    }
    expectServing(kMost, 1, 70);
}

TEST_F(HostModuleTest, AnotherTypeReleasesTheModule) {
    startWorkingModule();
    const ModuleWatch watch(*mFolder);
    EXPECT_EQ(watch.livingModels(), 1);
    eventsOf(3, 0);
    EXPECT_EQ(watch.livingModels(), 0);
    eventsOf(kModule, 0);
    EXPECT_EQ(watch.livingModels(), 1);
    expectServing(16, 16, 80);
}

TEST_F(HostModuleTest, AnotherCapacityReleasesWhatItHasStarted) {
    startWorkingModule();
    const ModuleWatch watch(*mFolder);
    EXPECT_THAT(eventsOf(kModule, 1), ElementsAre(4u));
    EXPECT_THAT(mTypes, ElementsAre(kModule));
    EXPECT_EQ(watch.livingModels(), 0);
    mClient->frame(16, 16, picture(16, 16, 40));
    await(kFailedFrame);
    EXPECT_FALSE(mClient->mask(0));
    EXPECT_TRUE(traced(0, "zelipc>> ZelHelper::processByZelML failed, m_pZelMLModel == nullptr"));
    ASSERT_THAT(eventsOf(kModule, 0), ElementsAre(4u));
    // From idle nothing is retired.
    eventsOf(0, 0);
    eventsOf(kModule, 0);
    EXPECT_EQ(watch.livingModels(), 1);
    expectServing(16, 16, 85);
}

TEST_F(HostModuleTest, RestartThatFailsLeavesTheModelServing) {
    startWorkingModule();
    useModule("refuses");
    EXPECT_THAT(eventsOf(kModule, 1), ElementsAre(4u));
    EXPECT_TRUE(traced(0, kFailedStart));
    expectServing(16, 16, 95);
}

TEST_F(HostModuleTest, IdleLeavesTheModuleLoaded) {
    startWorkingModule();
    const ModuleWatch watch(*mFolder);
    eventsOf(0, 0);
    EXPECT_EQ(watch.livingModels(), 1);
    eventsOf(kModule, 0);
    EXPECT_EQ(watch.livingModels(), 1) << "the earlier one has gone";
    expectServing(16, 16, 97);
}

TEST_F(HostModuleTest, FramesFlowWhileModulesComeAndGo) {
    startWorkingModule();
    std::atomic<bool> enough{false};
    std::atomic<int> masks = 0;
    std::thread frames([&] {
        while (!enough) {
            mClient->frame(16, 16, picture(16, 16, 40));
            while (mClient->mask(1)) ++masks;
        }
    });
    for (const uint32_t capacity : {1u, 0u, 1u, 0u}) {
        eventsOf(0, 0);
        eventsOf(kModule, capacity);
        eventsOf(kModule, 1 - capacity);
        eventsOf(5, 0);
    }
    eventsOf(0, 0);
    eventsOf(kModule, 0);
    const int before = masks;
    const uint32_t start = platform::tickCount();
    while (masks == before && platform::tickCount() - start < zeltest::kDeadlineMs) platform::sleepMilliseconds(1);
    enough = true;
    frames.join();
    while (mClient->mask(100)) ++masks;
    EXPECT_GT(masks, before);
    expectServing(16, 16, 99);
}

TEST_F(HostModuleTest, HostsEndReleasesTheModule) {
    startWorkingModule();
    const ModuleWatch watch(*mFolder);
    terminate();
    mHost.reset();
    EXPECT_EQ(watch.livingModels(), 0);
}

}  // namespace
