#include "platform/include/text.h"

#include <gtest/gtest.h>

namespace platform::test {

TEST(TextTest, PlainTextGoesBothWays) {
    EXPECT_EQ(narrow(L"PID=7 MID=a_b"), "PID=7 MID=a_b");
    EXPECT_EQ(widen("PID=7 MID=a_b"), L"PID=7 MID=a_b");
    EXPECT_EQ(narrow(L""), "");
    EXPECT_EQ(widen(""), L"");
}

TEST(TextTest, TextKeepsZeros) {
    EXPECT_EQ(narrow(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(widen(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

}  // namespace platform::test
