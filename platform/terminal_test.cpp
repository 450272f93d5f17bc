#include "platform/include/terminal.h"

#include <gtest/gtest.h>

namespace {

TEST(TerminalTest, FileIsNoTerminal) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const bool output = platform::isTerminal(platform::StandardStream::kOutput);
    const bool error = platform::isTerminal(platform::StandardStream::kError);
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(output);
    EXPECT_FALSE(error);
}

}  // namespace
