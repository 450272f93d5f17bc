#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// A value of the texts in which faces and regions are reported to the client. It is only written, never read back:
// nothing is escaped, and there is no white space. Not synchronised.
struct JsonValue {
    enum Kind : int32_t {
        kNull = 0,
        kString = 1,
        kInt = 2,
        kInt64 = 3,
        kFloat = 4,
        kDouble = 5,
        kObject = 6,
        kArray = 7,
        kBool = 8,
        kUnsigned = 9,
    };

    // Null, an int, a float. Any other kind is made by setting `kind` and the field that belongs to it.
    JsonValue() = default;
    JsonValue(int32_t value);  // NOLINT(google-explicit-constructor): numbers are items and members as they stand
    JsonValue(float value);    // NOLINT(google-explicit-constructor)

    // Deep. What belongs to the source's kind is copied, the numeric views are brought in step with it, and every other
    // field becomes that of a null value.
    JsonValue(const JsonValue& source);
    JsonValue& operator=(const JsonValue& source);
    JsonValue(JsonValue&&) = default;
    JsonValue& operator=(JsonValue&&) = default;
    ~JsonValue() = default;

    // The member of that name, which is made, as null, if there is none. `kind` stays what it is.
    JsonValue& operator[](const char* key) { return members[key]; }

    // The text of an object or an array; empty for every other kind.
    static std::string toText(const JsonValue& value);
    // The text of any kind. A number with a fraction has six decimals; one that is none is nan, inf or -inf.
    static std::string toValueText(const JsonValue& value);

    int32_t kind = kNull;
    // The numeric views: the value in other types, kept in step when a number is constructed or copied. A fraction is
    // truncated toward zero; a number that the type cannot hold is 0 there, but an integer passes on its low bits.
    int32_t intValue = 0;
    float floatValue = 0;
    double doubleValue = 0;
    std::string text;                          // of kString
    std::map<std::string, JsonValue> members;  // of kObject, in the order of their bytes
    std::vector<JsonValue> items;              // of kArray
    bool boolValue = false;                    // of kBool
    uint32_t unsignedValue = 0;                // 0 also for what is negative
    int64_t longValue = 0;

  private:
    void setInt(int32_t value);
    void setInt64(int64_t value);
    void setFloat(float value, double wide);
    void setDouble(double value);
    void setUnsigned(uint32_t value);
    void setTruncated(double value);
};
