#include "crash/ExceptionFilter.h"

#include <gtest/gtest.h>

#include <csignal>

#include "platform/test_support.h"

namespace {

using platform::test::Outcome;

constexpr uint32_t kCppException = 0xE06D7363;

Outcome fail(const std::string& failure, const std::string& sink = "print") {
    return platform::test::runToEnd(platform::test::siblingProgram("crash_test_child"), {failure, sink});
}

}  // namespace

TEST(CrashFilterTest, UncaughtExceptionIsTracedAndItsWordsArePrinted) {
    const Outcome outcome = fail("words");
    EXPECT_EQ(outcome.output, "0 zelhost crashed!!!\n");
    EXPECT_EQ(outcome.error, "zelhost: uncaught exception: invalid stoi argument\n");
    EXPECT_EQ(outcome.exitCode, platform::test::failureExit(SIGABRT, kCppException));
}

TEST(CrashFilterTest, ExceptionWithoutWordsIsStillReported) {
    const Outcome outcome = fail("number");
    EXPECT_EQ(outcome.output, "0 zelhost crashed!!!\n");
    EXPECT_EQ(outcome.error, "zelhost: uncaught exception: \n");
}

TEST(CrashFilterTest, LongWordsAreCutToOneLine) {
    const std::string error = fail("long-words").error;
    EXPECT_GT(error.size(), 900u);
    EXPECT_LE(error.size(), 1024u);
    EXPECT_EQ(error.find('\n'), error.size() - 1);
}

TEST(CrashFilterTest, FaultIsTracedAndPrintsNothing) {
    const Outcome outcome = fail("access");
    EXPECT_EQ(outcome.output, "0 zelhost crashed!!!\n");
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.exitCode, platform::test::failureExit(SIGSEGV, 0xC0000005));
}

TEST(CrashFilterTest, NegativeMaskSilencesTheTraceOnly) {
    const Outcome outcome = fail("words", "silent");
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error, "zelhost: uncaught exception: invalid stoi argument\n");
}

TEST(CrashFilterTest, TraceThatCannotGetThroughDoesNotKeepTheProcess) {
    const Outcome outcome = fail("words", "hang");
    EXPECT_EQ(outcome.output, "0 zelhost crashed!!!\n");
    EXPECT_EQ(outcome.error, "zelhost: uncaught exception: invalid stoi argument\n");
    EXPECT_EQ(outcome.exitCode, platform::test::failureExit(SIGABRT, kCppException));
}
