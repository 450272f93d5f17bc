#include "platform/include/process.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/include/kernel_objects.h"
#include "platform/include/thread.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

constexpr int kKilled = 137;

std::unique_ptr<Process> startWaiting() {
    return startProcess(siblingProgram("platform_test_child"), {"wait"}, {}, nullptr);
}

// The arguments as the child prints them.
std::string inHex(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        for (const unsigned char byte : word) {
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02x", byte);
            text += digits;
        }
        text += '\n';
    }
    return text;
}

}  // namespace

TEST(ProcessTest, ExitCodeIsTheChilds) {
    for (const int code : {0, 1, 42, 255}) {
        EXPECT_EQ(runTestChild({"exit", std::to_string(code)}).exitCode, code);
    }
}

TEST(ProcessTest, ArgumentsArriveAsTheyWereGiven) {
    const std::vector<std::string> words = {
        "plain",         "",     "two words", " ",     "tab\there", "\"",        "a\"b",      "\\",
        "back\\slash\\", "\\\"", "\\\\\"x",   "a b\\", "*?",        "$HOME `x`", "%PATH% ^&", "\xc3\xa4\xe7\xbd\x91",
        "line\nend",
    };
    std::vector<std::string> arguments = {"arguments"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    EXPECT_EQ(runTestChild(arguments).output, inHex(words));
}

TEST(ProcessTest, InputIsEmptyAndStreamsGoToTheirFiles) {
    const Outcome outcome = runTestChild({"streams"});
    EXPECT_EQ(outcome.output, "out 0\n");
    EXPECT_EQ(outcome.error, "err\n");
}

TEST(ProcessTest, FilesOfStreamsAreTruncatedFirst) {
    const TemporaryFolder folder;
    ProcessOptions options;
    options.standardOutput = folder.write("output", std::string(1000, 'x'));
    options.standardError = folder.write("error", std::string(1000, 'x'));
    const Outcome outcome = runTestChild({"streams"}, options);
    EXPECT_EQ(outcome.output, "out 0\n");
    EXPECT_EQ(outcome.error, "err\n");
}

TEST(ProcessTest, BothStreamsMayShareAFile) {
    const TemporaryFolder folder;
    ProcessOptions options;
    options.standardOutput = options.standardError = folder.path("both");
    EXPECT_EQ(runTestChild({"streams"}, options).output, "out 0\nerr\n");
}

TEST(ProcessTest, ErrorStreamOfTheParentCanBeInherited) {
    const Outcome outcome = runTestChild({"pass-error", siblingProgram("platform_test_child")});
    EXPECT_EQ(outcome.error, "err\n");
    EXPECT_EQ(outcome.output, "");
}

TEST(ProcessTest, EnvironmentIsSetOnTopOfTheParents) {
    ProcessOptions options;
    options.environment = {{"ZEL_TEST_VARIABLE", "w\xc3\xa4rt = 1"}};
    EXPECT_EQ(environmentVariable("ZEL_TEST_VARIABLE"), "");
    EXPECT_FALSE(environmentVariable("PATH").empty());
    options.environment.emplace_back("PATH", "elsewhere");
    EXPECT_EQ(runTestChild({"environment", "PATH"}, options).output, "elsewhere");
    EXPECT_EQ(runTestChild({"environment", "PATH"}).output, environmentVariable("PATH"));
    EXPECT_EQ(runTestChild({"environment", "ZEL_TEST_VARIABLE"}, options).output, options.environment[0].second);
}

TEST(ProcessTest, WaitingHasItsLimit) {
    const auto child = startWaiting();
    ASSERT_NE(child, nullptr);
    EXPECT_GT(child->id(), 0);
    EXPECT_NE(child->id(), currentProcessId());
    EXPECT_FALSE(child->waitForExit(0));
    EXPECT_FALSE(child->waitForExit(20));
    child->kill();
    EXPECT_TRUE(child->waitForExit(kInfinite));
    EXPECT_EQ(child->exitCode(), kKilled);
    EXPECT_TRUE(child->waitForExit(0));
}

TEST(ProcessTest, AnotherThreadCanKillWhileOneWaits) {
    const auto child = startWaiting();
    ASSERT_NE(child, nullptr);
    std::thread killer([&] { child->kill(); });
    EXPECT_TRUE(child->waitForExit(kInfinite));
    killer.join();
    EXPECT_EQ(child->exitCode(), kKilled);
}

TEST(ProcessTest, KillingAChildThatHasEndedDoesNothing) {
    const auto child = startProcess(siblingProgram("platform_test_child"), {"exit", "3"}, {}, nullptr);
    ASSERT_NE(child, nullptr);
    ASSERT_TRUE(child->waitForExit(kInfinite));
    child->kill();
    EXPECT_EQ(child->exitCode(), 3);
}

TEST(ProcessTest, MissingProgramIsReportedByName) {
    const TemporaryFolder folder;
    std::string error;
    EXPECT_EQ(startProcess(folder.path("nothing"), {}, {}, &error), nullptr);
    EXPECT_EQ(error.find("cannot start " + folder.path("nothing") + ": "), 0u) << error;
    EXPECT_GT(error.size(), folder.path("nothing").size() + 16) << error;
    EXPECT_EQ(startProcess(folder.path("nothing"), {}, {}, nullptr), nullptr);
}

TEST(ProcessTest, FileThatIsNoProgramIsReported) {
    const TemporaryFolder folder;
    std::string error;
    EXPECT_EQ(startProcess(folder.write("text", "just words"), {}, {}, &error), nullptr);
    EXPECT_EQ(error.find("cannot start " + folder.path("text") + ": "), 0u) << error;
}

TEST(ProcessTest, StreamThatCannotBeOpenedIsReportedByName) {
    const TemporaryFolder folder;
    for (const bool output : {true, false}) {
        ProcessOptions options;
        (output ? options.standardOutput : options.standardError) = folder.path("nothing/file");
        std::string error;
        EXPECT_EQ(startProcess(siblingProgram("platform_test_child"), {"exit", "0"}, options, &error), nullptr);
        EXPECT_EQ(error.find("cannot open " + folder.path("nothing/file") + ": "), 0u) << error;
    }
}

TEST(ProcessTest, EndOfTheProcessRunsNoHandlersAndNoDestructors) {
    const Outcome outcome = runTestChild({"end", "77"});
    EXPECT_EQ(outcome.exitCode, 77);
    EXPECT_EQ(outcome.output, "");
}

TEST(ProcessTest, ResidentMemoryGrowsWithMemoryInUse) {
    constexpr size_t kSize = 64u << 20;
    const uint64_t before = residentBytes();
    ASSERT_GT(before, 0u);
    // Volatile, since a compiler may do without memory that nobody looks at.
    const std::unique_ptr<volatile char[]> memory(new volatile char[kSize]);
    for (size_t i = 0; i < kSize; i += 1024) memory[i] = 1;
    EXPECT_GE(residentBytes(), before + kSize / 2);
}

TEST(ProcessTest, ProcessorTimeAdvancesWithWork) {
    const uint64_t before = processorMicroseconds();
    volatile unsigned work = 0;
    for (unsigned i = 0; i < 4000000000u && processorMicroseconds() < before + 1000; ++i) work = work + i;
    EXPECT_GE(processorMicroseconds(), before + 1000);
}

}  // namespace platform::test
