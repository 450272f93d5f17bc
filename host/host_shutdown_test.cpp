#include <gmock/gmock.h>

#include "host/HostFixture.h"

namespace {

using HostShutdownTest = HostTest;

// Each of these hangs for ever if a stop waits for a client that does not read.

TEST_F(HostShutdownTest, EndsWhileTheEventChannelIsFull) {
    for (uint32_t slot = 0; slot < ipc::EventChannel::kSlots; ++slot)
        ASSERT_TRUE(mHost->sendEvent("", [](ipc::Event& event) { event.code = 1; }));
    std::thread blocked([this] { EXPECT_FALSE(mHost->sendEvent("", [](ipc::Event&) {})); });
    mHost->teardown();
    blocked.join();
}

TEST_F(HostShutdownTest, EndsWhileTheResultChannelIsFull) {
    for (uint32_t slot = 0; slot < ipc::FrameChannel::kSlots; ++slot)
        ASSERT_TRUE(mHost->sendFrame("", [](auto& frame) { frame.size = 0; }));
    std::thread blocked([this] { EXPECT_FALSE(mHost->sendFrame("", [](auto&) {})); });
    mHost->teardown();
    blocked.join();
}

TEST_F(HostShutdownTest, EndsWhileTheLogChannelIsFull) {
    char text[] = "line";
    for (uint32_t slot = 0; slot < ipc::LogChannel::kSlots; ++slot) mHost->sendLog(2, text, sizeof text - 1);
    std::thread blocked([this, &text] { mHost->sendLog(2, text, sizeof text - 1); });
    mHost->teardown();
    blocked.join();
}

TEST_F(HostShutdownTest, EndsWhileAFrameThreadWaitsForTheClient) {
    serve();
    ASSERT_EQ(mClient->startModel(3, 0), 3u);
    const std::vector<uint8_t> frame(256 * 144 * 3, 90);
    for (uint32_t count = 0; count < 2 * ipc::FrameChannel::kSlots; ++count) mClient->frame(256, 144, frame);
    terminate();
}

TEST_F(HostShutdownTest, BeatGivesUpOnAFullEventChannel) {
    for (uint32_t slot = 0; slot < ipc::EventChannel::kSlots; ++slot)
        ASSERT_TRUE(mHost->sendEvent("", [](ipc::Event&) {}));
    EXPECT_FALSE(mHost->sendEvent(
        "", [](ipc::Event&) {}, 10));
}

TEST_F(HostShutdownTest, MainLoopEndsWhenItsChannelIsStopped) {
    std::thread main([this] { mHost->run(); });
    mHost->teardown();
    main.join();
}

TEST(HostInitTest, MissingRequiredChannelFailsAndReleases) {
    class NoEvents : public platform::KernelObjects {
      public:
        platform::Handle createEvent(const char* name) override {
            const std::string wanted = name;
            return wanted.find(mRefused) == std::string::npos ? mSystem.createEvent(name) : nullptr;
        }
        void setEvent(platform::Handle event) override { mSystem.setEvent(event); }
        platform::WaitResult waitEvent(platform::Handle event, uint32_t ms) override {
            return mSystem.waitEvent(event, ms);
        }
        void closeEvent(platform::Handle event) override { mSystem.closeEvent(event); }
        platform::Handle openMapping(const char* name, size_t size) override { return mSystem.openMapping(name, size); }
        platform::Handle createMapping(const char* name, size_t size, const void* content, size_t bytes) override {
            return mSystem.createMapping(name, size, content, bytes);
        }
        void* mapView(platform::Handle mapping, size_t size) override { return mSystem.mapView(mapping, size); }
        void unmapView(void* view, size_t size) override { mSystem.unmapView(view, size); }
        void closeMapping(platform::Handle mapping) override { mSystem.closeMapping(mapping); }
        uint32_t lastError() override { return mSystem.lastError(); }
        std::string lastErrorText() override { return mSystem.lastErrorText(); }

        std::string mRefused;

      private:
        platform::KernelObjects& mSystem = platform::systemKernelObjects();
    };

    struct Case {
        const char* suffix;
        bool required;
    };
    for (const Case& channel : {Case{"C", true},
                                {"E", true},
                                {"FW", true},
                                {"FS", true},
                                {"FR", true},
                                {"JW", true},
                                {"JC", false},
                                {"LA", false},
                                {"L", false}}) {
        const zeltest::TraceCapture trace;
        NoEvents objects;
        const std::string name = zeltest::uniqueBaseName();
        objects.mRefused = name + channel.suffix + "_evt_avl";
        platform::replaceKernelObjects(&objects);
        {
            ZelMLHost host;
            EXPECT_EQ(host.init(name), !channel.required) << channel.suffix;
            EXPECT_EQ(trace.contains("zelipc>>ZelMLHost::init, failed to open IPC channels"), channel.required);
            char text[] = "still runs";
            host.sendLog(2, text, sizeof text - 1);
        }
        platform::replaceKernelObjects(nullptr);
    }
}

}  // namespace
