#include <gtest/gtest.h>

#include "platform/include/thread.h"
#include "platform/test_support.h"
#include "tests/support/HostProcess.h"

namespace {

using zeltest::HostProcess;
using zeltest::RawClient;

// Starts a host with these arguments, which open the channels under `baseName`, and ends it by Terminate.
void expectServes(const std::vector<std::string>& arguments, const std::string& baseName) {
    RawClient client(baseName);
    HostProcess host({}, &arguments);
    client.command(ipc::CommandCode::InitClient);
    EXPECT_TRUE(client.event(ipc::EventCode::InitClientReply)) << baseName;
    client.command(ipc::CommandCode::Terminate);
    EXPECT_EQ(host.exitCode(), 0);
}

std::string id() {
    return zeltest::uniqueInstanceId() + "p" + std::to_string(platform::currentProcessId());
}

TEST(CommandLineProcessTest, EmptyCommandLineServesUnderTheBareName) {
    expectServes({}, "zelhost_");
}

TEST(CommandLineProcessTest, LongerKeySatisfiesTheLookUp) {
    const std::string mid = id();
    expectServes({"XPID=7", "MID=" + mid}, "zelhost7_" + mid);
}

TEST(CommandLineProcessTest, ValueEndsAtItsFirstSpace) {
    const std::string mid = id();
    expectServes({"MID=" + mid + " tail", "PID=8"}, "zelhost8_" + mid);
}

TEST(CommandLineProcessTest, MissingOrEmptyLogIsFine) {
    std::string mid = id();
    expectServes({"PID=9", "MID=" + mid, "LOG="}, "zelhost9_" + mid);
    mid = id();
    expectServes({"PID=9", "MID=" + mid, "LOG=3"}, "zelhost9_" + mid);
}

TEST(CommandLineProcessTest, UnreadableLogEndsTheProcessInItsOwnWords) {
    struct Case {
        const char* log;
        const char* words;
    };
    for (const Case& given :
         {Case{"LOG=abc", "invalid stoi argument"}, {"LOG=99999999999", "stoi argument out of range"}}) {
        const std::vector<std::string> arguments = {"PID=1", "MID=" + id(), given.log};
        const platform::test::TemporaryFolder folder;  // for what a failed host leaves
        HostProcess host(platform::test::temporaryFolderIn(folder.path()), &arguments);
        EXPECT_NE(host.exitCode(), 0) << given.log;
        EXPECT_NE(host.errorText().find(given.words), std::string::npos) << host.errorText();
    }
}

TEST(CommandLineProcessTest, DeviceOnTheCommandLineHasNoEffect) {
    const std::string mid = id();
    const std::vector<std::string> arguments = {"PID=5", "MID=" + mid, "DEV=GPU"};
    RawClient client("zelhost5_" + mid);
    HostProcess host({}, &arguments);
    EXPECT_EQ(client.startModel(3, 0), 3u);
    client.command(ipc::CommandCode::Terminate);
    EXPECT_EQ(host.exitCode(), 0);
}

TEST(CommandLineProcessTest, AbsentDeviceProbesTheGpuAtStart) {
    const std::vector<std::pair<std::string, std::string>> environment = {{"ZELHOST_TRACE_STDERR", "1"}};
    HostProcess host(environment);
    RawClient client(host.baseName());
    client.command(ipc::CommandCode::Terminate);
    EXPECT_EQ(host.exitCode(), 0);
    EXPECT_NE(host.errorText().find("zelipc CheckGPUSupported"), std::string::npos) << host.errorText();
}

}  // namespace
