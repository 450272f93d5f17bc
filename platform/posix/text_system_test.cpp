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
    constexpr uint8_t kHeads[] = {0x00, 0x41, 0x7F, 0x80, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0,
                                  0xED, 0xEF, 0xF0, 0xF4, 0xF5, 0xFF, 0x90, 0xA0, 0x9F, 0x8F};
    for (const uint8_t first : kHeads) {
        for (int second = 0; second < 256; ++second) {
            for (int third = 0; third < 256; ++third) {
                const std::string bytes = {static_cast<char>(first), static_cast<char>(second),
                                           static_cast<char>(third)};
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
