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

TEST(TextTest, WideTextBecomesUtf8UpToItsZero) {
    const std::wstring wide(L"a\u00e4\u7f51\0b", 5);
    const std::string utf8 = "a\xc3\xa4\xe7\xbd\x91";
    ASSERT_EQ(utf8FromWide(wide.c_str(), nullptr, 0), 7);
    char buffer[8] = "xxxxxxx";
    EXPECT_EQ(utf8FromWide(wide.c_str(), buffer, 7), 7);
    EXPECT_EQ(buffer, utf8);
    EXPECT_EQ(utf8FromWide(wide.c_str(), buffer, 6), 0);
    EXPECT_EQ(utf8FromWide(L"", nullptr, 0), 1);
    EXPECT_EQ(utf8FromWide(L"", buffer, 7), 1);
    EXPECT_STREQ(buffer, "");
}

}  // namespace platform::test
