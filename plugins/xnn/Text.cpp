#include "plugins/xnn/Text.h"

#include <cstdint>
#include <string_view>
#include <type_traits>

#include "plugins/xnn/Runtime.h"

namespace xnn {
namespace {

constexpr uint32_t kFirstSurrogate = 0xD800;
constexpr uint32_t kFirstLowSurrogate = 0xDC00;
constexpr uint32_t kLastSurrogate = 0xDFFF;
constexpr uint32_t kLastCharacter = 0x10FFFF;

bool isSurrogate(uint32_t unit) {
    return unit >= kFirstSurrogate && unit <= kLastSurrogate;
}

uint32_t numberOf(wchar_t unit) {
    return static_cast<std::make_unsigned_t<wchar_t>>(unit);
}

// Takes one character; where a unit has 16 bits, two may make one.
uint32_t takeCharacter(std::wstring_view& text) {
    const auto take = [&] {
        const uint32_t unit = numberOf(text.front());
        text.remove_prefix(1);
        return unit;
    };
    const uint32_t first = take();
    if (!isSurrogate(first) && first <= kLastCharacter) return first;
    const uint32_t second = text.empty() ? 0 : numberOf(text.front());
    const bool isPair = sizeof(wchar_t) == 2 && isSurrogate(first) && first < kFirstLowSurrogate &&
                        isSurrogate(second) && second >= kFirstLowSurrogate;
    if (!isPair) fail("a path holds a wide character that is none");
    return 0x10000 + ((first - kFirstSurrogate) << 10) + (take() - kFirstLowSurrogate);
}

void append(std::u8string& utf8, uint32_t character) {
    const auto byte = [&](uint32_t value) { utf8 += static_cast<char8_t>(value); };
    const auto following = [&](int shift) { byte(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80) {
        byte(character);
    } else if (character < 0x800) {
        byte(0xC0 | (character >> 6));
        following(0);
    } else if (character < 0x10000) {
        byte(0xE0 | (character >> 12));
        following(6);
        following(0);
    } else {
        byte(0xF0 | (character >> 18));
        following(12);
        following(6);
        following(0);
    }
}

}  // namespace

std::filesystem::path pathOf(const char* utf8) {
    const std::string_view text = utf8;
    return std::u8string(text.begin(), text.end());
}

std::filesystem::path pathOf(const wchar_t* wide) {
    std::u8string utf8;
    for (std::wstring_view text = wide; !text.empty();) append(utf8, takeCharacter(text));
    return utf8;
}

std::string utf8Of(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

}  // namespace xnn
