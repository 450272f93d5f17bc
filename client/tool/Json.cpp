#include "client/tool/Json.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace zeltool {

namespace {

// The bytes that may follow a first one: how many, and the range of the next; those behind it are 0x80 to 0xbf.
struct Following {
    size_t count;
    uint8_t least;
    uint8_t most;
};

// None for a byte that begins nothing. The ranges leave out overlong forms, surrogates and what is beyond U+10FFFF.
Following followingOf(uint8_t first) {
    if (first < 0xc2 || first > 0xf4) return {0, 0, 0};
    if (first < 0xe0) return {1, 0x80, 0xbf};
    if (first < 0xf0)
        return {2, first == 0xe0 ? uint8_t{0xa0} : uint8_t{0x80}, first == 0xed ? uint8_t{0x9f} : uint8_t{0xbf}};
    return {3, first == 0xf0 ? uint8_t{0x90} : uint8_t{0x80}, first == 0xf4 ? uint8_t{0x8f} : uint8_t{0xbf}};
}

// The character of several bytes that a text begins with, or as much of it as is there: *whole tells which.
std::string_view takeCharacter(std::string_view text, bool* whole) {
    Following following = followingOf(static_cast<uint8_t>(text[0]));
    *whole = following.count > 0;
    size_t length = 1;
    for (; following.count > 0; --following.count, ++length) {
        const uint8_t next = length < text.size() ? static_cast<uint8_t>(text[length]) : uint8_t{0};
        if (next < following.least || next > following.most) {
            *whole = false;
            break;
        }
        following.least = 0x80;
        following.most = 0xbf;
    }
    return text.substr(0, length);
}

// A character of one byte.
std::string escaped(char letter) {
    if (letter == '"' || letter == '\\') return {'\\', letter};
    if (letter >= 0x20) return {letter};
    char code[8];
    std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(letter));
    return code;
}

}  // namespace

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (std::string_view rest = text; !rest.empty();) {
        if (static_cast<uint8_t>(rest[0]) < 0x80) {
            result += escaped(rest[0]);
            rest.remove_prefix(1);
            continue;
        }
        bool whole = false;
        const std::string_view character = takeCharacter(rest, &whole);
        result += whole ? character : "\\ufffd";
        rest.remove_prefix(character.size());
    }
    return result + '"';
}

std::string jsonHead(const std::string& name, const Image& picture) {
    return "{\"name\":" + quoted(name) + ",\"width\":" + std::to_string(picture.width) +
           ",\"height\":" + std::to_string(picture.height);
}

}  // namespace zeltool
