#include "platform/include/text.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace platform {

namespace {

// A byte that is no part of UTF-8 text travels as this plus the byte: a surrogate, which no valid text holds.
constexpr uint32_t kEscape = 0xDC00;
constexpr uint32_t kReplacement = 0xFFFD;

bool isSurrogate(uint32_t character) {
    return character >= 0xD800 && character <= 0xDFFF;
}
bool isEscapedByte(uint32_t character) {
    return character >= kEscape + 0x80 && character <= kEscape + 0xFF;
}

struct Decoded {
    uint32_t character;
    size_t length;  // 0: no UTF-8 at this place
};

// Only the shortest form of a character counts, so that encoding gives back the same bytes.
Decoded decode(const unsigned char* text, size_t available) {
    const uint32_t first = text[0];
    if (first < 0x80) return {first, 1};
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || length > available) return {0, 0};
    uint32_t character = first & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((text[i] & 0xC0) != 0x80) return {0, 0};
        character = character << 6 | (text[i] & 0x3Fu);
    }
    constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (character < kSmallest[length] || character > 0x10FFFF || isSurrogate(character)) return {0, 0};
    return {character, length};
}

void encode(uint32_t character, std::string& out) {
    if (character < 0x80) {
        out += static_cast<char>(character);
        return;
    }
    const int trailing = character >= 0x10000 ? 3 : character >= 0x800 ? 2 : 1;
    constexpr uint32_t kLeads[] = {0, 0xC0, 0xE0, 0xF0};
    out += static_cast<char>(kLeads[trailing] | character >> (6 * trailing));
    for (int i = trailing - 1; i >= 0; --i) out += static_cast<char>(0x80u | (character >> (6 * i) & 0x3Fu));
}

}  // namespace

std::string narrow(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (const wchar_t wide : text) {
        const auto character = std::bit_cast<uint32_t>(wide);
        if (isEscapedByte(character)) {
            out += static_cast<char>(character - kEscape);
        } else {
            encode(character > 0x10FFFF || isSurrogate(character) ? kReplacement : character, out);
        }
    }
    return out;
}

std::wstring widen(const std::string& text) {
    std::wstring out;
    out.reserve(text.size());
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    for (size_t i = 0; i < text.size();) {
        const Decoded decoded = decode(bytes + i, text.size() - i);
        out += static_cast<wchar_t>(decoded.length ? decoded.character : kEscape + bytes[i]);
        i += decoded.length ? decoded.length : 1;
    }
    return out;
}

int utf8FromWide(const wchar_t* text, char* buffer, int size) {
    const std::string utf8 = narrow(text);
    const size_t needed = utf8.size() + 1;
    if (needed > std::numeric_limits<int>::max() || (size != 0 && needed > static_cast<size_t>(size))) return 0;
    if (size != 0) std::memcpy(buffer, utf8.c_str(), needed);
    return static_cast<int>(needed);
}

}  // namespace platform
