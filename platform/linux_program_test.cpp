#include "platform/linux_program.h"

#include <gtest/gtest.h>

namespace platform::test {

class RunLinuxProgramTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!runsLinuxPrograms()) GTEST_SKIP() << "there is no Linux below";
    }
};

TEST_F(RunLinuxProgramTest, GivesItsOutputAndHowItEnded) {
    const Outcome outcome = runLinuxProgram("/bin/sh", {"-c", "echo out; echo err >&2; exit 7"});
    EXPECT_EQ(outcome.exitCode, 7);
    EXPECT_EQ(outcome.output, "out\n");
    EXPECT_EQ(outcome.error, "err\n");
}

TEST_F(RunLinuxProgramTest, TakesItsArgumentsAsTheyAre) {
    const Outcome outcome = runLinuxProgram("/usr/bin/printf", {"<%s>", "a b", "", "\"'\\$HOME", "*", "c\\"});
    EXPECT_EQ(outcome.output, "<a b><><\"'\\$HOME><*><c\\>");
}

TEST_F(RunLinuxProgramTest, FindsOurFiles) {
    const TemporaryFolder folder;
    const Outcome outcome = runLinuxProgram("/bin/cat", {linuxPath(folder.write("with blank", "content"))});
    EXPECT_EQ(outcome.output, "content");
    EXPECT_EQ(outcome.exitCode, 0);
}

}  // namespace platform::test
