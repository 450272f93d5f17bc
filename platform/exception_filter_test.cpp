#include "platform/include/exception_filter.h"

#include <gtest/gtest.h>

#include <csignal>

#include "platform/include/clock.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

constexpr int kBreakpointSignal = 5;
constexpr uint32_t kCppException = 0xE06D7363;

// What the system calls an abort without an exception: SIGABRT or STATUS_FATAL_APP_EXIT.
constexpr uint32_t kWindowsAbort = 0x40000015;

Outcome fail(const std::string& failure, const std::string& filter = "report", const std::string& limit = "") {
    std::vector<std::string> words = {"fail", failure, filter};
    if (!limit.empty()) words.push_back(limit);
    return runTestChild(words);
}

struct Fault {
    const char* failure;
    int signal;
    uint32_t code;
};

constexpr char kSanitizerReason[] = "the thread sanitizer changes how faults in handlers arrive";

class ExceptionFilterFaultTest : public testing::TestWithParam<Fault> {};

std::string lineOf(uint32_t code, const std::string& message) {
    char text[64];
    std::snprintf(text, sizeof text, "code=%08x message=", static_cast<unsigned>(code));
    return text + message + "\n";
}

// A wide margin: what is looked for is a limit of another size.
void expectAfter(uint64_t begin, uint64_t limitMs) {
    const uint64_t tookMs = (monotonicMicroseconds() - begin) / 1000;
    EXPECT_GE(tookMs, limitMs * 9 / 10);
    EXPECT_LT(tookMs, limitMs + 20000);
}

}  // namespace

TEST_P(ExceptionFilterFaultTest, FaultRunsTheFilterOnceAndEndsTheProcessByIt) {
    const Fault& fault = GetParam();
    const Outcome outcome = fail(fault.failure);
    EXPECT_EQ(outcome.output, lineOf(fault.code, ""));
    EXPECT_EQ(outcome.exitCode, failureExit(fault.signal, fault.code));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, ExceptionFilterFaultTest,
    testing::Values(Fault{"access", SIGSEGV, 0xC0000005}, Fault{"access-on-thread", SIGSEGV, 0xC0000005},
                    Fault{"breakpoint", kBreakpointSignal, 0x80000003}, Fault{"division", SIGFPE, 0xC0000094},
                    Fault{"float-division", SIGFPE, 0xC000008E}, Fault{"illegal", SIGILL, 0xC000001D}));

TEST(ExceptionFilterTest, StackOverflowEndsTheProcessByIt) {
    if (underThreadSanitizer()) GTEST_SKIP() << kSanitizerReason;
    const Outcome outcome = fail("stack", "report", onWindows() ? "500" : "");
    EXPECT_EQ(outcome.exitCode, failureExit(SIGSEGV, 0xC00000FD));
    // Wine leaves a filter next to no stack, so that the time limit ends the process there.
    if (!onWindows()) {
        EXPECT_EQ(outcome.output, lineOf(0xC00000FD, ""));
    }
}

TEST(ExceptionFilterTest, UncaughtExceptionBringsItsWords) {
    const Outcome outcome = fail("words");
    EXPECT_EQ(outcome.output, lineOf(kCppException, "the words"));
    EXPECT_EQ(outcome.exitCode, failureExit(SIGABRT, kCppException));
}

TEST(ExceptionFilterTest, UncaughtExceptionOfAThreadBringsItsWords) {
    const Outcome outcome = fail("words-on-thread");
    EXPECT_EQ(outcome.output, lineOf(kCppException, "the words"));
    EXPECT_EQ(outcome.exitCode, failureExit(SIGABRT, kCppException));
}

TEST(ExceptionFilterTest, ThrownValueThatIsNoExceptionHasNoWords) {
    const Outcome outcome = fail("number");
    EXPECT_EQ(outcome.output, lineOf(kCppException, ""));
}

TEST(ExceptionFilterTest, EndWithoutAnExceptionIsAnAbort) {
    for (const char* failure : {"terminate", "abort"}) {
        const Outcome outcome = fail(failure);
        EXPECT_EQ(outcome.output, lineOf(onWindows() ? kWindowsAbort : SIGABRT, "")) << failure;
        EXPECT_EQ(outcome.exitCode, failureExit(SIGABRT, kWindowsAbort)) << failure;
    }
}

TEST(ExceptionFilterTest, SecondThreadThatFailsDoesNotRunTheFilterAgain) {
    const Outcome words = fail("words-on-two-threads");
    EXPECT_EQ(words.output, lineOf(kCppException, "the words"));
    EXPECT_EQ(words.exitCode, failureExit(SIGABRT, kCppException));
    const Outcome aborts = fail("aborts-on-two-threads");
    EXPECT_EQ(aborts.output, lineOf(onWindows() ? kWindowsAbort : SIGABRT, ""));
    EXPECT_EQ(aborts.exitCode, failureExit(SIGABRT, kWindowsAbort));
}

TEST(ExceptionFilterTest, StepThatFailsIsLeftAndTheNextRuns) {
    if (underThreadSanitizer()) GTEST_SKIP() << kSanitizerReason;
    const Outcome outcome = fail("abort", "steps");
    EXPECT_EQ(outcome.output, lineOf(onWindows() ? kWindowsAbort : SIGABRT, ""));
    EXPECT_EQ(outcome.exitCode, failureExit(SIGABRT, kWindowsAbort));
}

TEST(ExceptionFilterTest, ThreadThatEndsTheProcessWaitsForTheFilter) {
    const Outcome outcome = fail("words-while-main-ends");
    EXPECT_EQ(outcome.output, lineOf(kCppException, "the words"));
    EXPECT_EQ(outcome.exitCode, failureExit(SIGABRT, kCppException));
}

TEST(ExceptionFilterTest, FilterThatFailsItselfEndsTheProcessByTheFirstFailure) {
    if (underThreadSanitizer()) GTEST_SKIP() << kSanitizerReason;
    for (const char* filter : {"throw", "access", "abort", "overflow"}) {
        const Outcome afterWords = fail("words", filter);
        EXPECT_EQ(afterWords.output, lineOf(kCppException, "the words")) << filter;
        EXPECT_EQ(afterWords.exitCode, failureExit(SIGABRT, kCppException)) << filter;
        const Outcome afterFault = fail("division", filter);
        EXPECT_EQ(afterFault.output, lineOf(0xC0000094, "")) << filter;
        EXPECT_EQ(afterFault.exitCode, failureExit(SIGFPE, 0xC0000094)) << filter;
    }
}

TEST(ExceptionFilterTest, FilterThatHangsIsCutShortAfterFiveSeconds) {
    const uint64_t begin = monotonicMicroseconds();
    const Outcome outcome = fail("words", "hang");
    expectAfter(begin, 5000);
    EXPECT_EQ(outcome.exitCode, failureExit(SIGABRT, kCppException));
}

TEST(ExceptionFilterTest, FilterThatHangsIsCutShort) {
    const uint64_t begin = monotonicMicroseconds();
    const Outcome afterWords = fail("words", "hang", "1000");
    expectAfter(begin, 1000);
    EXPECT_EQ(afterWords.output, lineOf(kCppException, "the words"));
    EXPECT_EQ(afterWords.exitCode, failureExit(SIGABRT, kCppException));
    const Outcome afterFault = fail("access", "hang", "1000");
    EXPECT_EQ(afterFault.output, lineOf(0xC0000005, ""));
    EXPECT_EQ(afterFault.exitCode, failureExit(SIGSEGV, 0xC0000005));
}

}  // namespace platform::test
