#include "platform/include/entry.h"

#include <gtest/gtest.h>

#include "platform/test_support.h"

namespace platform::test {

namespace {

Outcome enter(const std::vector<std::string>& arguments) {
    return runToEnd(siblingProgram("platform_test_entry"), arguments);
}

}  // namespace

TEST(EntryTest, ArgumentsArriveAsOneLineAndTheResultIsTheExitCode) {
    const Outcome outcome = enter({"PID=1", "MID=zwei", "LOG="});
    EXPECT_EQ(outcome.output, onWindows() ? "PID=1 MID=zwei LOG=|1|0" : "PID=1 MID=zwei LOG=|0|0");
    EXPECT_EQ(outcome.exitCode, 37);
}

TEST(EntryTest, WithoutArgumentsTheLineIsEmpty) {
    const Outcome outcome = enter({});
    EXPECT_EQ(outcome.output, onWindows() ? "|1|0" : "|0|0");
}

}  // namespace platform::test
