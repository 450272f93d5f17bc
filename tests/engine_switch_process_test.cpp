#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/CheckedLoad.h"
#include "tests/support/HostProcess.h"

namespace {

using zeltest::HostProcess;
using zeltest::RawClient;

constexpr uint32_t kWidth = 256, kHeight = 144;

// Reads the host's log to its end, so that the host never waits for the client to do it.
class LogReader {
  public:
    explicit LogReader(RawClient& client) : mClient(client), mThread([this] { read(); }) {}
    ~LogReader() {
        mReads = false;
        mThread.join();
    }
    LogReader(const LogReader&) = delete;
    LogReader& operator=(const LogReader&) = delete;

    std::vector<std::string> lines() const {
        const cm::LockGuard<cm::Mutex> lock(mLock);
        return mLines;
    }

  private:
    void read() {
        while (mReads) {
            auto line = mClient.logLine(50);
            if (!line) continue;
            const cm::LockGuard<cm::Mutex> lock(mLock);
            mLines.push_back(std::move(line->text));
        }
    }

    RawClient& mClient;
    mutable cm::Mutex mLock;
    std::vector<std::string> mLines ZEL_GUARDED_BY(mLock);
    std::atomic<bool> mReads{true};
    std::thread mThread;
};

// The library that is built beside the host.
void tellLibrary(RawClient& client) {
    const std::string folder = std::filesystem::path(HostProcess::program()).parent_path().string();
    client.command([&folder](ipc::Command& command) {
        command.code = static_cast<uint32_t>(ipc::CommandCode::SetModelPath);
        command.pathKind = static_cast<int32_t>(ipc::PathKind::XnnLibrary);
        folder.copy(command.text, sizeof command.text - 1);
    });
}

// The real host, library and networks; the processor stands in for the other devices.
TEST(EngineSwitchProcessTest, NoFrameIsLostButWhileTheProcessorsEngineIsMadeAnew) {
    const std::vector<std::pair<std::string, std::string>> environment = {{"ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU"},
                                                                          {"ZELHOST_DEVICE_PRESENT", "GPU"}};
    HostProcess host(environment);
    RawClient client(host.baseName());
    LogReader log(client);
    tellLibrary(client);
    zeltest::runCheckedLoad(
        client, zeltest::movedPersons(kWidth, kHeight), [&log] { return log.lines(); }, 8);
    client.command(ipc::CommandCode::Terminate);
    EXPECT_EQ(host.exitCode(), 0);
}

}  // namespace
