#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "crash/CrashChild.h"

// Real failures of a child: what the crash filter leaves, and how the child ends.

namespace {

using crash_test::Announcement;
using crash_test::Crash;
using crash_test::crash;
using crash_test::crashOnce;
using crash_test::ownOffsets;
using crash_test::sanitizerKeeps;
using platform::test::onWindows;
using platform::test::Outcome;
using platform::test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr size_t kLongestFunction = 600;  // bytes of code
constexpr uint32_t kCppException = 0xE06D7363;
constexpr uint32_t kWindowsAbort = 0x40000015;

bool isWithin(size_t offset, const Announcement& function) {
    return offset > function.offset && offset < function.offset + kLongestFunction;
}

// How much of the stack the report must tell.
enum class Told { kFunction, kModule, kNothing };

struct Kind {
    const char* name;
    const char* exception;         // as the report names it on Linux
    const char* windowsException;  // the same on Windows, null for the same text
    int signal;
    uint32_t code;  // as which it ends on Windows
    Told onWine = Told::kFunction;
};

std::ostream& operator<<(std::ostream& out, const Kind& kind) {
    return out << kind.name;
}

void expectStack(const Crash& left, Told told) {
    if (told == Told::kNothing) {
        EXPECT_EQ(left.report[3], "[Could not determine stacktrace]");
        return;
    }
    EXPECT_EQ(left.report[3].back(), ';');
    const std::vector<size_t> offsets = ownOffsets(left.report[3]);
    EXPECT_TRUE(std::any_of(offsets.begin(), offsets.end(), [&](size_t offset) {
        return told == Told::kModule || isWithin(offset, left.announced);
    })) << left.report[3];
}

class CrashKindTest : public testing::TestWithParam<Kind> {};

std::string nameOf(const testing::TestParamInfo<Kind>& info) {
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

}  // namespace

TEST_P(CrashKindTest, LeavesADumpAndAReportAndEndsByTheFailure) {
    const Kind& kind = GetParam();
    if (sanitizerKeeps(kind.name)) GTEST_SKIP() << "the sanitizer changes how it fails";
    const Crash& left = crashOnce(kind.name);

    EXPECT_EQ(left.exitCode, platform::test::failureExit(kind.signal, kind.code));
    EXPECT_THAT(left.trace,
                ElementsAre("0 zelhost crashed!!!", "0 Minidump::dumpcallback, Saved dump file to: " + left.dumpPath));
    EXPECT_THAT(left.dump, StartsWith("MDMP"));
    ASSERT_EQ(left.report.size(), 4u);
    const std::string exception = onWindows() && kind.windowsException ? kind.windowsException : kind.exception;
    EXPECT_EQ(left.report[1], "Exception Type: " + exception);
    EXPECT_EQ(left.report[2], "Crashed Thread: " + left.announced.thread);
    expectStack(left, onWindows() ? kind.onWine : Told::kFunction);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, CrashKindTest,
    testing::Values(
        Kind{"null-write", "EXCEPTION_ACCESS_VIOLATION", nullptr, SIGSEGV, 0xC0000005},
        Kind{"null-read", "EXCEPTION_ACCESS_VIOLATION", nullptr, SIGSEGV, 0xC0000005},
        Kind{"wild-jump", "EXCEPTION_ACCESS_VIOLATION", nullptr, SIGSEGV, 0xC0000005, Told::kNothing},
        Kind{"jump-onto-the-stack", "EXCEPTION_ACCESS_VIOLATION", nullptr, SIGSEGV, 0xC0000005, Told::kNothing},
        Kind{"illegal-instruction", "EXCEPTION_ILLEGAL_INSTRUCTION", nullptr, SIGILL, 0xC000001D},
        Kind{"division-by-zero", "EXCEPTION_INT_DIVIDE_BY_ZERO", nullptr, SIGFPE, 0xC0000094},
        Kind{"abort", "UNKNOWN EXCEPTION(6)", "UNKNOWN EXCEPTION(1073741845)", SIGABRT, kWindowsAbort},
        Kind{"uncaught-exception", "UNKNOWN EXCEPTION(3765269347)", nullptr, SIGABRT, kCppException},
        // It happens in a function of the compiler's without unwind information.
        Kind{"stack-overflow", "EXCEPTION_STACK_OVERFLOW", nullptr, SIGSEGV, 0xC00000FD, Told::kModule},
        Kind{"stack-overflow-on-a-thread", "EXCEPTION_STACK_OVERFLOW", nullptr, SIGSEGV, 0xC00000FD, Told::kModule},
        Kind{"heap-corruption", "UNKNOWN EXCEPTION(6)", "EXCEPTION_ACCESS_VIOLATION", SIGABRT, 0xC0000005},
        Kind{"breakpoint-with-record", "EXCEPTION_BREAKPOINT", nullptr, 5, 0x80000003}),
    nameOf);

class CrashTest : public testing::Test {
  protected:
    TemporaryFolder mFolder;
};

TEST_F(CrashTest, FaultIsTheFirstEntry) {
    for (const char* kind : {"null-write", "null-read", "illegal-instruction", "division-by-zero"}) {
        const Crash& left = crashOnce(kind);
        ASSERT_EQ(left.report.size(), 4u) << kind;
        const std::vector<size_t> offsets = ownOffsets(left.report[3].substr(0, left.report[3].find(';')));
        ASSERT_EQ(offsets.size(), 1u) << left.report[3];
        EXPECT_TRUE(isWithin(offsets[0], left.announced)) << kind << left.report[3];
    }
}

TEST_F(CrashTest, ReportBeginsWithTheProductsVersion) {
    const Crash& left = crashOnce("null-write");
    ASSERT_FALSE(left.report.empty());
    EXPECT_EQ(left.report[0], "Version: " TEST_PRODUCT_VERSION);
}

TEST_F(CrashTest, StackThatHasRunOutFillsTheReportWithAHundredEntries) {
    if (onWindows()) GTEST_SKIP() << "Wine's walk ends at the compiler's function that makes room on the stack";
    if (sanitizerKeeps("stack-overflow")) GTEST_SKIP() << "the sanitizer changes how it fails";
    const Crash& left = crashOnce("stack-overflow");
    ASSERT_EQ(left.report.size(), 4u);
    EXPECT_EQ(std::count(left.report[3].begin(), left.report[3].end(), ';'), 100);
}

TEST_F(CrashTest, BreakpointWithoutARecordLeavesNoReport) {
    const Crash& left = crashOnce("breakpoint-without-record");
    EXPECT_THAT(left.dump, StartsWith("MDMP"));
    EXPECT_TRUE(left.report.empty());
    EXPECT_EQ(left.exitCode, platform::test::failureExit(5, 0x80000003));
}

TEST_F(CrashTest, FailureBeforeTheCommandLineIsReadLeavesTheIdsEmpty) {
    const Crash left = crash("before-the-command-line", mFolder, "_");
    EXPECT_THAT(left.dump, StartsWith("MDMP"));
    EXPECT_EQ(left.report.size(), 4u);
}

TEST_F(CrashTest, StandardErrorThatNobodyReadsCostsNothing) {
    for (const char* kind : {"full-stderr", "closed-stderr"}) {
        const Crash left = crash(kind, mFolder);
        EXPECT_EQ(left.exitCode, platform::test::failureExit(SIGABRT, kCppException)) << kind;
        EXPECT_THAT(left.dump, StartsWith("MDMP")) << kind;
        EXPECT_EQ(left.report.size(), 4u) << kind;
    }
}

TEST_F(CrashTest, NothingElseIsLeftInTheFolder) {
    crash("null-write", mFolder);
    const auto files = std::filesystem::directory_iterator(mFolder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 2);
}

TEST_F(CrashTest, NegativeMaskSilencesTheLinesOnly) {
    const Crash left = crash("null-write", mFolder, "12_7", "silent");
    EXPECT_TRUE(left.trace.empty());
    EXPECT_THAT(left.dump, StartsWith("MDMP"));
    EXPECT_EQ(left.report.size(), 4u);
}

TEST_F(CrashTest, StepThatFailsItselfIsLeftAndTheNextGoesOn) {
    if (platform::test::underThreadSanitizer()) GTEST_SKIP() << "the sanitizer lets no fault through in a handler";
    const Outcome outcome =
        platform::test::runToEnd(platform::test::siblingProgram("crash_test_child"), {"failing-steps"});
    EXPECT_THAT(outcome.output, HasSubstr("0 zelhost crashed!!!\n"));
    EXPECT_THAT(outcome.output, HasSubstr("Exception Type: EXCEPTION_INT_DIVIDE_BY_ZERO\n"));
    EXPECT_THAT(outcome.output, HasSubstr("[Could not determine stacktrace]"));
    EXPECT_THAT(outcome.output, HasSubstr("\nthe end\n"));
    EXPECT_EQ(outcome.exitCode, platform::test::failureExit(SIGFPE, 0xC0000094));
}

TEST_F(CrashTest, FolderThatIsNotThereLeavesNoFilesAndNoSecondCrash) {
    const std::string missing = mFolder.path("missing");
    const Outcome outcome = platform::test::runToEnd(platform::test::siblingProgram("crash_test_child"), {"null-write"},
                                                     crash_test::withTemporaryFolder(missing));
    EXPECT_THAT(outcome.output, HasSubstr("0 Minidump::dumpcallback, Failed to create dump file: "));
    EXPECT_EQ(outcome.exitCode, platform::test::failureExit(SIGSEGV, 0xC0000005));
}
