#include "client/tool/Json.h"

#include <gtest/gtest.h>

namespace {

using namespace zeltool;

TEST(JsonTest, QuotesBackslashesAndControlCharactersAreEscaped) {
    EXPECT_EQ(quoted(""), R"("")");
    EXPECT_EQ(quoted(R"(a "b" \c)"), R"("a \"b\" \\c")");
    EXPECT_EQ(quoted(std::string("\0\n\x1f\x7f", 4)), "\"\\u0000\\u000a\\u001f\x7f\"");
}

TEST(JsonTest, WellFormedTextIsKept) {
    const std::string texts[] = {
        "plain",        "gr\xc3\xb6\xc3\x9f er", "\xe5\x90\x8d.png", "\xf0\x9f\x98\x80", "\xc2\x80",
        "\xe0\xa0\x80", "\xed\x9f\xbf",          "\xee\x80\x80",     "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"};
    for (const std::string& text : texts) EXPECT_EQ(quoted(text), '"' + text + '"');
}

TEST(JsonTest, ByteThatBeginsNoCharacterIsReplaced) {
    EXPECT_EQ(quoted("caf\xe9"), R"("caf\ufffd")");
    EXPECT_EQ(quoted("caf\xe9.png"), R"("caf\ufffd.png")");
    EXPECT_EQ(quoted("\x80\xbf\xfe\xff"), R"("\ufffd\ufffd\ufffd\ufffd")");
}

TEST(JsonTest, TruncatedCharacterIsReplacedOnce) {
    EXPECT_EQ(quoted("a\xc3"), R"("a\ufffd")");
    EXPECT_EQ(quoted("\xe5\x90"), R"("\ufffd")");
    EXPECT_EQ(quoted("\xe5\x90z"), R"("\ufffdz")");
    EXPECT_EQ(quoted("\xf0\x9f\x98\xc3\xa4"), "\"\\ufffd\xc3\xa4\"");
    EXPECT_EQ(quoted("\xe5\""), R"("\ufffd\"")");
}

TEST(JsonTest, OverlongFormsSurrogatesAndNumbersTooLargeAreReplaced) {
    for (const char* text : {"\xc0\xaf", "\xc1\xbf"}) EXPECT_EQ(quoted(text), R"("\ufffd\ufffd")");
    for (const char* text : {"\xe0\x9f\xbf", "\xed\xa0\x80", "\xed\xbf\xbf"})
        EXPECT_EQ(quoted(text), R"("\ufffd\ufffd\ufffd")");
    for (const char* text : {"\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80"})
        EXPECT_EQ(quoted(text), R"("\ufffd\ufffd\ufffd\ufffd")");
}

}  // namespace
