#include "util/include/CmTextFormator.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

// Long enough for every integer and for a double of 6 digits.
struct Digits {
    char text[32];
    size_t length;
};

template <class T>
Digits decimal(T value) {
    Digits digits;
    digits.length = std::to_chars(digits.text, digits.text + sizeof digits.text, value).ptr - digits.text;
    return digits;
}

Digits general(double value) {
    constexpr int kSignificantDigits = 6;
    Digits digits;
    digits.length = std::to_chars(digits.text, digits.text + sizeof digits.text, value, std::chars_format::general,
                                  kSignificantDigits)
                        .ptr -
                    digits.text;
    return digits;
}

Digits hexadecimal(uint64_t value) {
    constexpr char kHex[] = "0123456789abcdef";
    Digits digits;
    digits.text[0] = '0';
    digits.text[1] = 'x';
    for (int i = 0; i < 16; ++i) digits.text[2 + i] = kHex[value >> (60 - 4 * i) & 15];
    digits.length = 18;
    return digits;
}

std::string_view notFinite(double value) {
    if (std::isnan(value)) return "nan";
    return value < 0 ? "-inf" : "inf";
}

}  // namespace

CCmTextFormator::CCmTextFormator(char* buffer, unsigned capacity)
    : m_buffer(buffer != nullptr && capacity > 0 ? buffer : m_empty), m_capacity(m_buffer == m_empty ? 1 : capacity) {
    m_buffer[0] = 0;
}

void CCmTextFormator::append(const char* text, size_t length) {
    const size_t taken = std::min<size_t>(length, m_capacity - 1 - m_length);
    std::memcpy(m_buffer + m_length, text, taken);
    m_length += static_cast<unsigned>(taken);
    m_buffer[m_length] = 0;
}

CCmTextFormator& CCmTextFormator::operator<<(const char* text) {
    if (text == nullptr) text = "(null)";
    append(text, strnlen(text, m_capacity));
    return *this;
}

CCmTextFormator& CCmTextFormator::operator<<(const CCmString& text) {
    return *this << text.c_str();
}

CCmTextFormator& CCmTextFormator::operator<<(int value) {
    return *this << static_cast<long>(value);
}

CCmTextFormator& CCmTextFormator::operator<<(unsigned value) {
    return *this << static_cast<unsigned long long>(value);
}

CCmTextFormator& CCmTextFormator::operator<<(long value) {
    const Digits digits = decimal(value);
    append(digits.text, digits.length);
    return *this;
}

CCmTextFormator& CCmTextFormator::operator<<(unsigned long value) {
    return *this << static_cast<unsigned long long>(value);
}

CCmTextFormator& CCmTextFormator::operator<<(unsigned long long value) {
    const Digits digits = decimal(value);
    append(digits.text, digits.length);
    return *this;
}

CCmTextFormator& CCmTextFormator::operator<<(float value) {
    return *this << static_cast<double>(value);
}

CCmTextFormator& CCmTextFormator::operator<<(double value) {
    if (!std::isfinite(value)) {
        const std::string_view word = notFinite(value);
        append(word.data(), word.size());
        return *this;
    }
    const Digits digits = general(value);
    append(digits.text, digits.length);
    return *this;
}

CCmTextFormator& CCmTextFormator::operator<<(void* pointer) {
    const Digits digits = hexadecimal(reinterpret_cast<uintptr_t>(pointer));
    append(digits.text, digits.length);
    return *this;
}
