#include <gtest/gtest.h>

#include <string>

#include "platform/include/text.h"

namespace platform::test {

TEST(LinuxTextTest, NarrowTextIsUtf8) {
    const std::wstring wide = {0x7F,
                               0x80,
                               0x7FF,
                               0x800,
                               0xD7FF,
                               0xE000,
                               0xFFFF,
                               static_cast<wchar_t>(0x10000),
                               static_cast<wchar_t>(0x10FFFF)};
    const std::string utf8 =
        "\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf";
    EXPECT_EQ(narrow(wide), utf8);
    EXPECT_EQ(widen(utf8), wide);
}

TEST(LinuxTextTest, EverySequenceOfThreeBytesSurvivesTheRoundTrip) {
    const std::string heads = "\x00\x41\x7f\x80\xbf\xc0\xc1\xc2\xdf\xe0\xed\xef\xf0\xf4\xf5\xff\x90\xa0\x9f\x8f";
    for (const char first : heads) {
        for (int second = 0; second < 256; ++second) {
            for (int third = 0; third < 256; ++third) {
                const std::string bytes = {first, static_cast<char>(second), static_cast<char>(third)};
                ASSERT_EQ(narrow(widen(bytes)), bytes);
            }
        }
    }
}

TEST(LinuxTextTest, BytesThatAreNoTextSurviveTheRoundTrip) {
    // Cut short, overlong, a surrogate, beyond the last character.
    for (const char* bytes : {"\xf0\x90\x80", "\xe0\x80\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80",
                              "\xf8\x88\x80\x80\x80", "a\xc3", "\xc3\xa4\xff\xc3\xa4"}) {
        EXPECT_EQ(narrow(widen(bytes)), bytes);
    }
    EXPECT_EQ(widen("\xff").size(), 1u);
    EXPECT_EQ(widen("\xed\xa0\x80").size(), 3u);
}

TEST(LinuxTextTest, WideValuesThatAreNoCharactersAreReplaced) {
    EXPECT_EQ(narrow({static_cast<wchar_t>(0xD800)}), "\xef\xbf\xbd");
    EXPECT_EQ(narrow({static_cast<wchar_t>(0x110000)}), "\xef\xbf\xbd");
    EXPECT_EQ(narrow({static_cast<wchar_t>(-1)}), "\xef\xbf\xbd");
}

}  // namespace platform::test
