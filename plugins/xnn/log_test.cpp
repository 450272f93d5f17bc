#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

#include "plugins/xnn/LogThread.h"
#include "plugins/xnn/PluginFixture.h"

namespace xnn_test {
namespace {

using testing::Contains;
using testing::HasSubstr;

// What the callback, a plain function, brings: the lines, and a hold on the call that is under way.
class Lines {
  public:
    void clear() {
        const std::lock_guard lock(mMutex);
        mLines.clear();
        mHeld = false;
        mBegun = 0;
        mThread = {};
        mInside = nullptr;
    }

    // Calls wait inside until they are let go.
    void hold() {
        const std::lock_guard lock(mMutex);
        mHeld = true;
    }
    void letGo() {
        const std::lock_guard lock(mMutex);
        mHeld = false;
        mChanged.notify_all();
    }
    // Runs inside the next call.
    void runInside(std::function<void()> work) {
        const std::lock_guard lock(mMutex);
        mInside = std::move(work);
    }

    void take(const char* line) {
        std::unique_lock lock(mMutex);
        ++mBegun;
        mThread = std::this_thread::get_id();
        mChanged.notify_all();
        if (const std::function<void()> inside = std::exchange(mInside, nullptr)) {
            lock.unlock();
            inside();
            lock.lock();
        }
        mChanged.wait(lock, [&] { return !mHeld; });
        mLines.emplace_back(line);
        mChanged.notify_all();
    }

    void waitUntilBegun() {
        std::unique_lock lock(mMutex);
        ASSERT_TRUE(mChanged.wait_for(lock, kLongest, [&] { return mBegun != 0; }));
    }
    std::vector<std::string> waitForLine(const std::string& part) {
        std::unique_lock lock(mMutex);
        EXPECT_TRUE(mChanged.wait_for(lock, kLongest,
                                      [&] { return !mLines.empty() && mLines.back().find(part) != std::string::npos; }))
            << "no line with " << part;
        return mLines;
    }
    std::vector<std::string> lines() {
        const std::lock_guard lock(mMutex);
        return mLines;
    }
    std::thread::id thread() {
        const std::lock_guard lock(mMutex);
        return mThread;
    }

  private:
    static constexpr std::chrono::seconds kLongest{60};

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<std::string> mLines;
    bool mHeld = false;
    int mBegun = 0;
    std::thread::id mThread;
    std::function<void()> mInside;
};

Lines gLines;

void takeLine(const char* line) {
    gLines.take(line);
}

class XnnLogTest : public testing::Test {
  protected:
    XnnLogTest() : handle(Entry(xnnCreate)()) { gLines.clear(); }
    ~XnnLogTest() override {
        gLines.letGo();
        Entry(xnnDestory)(handle);
    }

    void log(const std::string& text) {
        Entry(xnnSetEnginePropertyForNetwork)(handle, "OpenVINO", text.c_str(), "GPU_THROTTLE_HINT_LEVEL",
                                              "std::string", "LOW");
    }

    void* handle;
};

TEST_F(XnnLogTest, TellsOfCreationDeviceAndPropertiesOnAThreadOfItsOwn) {
    Entry(xnnSetLogCallback)(handle, takeLine);
    log("sum");
    const test_networks::Pair pair = test_networks::weightedSum(10, "f32");
    Entry(xnnCreateNetByBuffers)(handle, "OpenVINO", "sum", "CPU", pair.xml.data(), pair.xml.size(),
                                 pair.weights.data(), pair.weights.size());
    const std::vector<std::string> lines = gLines.waitForLine("network sum created on device CPU: read in ");
    EXPECT_THAT(lines.front(), HasSubstr("xnn 2025.06.23-8ad6a1c(x64) on OpenVINO "));
    EXPECT_THAT(lines, Contains("property GPU_THROTTLE_HINT_LEVEL set for network sum"));
    EXPECT_THAT(lines, Contains("device CPU does not know the property GPU_QUEUE_THROTTLE, which is dropped"));
    EXPECT_NE(gLines.thread(), std::this_thread::get_id());
}

TEST_F(XnnLogTest, FailedCreationIsLogged) {
    Entry(xnnSetLogCallback)(handle, takeLine);
    Entry(xnnCreateNetByBuffers)(handle, "OpenVINO", "sum", "CPU", "x", 1, nullptr, 0);
    gLines.waitForLine("network sum cannot be created on device CPU: ");
}

TEST_F(XnnLogTest, DevicesThatComeDownToOneAreThatOne) {
    setVariable("ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU");
    const test_networks::Pair pair = test_networks::weightedSum(10, "f32");
    Entry(xnnSetLogCallback)(handle, takeLine);
    Entry(xnnSetEnginePropertyForNetwork)(handle, "OpenVINO", "sum", "MULTI_DEVICE_PRIORITIES", "std::string",
                                          "NPU,GPU");
    Entry(xnnCreateNetByBuffers)(handle, "OpenVINO", "sum", "AUTO", pair.xml.data(), pair.xml.size(),
                                 pair.weights.data(), pair.weights.size());
    setVariable("ZELHOST_DEVICE_ALIAS", "");
    gLines.waitForLine("network sum created on device AUTO (CPU): read in ");
}

TEST_F(XnnLogTest, LinesWaitForTheFirstCallback) {
    log("early");
    Entry(xnnSetLogCallback)(handle, takeLine);
    EXPECT_EQ(gLines.waitForLine("early").size(), 2u);
}

TEST_F(XnnLogTest, StoppingWaitsForTheCallUnderWay) {
    gLines.hold();
    Entry(xnnSetLogCallback)(handle, takeLine);
    gLines.waitUntilBegun();
    std::atomic<bool> stopped = false;
    std::thread stopper([&] {
        Entry(xnnSetLogCallback)(handle, nullptr);
        EXPECT_EQ(gLines.lines().size(), 1u);
        stopped = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(stopped);
    gLines.letGo();
    stopper.join();
    log("late");
    EXPECT_EQ(gLines.lines().size(), 1u);
}

TEST_F(XnnLogTest, ReleaseWaitsForTheCallUnderWay) {
    gLines.hold();
    Entry(xnnSetLogCallback)(handle, takeLine);
    gLines.waitUntilBegun();
    std::thread destroyer([handle = std::exchange(handle, nullptr)] {
        Entry(xnnDestory)(handle);
        EXPECT_EQ(gLines.lines().size(), 1u);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_THAT(gLines.lines(), testing::IsEmpty());
    gLines.letGo();
    destroyer.join();
}

TEST_F(XnnLogTest, EntryPointsDoNotWaitForASlowCallback) {
    gLines.hold();
    Entry(xnnSetLogCallback)(handle, takeLine);
    gLines.waitUntilBegun();
    log("meanwhile");
    EXPECT_EQ(Entry(xnnGetSupportEngineNumber)(handle), 1);
    gLines.letGo();
    gLines.waitForLine("meanwhile");
}

TEST_F(XnnLogTest, OfTooManyLinesTheOldestAreLostAndCounted) {
    gLines.hold();
    Entry(xnnSetLogCallback)(handle, takeLine);
    gLines.waitUntilBegun();
    const int all = static_cast<int>(xnn::LogThread::kLongest) + 10;
    for (int i = 1; i <= all; ++i) log("number " + std::to_string(i) + " of all");
    gLines.letGo();
    const std::vector<std::string> lines = gLines.waitForLine("number " + std::to_string(all) + " of all");
    ASSERT_EQ(lines.size(), 2 + xnn::LogThread::kLongest);
    EXPECT_EQ(lines[1], "10 lines of this log were lost");
    EXPECT_THAT(lines[2], HasSubstr("number 11 of all"));
}

TEST_F(XnnLogTest, CallbackMayStopItself) {
    gLines.runInside([this] { Entry(xnnSetLogCallback)(handle, nullptr); });
    Entry(xnnSetLogCallback)(handle, takeLine);
    gLines.waitForLine("xnn ");
    log("late");
    Entry(xnnSetLogCallback)(handle, nullptr);
    EXPECT_EQ(gLines.lines().size(), 1u);
}

TEST_F(XnnLogTest, CallbackMayReleaseTheHandle) {
    Entry(xnnSetLogCallback)(handle, takeLine);
    gLines.waitForLine("xnn ");
    std::promise<void> left;  // by this thread
    gLines.runInside([handle = handle, isLeft = left.get_future().share()] {
        isLeft.wait();
        Entry(xnnDestory)(handle);
    });
    log("last");
    log("never brought");
    handle = nullptr;
    left.set_value();
    EXPECT_EQ(gLines.waitForLine("last").size(), 2u);
}

TEST_F(XnnLogTest, HandlesComeAndGoOnManyThreads) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 25; ++i) {
                void* const own = Entry(xnnCreate)();
                Entry(xnnSetLogCallback)(own, takeLine);
                Entry(xnnSwitchNetwork)(own, "none");
                Entry(xnnSetEnginePropertyForNetwork)(own, "OpenVINO", "a", "MULTI_DEVICE_PRIORITIES", "std::string",
                                                      "CPU");
                if (i % 2 == 0) Entry(xnnSetLogCallback)(own, nullptr);
                Entry(xnnDestory)(own);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(XnnLogThreadTest, ThrowingCallbackLosesOnlyItsLine) {
    gLines.clear();
    xnn::LogThread log;
    log.write("bad");
    log.write("good");
    log.setCallback([](const char* line) {
        if (std::string(line) == "bad") throw 1;
        takeLine(line);
    });
    EXPECT_THAT(gLines.waitForLine("good"), testing::ElementsAre("good"));
}

}  // namespace
}  // namespace xnn_test
