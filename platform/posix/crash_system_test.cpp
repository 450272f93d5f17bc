#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <ucontext.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "crash/CrashChild.h"
#include "crash/CrashSystem.h"
#include "crash/DumpCallback.h"
#include "platform/include/module.h"
#include "platform/include/thread.h"
#include "platform/posix/heap_count.h"
#include "platform/posix/system_exception.h"
#include "platform/test_support.h"
#include "util/include/CmTrace.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::vector<std::string> gLines;

void keepLine(unsigned long level, char* text, unsigned length) {
    gLines.push_back(std::to_string(level) + " " + std::string(text, length));
}

class LinuxCrashSystemTest : public testing::Test {
  protected:
    LinuxCrashSystemTest() {
        if (const char* const told = std::getenv("TMPDIR")) mTold = told;
        gLines.clear();
        set_util_external_trace_sink(keepLine);
    }
    ~LinuxCrashSystemTest() override {
        set_util_external_trace_sink(nullptr);
        mTold.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", mTold.c_str(), 1);
    }

    static std::string temporaryFolder(const std::string& told) {
        setenv("TMPDIR", told.c_str(), 1);
        return std::string(crashSystem().temporaryFolder());
    }

    void writeDump(const std::string& path) {
        ucontext_t context;
        getcontext(&context);
        const platform::SystemException system = accessViolation(context);
        crashSystem().writeDump({0xC0000005, "", platform::currentThreadId(), &system}, CrashPath(path));
    }

    static platform::SystemException accessViolation(ucontext_t& context) {
        platform::SystemException system = {{}, &context};
        system.info.si_signo = SIGSEGV;
        return system;
    }

    const platform::test::TemporaryFolder mFolder;

  private:
    std::string mTold;
};

}  // namespace

TEST_F(LinuxCrashSystemTest, TemporaryFolderIsTheToldOneWithASeparator) {
    EXPECT_EQ(temporaryFolder("/some/where"), "/some/where/");
    EXPECT_EQ(temporaryFolder("/some/where/"), "/some/where/");
    EXPECT_EQ(temporaryFolder(""), "/tmp/");
}

TEST_F(LinuxCrashSystemTest, TemporaryFolderOf2048BytesCannotBeHad) {
    EXPECT_EQ(temporaryFolder("/" + std::string(2045, 'x')).size(), 2047u);
    EXPECT_EQ(temporaryFolder("/" + std::string(2046, 'x')), "");
}

TEST_F(LinuxCrashSystemTest, ModuleFolderIsTheProgramsOwn) {
    EXPECT_EQ(std::string(crashSystem().moduleFolder()), platform::executableDirectory() + "/");
}

TEST_F(LinuxCrashSystemTest, ReportReplacesWhatIsThere) {
    const std::string path = mFolder.write("report.txt", std::string(1000, 'x'));
    crashSystem().writeReport(CrashPath(path), CrashText(L"one\ntwo\u00e4"));
    EXPECT_EQ(platform::test::readFile(path), "one\ntwo?");
}

TEST_F(LinuxCrashSystemTest, ReportIsForTheOwnerOnly) {
    const std::string path = mFolder.path("report.txt");
    crashSystem().writeReport(CrashPath(path), CrashText(L"text"));
    struct stat state = {};
    ASSERT_EQ(stat(path.c_str(), &state), 0);
    EXPECT_EQ(state.st_mode & 0777u, 0600u);
}

TEST_F(LinuxCrashSystemTest, ReportHasNotTheRightsOfTheFileThatItReplaces) {
    const std::string path = mFolder.write("report.txt", "old");
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
    crashSystem().writeReport(CrashPath(path), CrashText(L"text"));
    struct stat state = {};
    ASSERT_EQ(stat(path.c_str(), &state), 0);
    EXPECT_EQ(state.st_mode & 0777u, 0600u);
}

TEST_F(LinuxCrashSystemTest, ReportReplacesALinkOrAPipe) {
    const std::string target = mFolder.write("target", "untouched");
    const std::string path = mFolder.path("report.txt");
    std::filesystem::create_symlink(target, path);
    crashSystem().writeReport(CrashPath(path), CrashText(L"text"));
    EXPECT_EQ(platform::test::readFile(target), "untouched");
    EXPECT_EQ(platform::test::readFile(path), "text");
    std::filesystem::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    crashSystem().writeReport(CrashPath(path), CrashText(L"text"));
    EXPECT_EQ(platform::test::readFile(path), "text");
}

TEST_F(LinuxCrashSystemTest, ReportForADeviceOrAMissingFolderIsNoFailure) {
    crashSystem().writeReport(CrashPath("/dev/full"), CrashText(L"text"));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    crashSystem().writeReport(CrashPath(mFolder.path("missing/report.txt")), CrashText(L"text"));
    EXPECT_FALSE(std::filesystem::exists(mFolder.path("missing")));
}

TEST_F(LinuxCrashSystemTest, DumpIsTraced) {
    const std::string path = mFolder.path("some.dmp");
    writeDump(path);
    EXPECT_THAT(gLines, ElementsAre("0 Minidump::dumpcallback, Saved dump file to: " + path));
    EXPECT_THAT(platform::test::readFile(path), StartsWith("MDMP"));
}

TEST_F(LinuxCrashSystemTest, DumpThatCannotBeCreatedIsTracedWithTheError) {
    const std::string path = mFolder.path("missing/some.dmp");
    writeDump(path);
    EXPECT_THAT(gLines, ElementsAre("0 Minidump::dumpcallback, Failed to create dump file: " + path + ", error=2"));
}

TEST_F(LinuxCrashSystemTest, DumpThatCannotTakeItsPlaceIsTracedWithTheError) {
    std::filesystem::create_directory(mFolder.path("some.dmp"));
    writeDump(mFolder.path("some.dmp"));
    EXPECT_THAT(gLines, ElementsAre(HasSubstr("0 Minidump::dumpcallback, Failed to save dump file, error=")));
    EXPECT_FALSE(std::filesystem::exists(mFolder.path("some.dmp.part")));
}

TEST_F(LinuxCrashSystemTest, FilesLieBesideTheProgramWhenTheTemporaryPathIsTooLong) {
    const std::string program = platform::test::siblingProgram("crash_test_child");
    const platform::test::Outcome outcome = platform::test::runToEnd(
        program, {"null-write"}, crash_test::withTemporaryFolder("/" + std::string(2047, 'x')));
    const std::string process = outcome.output.substr(0, outcome.output.find(' '));
    const std::string stem = program.substr(0, program.rfind('/') + 1) + "zelhost_crash_12_7_" + process;
    EXPECT_TRUE(std::filesystem::remove(stem + ".dmp"));
    EXPECT_TRUE(std::filesystem::remove(stem + ".txt"));
    EXPECT_EQ(outcome.exitCode, platform::test::failureExit(SIGSEGV, 0xC0000005));
}

// Room for a report, not for a dump.
TEST_F(LinuxCrashSystemTest, DumpThatFindsNoRoomLeavesNothingButItsLineAndTheReport) {
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small = {2048, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const crash_test::Crash left = crash_test::crash("null-write", mFolder);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_THAT(left.trace,
                ElementsAre("0 zelhost crashed!!!", "0 Minidump::dumpcallback, Failed to save dump file, error=27"));
    EXPECT_EQ(left.report.size(), 4u);
    const auto files = std::filesystem::directory_iterator(mFolder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1);
    EXPECT_EQ(left.exitCode, platform::test::failureExit(SIGSEGV, 0xC0000005));
}

TEST_F(LinuxCrashSystemTest, VersionOfAFailureInAnotherModuleIsEmpty) {
    const crash_test::Crash& left = crash_test::crashOnce("abort");
    ASSERT_EQ(left.report.size(), 4u);
    EXPECT_EQ(left.report[0], "Version: ");
    EXPECT_THAT(left.report[3], StartsWith("libc.so.6+0x"));
}

TEST_F(LinuxCrashSystemTest, StackInNoModuleIsToldSo) {
    ucontext_t context = {};
    const platform::SystemException system = accessViolation(context);
    const CrashStack stack = crashSystem().readStack({0xC0000005, "", platform::currentThreadId(), &system}, false);
    EXPECT_EQ(stack.stackText, kNoStackText);
    EXPECT_EQ(stack.version, L"");
}

TEST_F(LinuxCrashSystemTest, BreakpointBringsTheFramesOfItsRecord) {
    const auto here = reinterpret_cast<uint64_t>(&crashSystem);
    const uint64_t frames[] = {here + 1, 16, here + 2};
    const uint64_t record[] = {0,
                               0,
                               0,
                               here,
                               reinterpret_cast<uint64_t>(frames),
                               reinterpret_cast<uint64_t>(frames + 3),
                               reinterpret_cast<uint64_t>(frames + 3)};
    ucontext_t context = {};
    getcontext(&context);
    context.uc_mcontext.gregs[REG_RCX] = static_cast<greg_t>(reinterpret_cast<uint64_t>(record));
    const platform::SystemException system = accessViolation(context);
    const CrashStack stack = crashSystem().readStack({0x80000003, "", platform::currentThreadId(), &system}, true);
    EXPECT_EQ(std::count(stack.extraText.begin(), stack.extraText.end(), L';'), 3);
    EXPECT_TRUE(stack.extraText.starts_with(L"crash_test+0x"));
    EXPECT_EQ(crashSystem().readStack({0x80000003, "", platform::currentThreadId(), &system}, false).extraText, L"");
}

// The heap of a failed process may be locked by the failed thread itself.
TEST_F(LinuxCrashSystemTest, WholeFilterTakesNothingFromTheHeap) {
    setenv("TMPDIR", mFolder.path().c_str(), 1);
    set_util_external_trace_sink([](unsigned long, char*, unsigned) {});
    TraceModuleName(nullptr);
    crashSystem();
    ucontext_t context;
    getcontext(&context);
    const platform::SystemException system = accessViolation(context);
    const size_t before = platform::test::heapCallsOfThread();
    DumpCallback({0xC0000005, "", platform::currentThreadId(), &system}, crashSystem());
    EXPECT_EQ(platform::test::heapCallsOfThread(), before);

    const auto files = std::filesystem::directory_iterator(mFolder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 2);
    for (const auto& file : std::filesystem::directory_iterator(mFolder.path())) {
        if (file.path().extension() == ".txt") {
            EXPECT_THAT(platform::test::readFile(file.path().string()), HasSubstr("\ncrash_test+0x"));
        }
    }
}
