#include "crash/ExceptionFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "platform/include/clock.h"
#include "platform/include/exception_filter.h"
#include "platform/test_support.h"

namespace {

using platform::test::Outcome;
using testing::HasSubstr;

constexpr uint32_t kCppException = 0xE06D7363;

// The words and the first line come at once; Wine takes seconds for the dump, which is not looked at here.
Outcome fail(const std::string& failure, const std::string& sink = "print", const std::string& seconds = "1") {
    const platform::test::TemporaryFolder folder;
    platform::ProcessOptions options;
    options.environment = platform::test::temporaryFolderIn(folder.path());
    options.environment.emplace_back("ZELHOST_CRASH_SECONDS", seconds);
    return platform::test::runToEnd(platform::test::siblingProgram("crash_test_child"), {failure, sink}, options);
}

}  // namespace

TEST(CrashFilterTest, UncaughtExceptionIsTracedAndItsWordsArePrinted) {
    const Outcome outcome = fail("uncaught-exception");
    EXPECT_THAT(outcome.output, HasSubstr("0 zelhost crashed!!!\n"));
    EXPECT_EQ(outcome.error, "zelhost: uncaught exception: invalid stoi argument\n");
    EXPECT_EQ(outcome.exitCode, platform::test::failureExit(SIGABRT, kCppException));
}

TEST(CrashFilterTest, ExceptionWithoutWordsIsStillReported) {
    const Outcome outcome = fail("number");
    EXPECT_THAT(outcome.output, HasSubstr("0 zelhost crashed!!!\n"));
    EXPECT_EQ(outcome.error, "zelhost: uncaught exception: \n");
}

TEST(CrashFilterTest, LongWordsAreCutToOneLine) {
    const std::string error = fail("long-words").error;
    EXPECT_GT(error.size(), 900u);
    EXPECT_LE(error.size(), 1024u);
    EXPECT_EQ(error.find('\n'), error.size() - 1);
}

TEST(CrashFilterTest, FaultIsTracedAndPrintsNothing) {
    const Outcome outcome = fail("null-write");
    EXPECT_THAT(outcome.output, HasSubstr("0 zelhost crashed!!!\n"));
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.exitCode, platform::test::failureExit(SIGSEGV, 0xC0000005));
}

TEST(CrashFilterTest, NegativeMaskSilencesTheTraceOnly) {
    const Outcome outcome = fail("uncaught-exception", "silent");
    EXPECT_EQ(outcome.output.find("zelhost"), std::string::npos);
    EXPECT_EQ(outcome.error, "zelhost: uncaught exception: invalid stoi argument\n");
}

TEST(CrashFilterTest, TraceThatCannotGetThroughDoesNotKeepTheProcess) {
    const uint64_t begin = platform::monotonicMicroseconds();
    const Outcome outcome = fail("uncaught-exception", "hang", "");
    const uint64_t tookMs = (platform::monotonicMicroseconds() - begin) / 1000;
    EXPECT_GE(tookMs, platform::kFilterTimeLimitMs * 9 / 10);
    EXPECT_LT(tookMs, platform::kFilterTimeLimitMs + 20000);  // the program's own start as well
    EXPECT_THAT(outcome.output, HasSubstr("0 zelhost crashed!!!\n"));
    EXPECT_EQ(outcome.error, "zelhost: uncaught exception: invalid stoi argument\n");
    EXPECT_EQ(outcome.exitCode, platform::test::failureExit(SIGABRT, kCppException));
}
