#include "host/CommandLine.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

std::string failureOf(const std::string& text) {
    try {
        validateDecimal(text);
    } catch (const std::invalid_argument& failure) {
        return std::string("invalid: ") + failure.what();
    } catch (const std::out_of_range& failure) {
        return std::string("range: ") + failure.what();
    }
    return "";
}

TEST(CommandLineTest, ValueEndsAtNextSpace) {
    EXPECT_EQ(commandLineValue("PID=12 MID=ab c", "PID"), "12");
    EXPECT_EQ(commandLineValue("PID=12 MID=ab c", "MID"), "ab");
}

TEST(CommandLineTest, ValueEndsAtEndOfLine) {
    EXPECT_EQ(commandLineValue("PID=12 MID=34", "MID"), "34");
}

TEST(CommandLineTest, MissingKeyAndEmptyValueAreEmpty) {
    EXPECT_EQ(commandLineValue("", "PID"), "");
    EXPECT_EQ(commandLineValue("PID=1", "MID"), "");
    EXPECT_EQ(commandLineValue("MID=1 PID=", "PID"), "");
    EXPECT_EQ(commandLineValue("PID= MID=1", "PID"), "");
}

TEST(CommandLineTest, LongerWordThatEndsInTheKeyMatches) {
    EXPECT_EQ(commandLineValue("XPID=7", "PID"), "7");
}

TEST(CommandLineTest, FirstOccurrenceWins) {
    EXPECT_EQ(commandLineValue("PID=1 PID=2", "PID"), "1");
}

TEST(CommandLineTest, KeysAreUpperCaseAndExact) {
    EXPECT_EQ(commandLineValue("pid=1", "PID"), "");
}

TEST(CommandLineTest, QuotesAreOrdinaryCharacters) {
    EXPECT_EQ(commandLineValue("PID=\"a b\"", "PID"), "\"a");
}

TEST(CommandLineTest, DecimalNumbersPass) {
    for (const char* text : {"0", "7", "-3", "+5", "2147483647", "-2147483648", "12abc"})
        EXPECT_EQ(failureOf(text), "");
}

TEST(CommandLineTest, TextWithoutNumberIsInvalid) {
    EXPECT_EQ(failureOf("abc"), "invalid: invalid stoi argument");
    EXPECT_EQ(failureOf("-"), "invalid: invalid stoi argument");
}

TEST(CommandLineTest, NumberBeyondIntIsOutOfRange) {
    EXPECT_EQ(failureOf("2147483648"), "range: stoi argument out of range");
    EXPECT_EQ(failureOf("-2147483649"), "range: stoi argument out of range");
    EXPECT_EQ(failureOf("99999999999999999999999"), "range: stoi argument out of range");
}

}  // namespace
