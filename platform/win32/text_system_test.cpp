#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "platform/include/text.h"
#include "platform/win32/utf8.h"

namespace platform::test {

TEST(WindowsTextTest, NarrowTextIsOfTheThreadsCodePage) {
    const std::wstring wide = L"MID=\u00e4";
    char expected[16];
    const int length = WideCharToMultiByte(CP_THREAD_ACP, 0, wide.data(), 5, expected, 16, nullptr, nullptr);
    EXPECT_EQ(narrow(wide), std::string(expected, static_cast<size_t>(length)));
    EXPECT_EQ(widen(narrow(wide)), wide);
}

TEST(WindowsTextTest, TextOfOurInterfacesIsUtf8) {
    const std::wstring wide = L"a\u00e4\u7f51\U0001f600";
    const std::string utf8 = "a\xc3\xa4\xe7\xbd\x91\xf0\x9f\x98\x80";
    EXPECT_EQ(utf8FromWide(wide), utf8);
    EXPECT_EQ(wideFromUtf8(utf8), wide);
    EXPECT_EQ(wideFromUtf8("\xff"), L"\ufffd");
    EXPECT_EQ(utf8FromWide(L""), "");
}

}  // namespace platform::test
