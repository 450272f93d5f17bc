#include "util/include/CmTextFormator.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <random>

namespace {

template <class T>
std::string formed(T value) {
    char buffer[1024];
    CCmTextFormator text(buffer, sizeof buffer);
    text << value;
    EXPECT_EQ(text.tell(), std::strlen(buffer));
    return static_cast<char*>(text);
}

std::string printed(double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%g", value);
    return buffer;
}

TEST(CmTextFormatorTest, HoldsTheEmptyTextAtFirst) {
    char buffer[4] = {'x', 'x', 'x', 'x'};
    CCmTextFormator text(buffer, sizeof buffer);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(text.tell(), 0u);
    EXPECT_EQ(static_cast<char*>(text), buffer);
}

TEST(CmTextFormatorTest, ChainsEveryOverload) {
    char buffer[1024];
    CCmTextFormator text(buffer, sizeof buffer);
    const CCmString string = " string ";
    text << "text" << string << -1 << " " << 2u << " " << -3L << " " << 4ul << " " << 5ull << " " << 1.5f << " " << 2.25
         << " " << static_cast<void*>(nullptr);
    EXPECT_STREQ(text, "text string -1 2 -3 4 5 1.5 2.25 0x0000000000000000");
    EXPECT_EQ(text.tell(), std::strlen(buffer));
}

TEST(CmTextFormatorTest, WritesIntegersInPlainDecimal) {
    EXPECT_EQ(formed(0), "0");
    EXPECT_EQ(formed(std::numeric_limits<int>::min()), "-2147483648");
    EXPECT_EQ(formed(std::numeric_limits<int>::max()), "2147483647");
    EXPECT_EQ(formed(std::numeric_limits<unsigned>::max()), "4294967295");
    EXPECT_EQ(formed(std::numeric_limits<long>::min()), std::to_string(std::numeric_limits<long>::min()));
    EXPECT_EQ(formed(std::numeric_limits<unsigned long>::max()),
              std::to_string(std::numeric_limits<unsigned long>::max()));
    EXPECT_EQ(formed(std::numeric_limits<unsigned long long>::max()), "18446744073709551615");
}

TEST(CmTextFormatorTest, WritesWithSixSignificantDigits) {
    EXPECT_EQ(formed(0.0), "0");
    EXPECT_EQ(formed(-0.0), "-0");
    EXPECT_EQ(formed(0.1f), "0.1");
    EXPECT_EQ(formed(1.0 / 3), "0.333333");
    EXPECT_EQ(formed(100000.0), "100000");
    EXPECT_EQ(formed(999999.5), "1e+06");
    EXPECT_EQ(formed(1e-5), "1e-05");
    EXPECT_EQ(formed(-1.5e300), "-1.5e+300");
    EXPECT_EQ(formed(std::numeric_limits<float>::max()), "3.40282e+38");
    EXPECT_EQ(formed(std::numeric_limits<double>::denorm_min()), "4.94066e-324");
}

TEST(CmTextFormatorTest, AgreesWithPrintfOnRandomDoubles) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 20000; ++i) {
        const uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        // Three digits of exponent are where printf's of the systems could differ, and not the point here.
        if (!(value == value) || value > 1e99 || value < -1e99 || (value < 1e-99 && value > -1e-99)) continue;
        EXPECT_EQ(formed(value), printed(value));
    }
}

TEST(CmTextFormatorTest, WritesWhatIsNoNumberAlikeEverywhere) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(formed(nan), "nan");
    EXPECT_EQ(formed(-nan), "nan");
    EXPECT_EQ(formed(std::numeric_limits<float>::quiet_NaN()), "nan");
    EXPECT_EQ(formed(infinity), "inf");
    EXPECT_EQ(formed(-infinity), "-inf");
    EXPECT_EQ(formed(-std::numeric_limits<float>::infinity()), "-inf");
}

TEST(CmTextFormatorTest, WritesPointersWithSixteenDigits) {
    EXPECT_EQ(formed(reinterpret_cast<void*>(uintptr_t{0x12ab})), "0x00000000000012ab");
    EXPECT_EQ(formed(reinterpret_cast<void*>(~uintptr_t{0})), "0xffffffffffffffff");
}

TEST(CmTextFormatorTest, NullTextIsNamed) {
    EXPECT_EQ(formed(static_cast<const char*>(nullptr)), "(null)");
}

TEST(CmTextFormatorTest, StringEndsAtItsFirstNul) {
    EXPECT_EQ(formed(std::string("ab\0cd", 5)), "ab");
}

// Each step of a chain on each capacity, with bytes behind the capacity that must stay.
TEST(CmTextFormatorTest, NeverPassesItsCapacity) {
    const std::string whole = "text-12345string1.5" + formed(static_cast<void*>(nullptr));
    for (unsigned capacity = 1; capacity <= whole.size() + 2; ++capacity) {
        std::string memory(capacity + 16, '#');
        CCmTextFormator text(memory.data(), capacity);
        text << "text" << -12345 << std::string("string") << 1.5 << static_cast<void*>(nullptr);
        const size_t length = std::min<size_t>(whole.size(), capacity - 1);
        EXPECT_EQ(std::string(static_cast<char*>(text)), whole.substr(0, length)) << "capacity " << capacity;
        EXPECT_EQ(text.tell(), length);
        EXPECT_EQ(memory.substr(capacity), std::string(16, '#'));
    }
}

TEST(CmTextFormatorTest, TextThatFillsTheBufferExactlyIsWhole) {
    char buffer[6];
    CCmTextFormator text(buffer, sizeof buffer);
    text << "12345";
    EXPECT_STREQ(text, "12345");
    text << "6";
    EXPECT_STREQ(text, "12345");
    EXPECT_EQ(text.tell(), 5u);
}

TEST(CmTextFormatorTest, NoRoomAtAllGivesTheEmptyText) {
    char untouched = 'x';
    CCmTextFormator none(&untouched, 0);
    none << "text" << 1;
    EXPECT_STREQ(none, "");
    EXPECT_EQ(none.tell(), 0u);
    EXPECT_EQ(untouched, 'x');

    CCmTextFormator null(nullptr, 1024);
    null << "text" << 1.5;
    EXPECT_STREQ(null, "");
    EXPECT_EQ(null.tell(), 0u);
}

}  // namespace
