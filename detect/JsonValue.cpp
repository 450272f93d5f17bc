#include "detect/JsonValue.h"

#include <charconv>
#include <cmath>
#include <utility>

namespace {

// As "%f" writes it, but alike on every system, whatever the locale.
std::string fixedText(double value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    char text[500];  // the greatest double has 309 digits before the point
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr;
    return {text, end};
}

template <class Integer>
Integer truncated(double value, double least, double beyond) {
    return value > least && value < beyond ? static_cast<Integer>(value) : 0;
}

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

std::string objectText(const JsonValue& value) {
    std::string text = "{";
    for (const auto& [key, member] : value.members) {
        if (text.size() > 1) text += ',';
        text += quoted(key) + ':' + JsonValue::toValueText(member);
    }
    return text + '}';
}

std::string arrayText(const JsonValue& value) {
    std::string text = "[";
    for (const JsonValue& item : value.items) {
        if (text.size() > 1) text += ',';
        text += JsonValue::toValueText(item);
    }
    return text + ']';
}

}  // namespace

JsonValue::JsonValue(int32_t value) : kind(kInt) {
    setInt(value);
}

JsonValue::JsonValue(float value) : kind(kFloat) {
    setFloat(value, value);
}

JsonValue::JsonValue(const JsonValue& source) : kind(source.kind) {
    switch (kind) {
        case kString:
            text = source.text;
            break;
        case kInt:
            setInt(source.intValue);
            break;
        case kInt64:
            setInt64(source.longValue);
            break;
        case kFloat:
            setFloat(source.floatValue, source.doubleValue);
            break;
        case kDouble:
            setDouble(source.doubleValue);
            break;
        case kObject:
            members = source.members;
            break;
        case kArray:
            items = source.items;
            break;
        case kBool:
            boolValue = source.boolValue;
            break;
        case kUnsigned:
            setUnsigned(source.unsignedValue);
            break;
        default:
            break;
    }
}

JsonValue& JsonValue::operator=(const JsonValue& source) {
    *this = JsonValue(source);
    return *this;
}

void JsonValue::setInt(int32_t value) {
    intValue = value;
    longValue = value;
    floatValue = static_cast<float>(value);
    doubleValue = value;
    unsignedValue = value < 0 ? 0 : static_cast<uint32_t>(value);
}

void JsonValue::setInt64(int64_t value) {
    intValue = static_cast<int32_t>(value);
    longValue = value;
    floatValue = static_cast<float>(value);
    doubleValue = static_cast<double>(value);
    unsignedValue = value < 0 ? 0 : static_cast<uint32_t>(value);
}

void JsonValue::setFloat(float value, double wide) {
    floatValue = value;
    doubleValue = wide;
    setTruncated(value);
}

void JsonValue::setDouble(double value) {
    doubleValue = value;
    floatValue = static_cast<float>(value);
    setTruncated(value);
}

void JsonValue::setUnsigned(uint32_t value) {
    unsignedValue = value;
    intValue = static_cast<int32_t>(value);
    longValue = value;
    floatValue = static_cast<float>(value);
    doubleValue = value;
}

void JsonValue::setTruncated(double value) {
    intValue = truncated<int32_t>(value, -2147483649.0, 2147483648.0);
    longValue = truncated<int64_t>(value, -9223372036854777856.0, 9223372036854775808.0);
    unsignedValue = truncated<uint32_t>(value, -1.0, 4294967296.0);
}

std::string JsonValue::toText(const JsonValue& value) {
    if (value.kind == kObject) return objectText(value);
    if (value.kind == kArray) return arrayText(value);
    return {};
}

std::string JsonValue::toValueText(const JsonValue& value) {
    switch (value.kind) {
        case kString:
            return quoted(value.text);
        case kInt:
            return std::to_string(value.intValue);
        case kInt64:
            return std::to_string(value.longValue);
        case kFloat:
            return fixedText(value.floatValue);
        case kDouble:
            return fixedText(value.doubleValue);
        case kObject:
        case kArray:
            return toText(value);
        case kBool:
            return value.boolValue ? "true" : "false";
        case kUnsigned:
            return std::to_string(value.unsignedValue);
        default:
            return "null";
    }
}
