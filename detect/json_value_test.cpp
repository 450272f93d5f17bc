#include "detect/JsonValue.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

JsonValue ofKind(JsonValue::Kind kind) {
    JsonValue value;
    value.kind = kind;
    return value;
}

JsonValue text(const char* letters) {
    JsonValue value = ofKind(JsonValue::kString);
    value.text = letters;
    return value;
}

JsonValue int64(int64_t number) {
    JsonValue value = ofKind(JsonValue::kInt64);
    value.longValue = number;
    return value;
}

JsonValue floating(double number) {
    JsonValue value = ofKind(JsonValue::kDouble);
    value.doubleValue = number;
    return value;
}

JsonValue natural(uint32_t number) {
    JsonValue value = ofKind(JsonValue::kUnsigned);
    value.unsignedValue = number;
    return value;
}

JsonValue boolean(bool truth) {
    JsonValue value = ofKind(JsonValue::kBool);
    value.boolValue = truth;
    return value;
}

JsonValue array(std::vector<JsonValue> items) {
    JsonValue value = ofKind(JsonValue::kArray);
    value.items = std::move(items);
    return value;
}

struct Views {
    int32_t intValue;
    int64_t longValue;
    uint32_t unsignedValue;
    float floatValue;
    double doubleValue;
    bool operator==(const Views&) const = default;
};

Views viewsOf(const JsonValue& value) {
    return {value.intValue, value.longValue, value.unsignedValue, value.floatValue, value.doubleValue};
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace

TEST(JsonValueTest, EveryKindHasItsText) {
    EXPECT_EQ(JsonValue::toValueText(JsonValue()), "null");
    EXPECT_EQ(JsonValue::toValueText(text("two words")), "\"two words\"");
    EXPECT_EQ(JsonValue::toValueText(-2147483647 - 1), "-2147483648");
    EXPECT_EQ(JsonValue::toValueText(int64(-9000000000)), "-9000000000");
    EXPECT_EQ(JsonValue::toValueText(0.912345f), "0.912345");
    EXPECT_EQ(JsonValue::toValueText(floating(-0.0000006)), "-0.000001");
    EXPECT_EQ(JsonValue::toValueText(boolean(true)), "true");
    EXPECT_EQ(JsonValue::toValueText(boolean(false)), "false");
    EXPECT_EQ(JsonValue::toValueText(natural(4294967295u)), "4294967295");
    EXPECT_EQ(JsonValue::toValueText(ofKind(JsonValue::kObject)), "{}");
    EXPECT_EQ(JsonValue::toValueText(ofKind(JsonValue::kArray)), "[]");
    EXPECT_EQ(JsonValue::toValueText(ofKind(static_cast<JsonValue::Kind>(10))), "null");
}

TEST(JsonValueTest, OnlyObjectsAndArraysAreTextsOfTheirOwn) {
    EXPECT_EQ(JsonValue::toText(0), "");
    EXPECT_EQ(JsonValue::toText(text("x")), "");
    EXPECT_EQ(JsonValue::toText(JsonValue()), "");
    EXPECT_EQ(JsonValue::toText(array({1, JsonValue(), 2})), "[1,null,2]");
}

TEST(JsonValueTest, QuotesGoOutUnescaped) {
    EXPECT_EQ(JsonValue::toValueText(text("a\"b\\\n")), "\"a\"b\\\n\"");
}

TEST(JsonValueTest, MembersAreWrittenInTheOrderOfTheirBytes) {
    JsonValue value = ofKind(JsonValue::kObject);
    value["b"] = 1;
    value["\xc3\xa4"] = 2;
    value["B"] = 3;
    value["a"] = array({});
    EXPECT_EQ(JsonValue::toText(value), "{\"B\":3,\"a\":[],\"b\":1,\"\xc3\xa4\":2}");
}

TEST(JsonValueTest, MemberThatIsAskedForIsMade) {
    JsonValue value = ofKind(JsonValue::kObject);
    EXPECT_EQ(value["new"].kind, JsonValue::kNull);
    EXPECT_EQ(JsonValue::toText(value), "{\"new\":null}");
    value["new"] = 5;
    EXPECT_EQ(value["new"].intValue, 5);
    EXPECT_EQ(value.members.size(), 1u);
}

TEST(JsonValueTest, ResultsAreWrittenAsClientsReadThem) {
    JsonValue faces = ofKind(JsonValue::kObject);
    faces["facePos"] = array({array({10, 20, 30, 40}), array({100, 12, 22, 30})});
    faces["faceNum"] = 2;
    EXPECT_EQ(JsonValue::toText(faces), "{\"faceNum\":2,\"facePos\":[[10,20,30,40],[100,12,22,30]]}");
    JsonValue content = ofKind(JsonValue::kObject);
    content["ContentNum"] = 1;
    content["ContentPos"] = array({array({12, 40, 500, 300, 0.912345f, 2})});
    EXPECT_EQ(JsonValue::toText(content), "{\"ContentNum\":1,\"ContentPos\":[[12,40,500,300,0.912345,2]]}");
}

TEST(JsonValueTest, FractionsHaveSixDecimalsAndAPoint) {
    EXPECT_EQ(JsonValue::toValueText(1.0f), "1.000000");
    EXPECT_EQ(JsonValue::toValueText(0.1f), "0.100000");
    EXPECT_EQ(JsonValue::toValueText(16777217.0f), "16777216.000000");
    EXPECT_EQ(JsonValue::toValueText(floating(0.1234567)), "0.123457");
    EXPECT_EQ(JsonValue::toValueText(floating(-0.0)), "-0.000000");
    EXPECT_EQ(JsonValue::toValueText(floating(std::numeric_limits<double>::max())).size(), 309u + 7);
}

TEST(JsonValueTest, WhatIsNoNumberIsWrittenAlikeEverywhere) {
    EXPECT_EQ(JsonValue::toValueText(floating(kNaN)), "nan");
    EXPECT_EQ(JsonValue::toValueText(floating(-kNaN)), "nan");
    EXPECT_EQ(JsonValue::toValueText(floating(kInfinity)), "inf");
    EXPECT_EQ(JsonValue::toValueText(static_cast<float>(-kInfinity)), "-inf");
}

TEST(JsonValueTest, ViewsFollowANumberWhenItIsMadeOrCopied) {
    EXPECT_EQ(viewsOf(7), (Views{7, 7, 7, 7, 7}));
    EXPECT_EQ(viewsOf(-7), (Views{-7, -7, 0, -7, -7}));
    EXPECT_EQ(viewsOf(-7.9f), (Views{-7, -7, 0, -7.9f, -7.9f}));
    EXPECT_EQ(viewsOf(3.5f), (Views{3, 3, 3, 3.5f, 3.5}));
    const JsonValue large = int64(0x1'8000'0001);
    EXPECT_EQ(viewsOf(JsonValue(large)), (Views{-2147483647, 0x1'8000'0001, 0x8000'0001, 6442450945.0f, 6442450945.0}));
    const JsonValue negative = int64(-2);
    EXPECT_EQ(viewsOf(JsonValue(negative)), (Views{-2, -2, 0, -2, -2}));
    const JsonValue fraction = floating(2.75);
    EXPECT_EQ(viewsOf(JsonValue(fraction)), (Views{2, 2, 2, 2.75f, 2.75}));
    const JsonValue most = natural(0xFFFFFFFF);
    EXPECT_EQ(viewsOf(JsonValue(most)), (Views{-1, 4294967295, 4294967295u, 4294967296.0f, 4294967295.0}));
}

TEST(JsonValueTest, CopyOfAFloatKeepsItsWideView) {
    JsonValue value(0.1f);
    value.doubleValue = 0.1;
    EXPECT_EQ(JsonValue(value).doubleValue, 0.1);
}

TEST(JsonValueTest, ViewThatCannotHoldTheNumberIsZero) {
    for (const double number : {1e30, -1e30, kInfinity, -kInfinity, kNaN}) {
        const JsonValue value = floating(number);
        const Views views = viewsOf(JsonValue(value));
        EXPECT_EQ(views.intValue, 0) << number;
        EXPECT_EQ(views.longValue, 0) << number;
        EXPECT_EQ(views.unsignedValue, 0u) << number;
    }
    const JsonValue middle = floating(3e9);
    EXPECT_EQ(viewsOf(JsonValue(middle)), (Views{0, 3000000000, 3000000000u, 3e9f, 3e9}));
}

TEST(JsonValueTest, AssignmentLeavesNothingOfTheOldValue) {
    JsonValue value = array({1, 2});
    value.text = "old";
    value = -3;
    EXPECT_TRUE(value.items.empty());
    EXPECT_EQ(value.text, "");
    EXPECT_EQ(JsonValue::toValueText(value), "-3");
    const JsonValue truth = boolean(true);
    value = truth;
    EXPECT_EQ(viewsOf(value), (Views{0, 0, 0, 0, 0}));
    EXPECT_EQ(JsonValue::toValueText(value), "true");
}

TEST(JsonValueTest, CopyBringsOnlyWhatBelongsToItsKind) {
    JsonValue source = text("mine");
    source.intValue = 5;
    source.items.emplace_back(1);
    const JsonValue copy(source);
    EXPECT_EQ(copy.text, "mine");
    EXPECT_EQ(copy.intValue, 0);
    EXPECT_TRUE(copy.items.empty());
}

TEST(JsonValueTest, CopiesAreDeep) {
    JsonValue source = ofKind(JsonValue::kObject);
    source["list"] = array({1});
    JsonValue copy(source);
    copy["list"].items[0] = 2;
    EXPECT_EQ(JsonValue::toText(source), "{\"list\":[1]}");
    EXPECT_EQ(JsonValue::toText(copy), "{\"list\":[2]}");
}

TEST(JsonValueTest, ValueCanBeAssignedFromAPartOfItself) {
    JsonValue value = array({array({4, 5})});
    const JsonValue& part = value.items[0];
    value = part;
    EXPECT_EQ(JsonValue::toText(value), "[4,5]");
}
