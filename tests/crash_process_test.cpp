// Hosts that fail while a client is with them: what they leave, what the client gets.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "platform/dump_reader.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "platform/linux_program.h"
#include "platform/test_support.h"
#include "tests/support/HostProcess.h"

namespace {

using platform::test::onWindows;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr uint32_t kXnnCpu = 9;
constexpr int32_t kFace = 0;
constexpr int32_t kContent = 2;

std::string hexadecimal(uint32_t code) {
    char digits[16];
    return {digits, std::to_chars(digits, digits + sizeof digits, code, 16).ptr};
}

class CrashProcessTest : public testing::Test {
  protected:
    // The real host, or the child that fails in that way.
    void start(const std::string& kind = "") {
        std::vector<std::string> arguments = {"PID=" + mPid, "MID=" + mMid};
        if (!kind.empty()) arguments.insert(arguments.begin(), kind);
        auto environment = platform::test::temporaryFolderIn(mFolder.path());
        environment.emplace_back("ZELHOST_CRASH_SECONDS", "300");
        mHost.reset();  // it takes the file of its stderr with it
        mHost = std::make_unique<zeltest::HostProcess>(
            environment, &arguments, mMid,
            kind.empty() ? zeltest::HostProcess::program() : platform::test::siblingProgram("host_crash_child"));
        if (!kind.empty()) mClient.frame(160, 90, std::vector<uint8_t>(160 * 90 * 3, 128), kFace);
    }

    // The ids that the child has announced; zeros before.
    struct Threads {
        unsigned long main = 0, dispatch = 0, failing = 0;
    };
    Threads announced() {
        Threads threads;
        const std::string text = mHost->errorText();
        const size_t line = std::min(text.find("main "), text.size());
        std::sscanf(text.c_str() + line, "main %lu, dispatch %lu, failing %lu\n", &threads.main, &threads.dispatch,
                    &threads.failing);
        return threads;
    }

    // The thread that has failed is in the report, and it is the one of the host's heart beat or neither that nor the
    // main one.
    void expectFailedThread(bool dispatch) {
        const Threads threads = announced();
        ASSERT_NE(threads.failing, 0u) << mHost->errorText();
        std::string report = mReport;
        std::erase(report, '\r');
        EXPECT_THAT(report, HasSubstr("\nCrashed Thread: " + std::to_string(threads.failing) + "\n"));
        EXPECT_NE(threads.failing, threads.main);
        EXPECT_EQ(threads.failing == threads.dispatch, dispatch);
    }

    void expectEndByAWriteToNowhere() { expectEndBy("EXCEPTION_ACCESS_VIOLATION", 0xC0000005); }

    void expectEndBy(const std::string& exception, uint32_t code) {
        EXPECT_EQ(mHost->exitCode(), platform::test::failureExit(SIGSEGV, code));
        mStem = mFolder.path("zelhost_crash_" + mPid + "_" + mMid + "_" + std::to_string(mHost->process().id()));
        ASSERT_TRUE(std::filesystem::exists(mStem + ".dmp"));
        EXPECT_THAT(platform::test::readFile(mStem + ".dmp"), StartsWith("MDMP"));
        ASSERT_TRUE(std::filesystem::exists(mStem + ".txt"));
        mReport = platform::test::readFile(mStem + ".txt");
        EXPECT_THAT(mReport, HasSubstr("Exception Type: " + exception));
        if (platform::test::runsLinuxPrograms())
            expectDebuggerToAgree(onWindows() ? hexadecimal(code) : "signal SIGSEGV");
    }

    void expectDebuggerToAgree(const std::string& stop) {
        const platform::test::DumpSummary dump = platform::test::readWithLldb(mStem + ".dmp");
        EXPECT_THAT(dump.stop, HasSubstr(stop)) << dump.text;
        EXPECT_THAT(mReport, HasSubstr("\nCrashed Thread: " + std::to_string(dump.thread))) << dump.text;
    }

    // The lines that the host has left in the channel.
    std::vector<std::string> linesLeft() {
        std::vector<std::string> lines;
        while (const auto line = mClient.logLine(0)) lines.push_back(line->text);
        return lines;
    }

    const platform::test::TemporaryFolder mFolder;
    const std::string mPid = std::to_string(platform::currentProcessId());
    const std::string mMid = zeltest::uniqueInstanceId();
    zeltest::RawClient mClient{ipc::channelBaseName(mPid, mMid)};
    std::unique_ptr<zeltest::HostProcess> mHost;
    std::string mStem;  // of the files, without extension
    std::string mReport;
};

}  // namespace

TEST_F(CrashProcessTest, ThreadsOfTheHostTellTheClient) {
    for (const std::string thread : {"frame-thread", "dispatch-thread"}) {
        start(thread);
        expectEndByAWriteToNowhere();
        expectFailedThread(thread == "dispatch-thread");
        EXPECT_THAT(mReport, HasSubstr("\nhost_crash_child")) << thread;
        const std::vector<std::string> lines = linesLeft();
        EXPECT_THAT(lines, Contains(HasSubstr("] zelhost crashed!!!"))) << thread;
        EXPECT_THAT(lines, Contains(HasSubstr("] Minidump::dumpcallback, Saved dump file to: " + mStem + ".dmp")))
            << thread;
    }
}

TEST_F(CrashProcessTest, LineOfAThreadThatHoldsTheLogGoesToStderr) {
    start("log-lock");
    expectEndByAWriteToNowhere();
    EXPECT_THAT(mHost->errorText(), HasSubstr("zelhost crashed!!!"));
    EXPECT_THAT(mHost->errorText(), HasSubstr("Minidump::dumpcallback, Saved dump file to: " + mStem + ".dmp"));
    EXPECT_THAT(linesLeft(), Not(Contains(HasSubstr("crashed"))));
}

TEST_F(CrashProcessTest, LineForAFullLogGoesToStderr) {
    start("full-log");
    expectEndByAWriteToNowhere();
    EXPECT_THAT(mHost->errorText(), HasSubstr("zelhost crashed!!!"));
    EXPECT_THAT(linesLeft(), Not(Contains(HasSubstr("crashed"))));
}

TEST_F(CrashProcessTest, FrameThreadThatRunsOutOfStackBehindALoadTellsTheClient) {
    if (platform::test::underThreadSanitizer()) GTEST_SKIP() << "the sanitizer changes how it fails";
    start("content-frame");
    ASSERT_TRUE(mClient.rois->read([](const auto&) {}, zeltest::kDeadlineMs));
    mClient.frame(512, 512, std::vector<uint8_t>(512 * 512, 128), kContent);
    expectEndBy("EXCEPTION_STACK_OVERFLOW", 0xC00000FD);
    expectFailedThread(false);
    EXPECT_THAT(linesLeft(), Contains(HasSubstr("] zelhost crashed!!!")));
}

// The client's word to end reaches a host that is in its filter.
TEST_F(CrashProcessTest, HostThatIsToldToEndTellsWhyItFailsFirst) {
    start("slowly");
    while (announced().failing == 0 && !mHost->process().waitForExit(5)) {
    }
    mClient.command(ipc::CommandCode::Terminate);
    expectEndByAWriteToNowhere();
    expectFailedThread(false);
    EXPECT_THAT(linesLeft(), Contains(HasSubstr("] Minidump::dumpcallback, Saved dump file to: " + mStem + ".dmp")));
}

// In the real program, with its networks at hand.
TEST_F(CrashProcessTest, LibraryThatFailsIsNamed) {
    start();
    mClient.command([](ipc::Command& command) {
        command.code = static_cast<uint32_t>(ipc::CommandCode::SetModelPath);
        command.pathKind = static_cast<int32_t>(ipc::PathKind::XnnLibrary);
        const std::string folder = platform::executableDirectory() + "/xnn/crashes";
        folder.copy(command.text, sizeof command.text - 1);
    });
    mClient.command(ipc::CommandCode::SetModelType, kXnnCpu, 0);
    expectEndByAWriteToNowhere();
    // Wine names a module without its extension.
    EXPECT_THAT(mReport, HasSubstr(onWindows() ? "\nxnn" : "\nlibxnn.so+0x"));
    EXPECT_THAT(mReport, HasSubstr(";zelhost"));
    EXPECT_THAT(linesLeft(), Contains(HasSubstr("] zelhost crashed!!!")));
}
