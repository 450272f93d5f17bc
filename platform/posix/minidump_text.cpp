#include "platform/posix/minidump_text.h"

#include <limits.h>

namespace platform::minidump {

namespace {

constexpr char32_t kNoCharacter = 0xFFFD;

// Takes one character from `text`, which is not at its end.
char32_t nextCharacter(const char*& text) {
    const auto first = static_cast<unsigned char>(*text++);
    if (first < 0x80) return first;
    const int more = first >= 0xF0 && first < 0xF5 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first >= 0xF5) return kNoCharacter;
    char32_t character = first & (0x3Fu >> more);
    const char* at = text;
    for (int i = 0; i < more; ++i, ++at) {
        if ((*at & 0xC0) != 0x80) return kNoCharacter;
        character = character << 6 | (*at & 0x3Fu);
    }
    const char32_t least = more == 3 ? 0x10000 : more == 2 ? 0x800 : 0x80;
    if (character < least || character > 0x10FFFF || (character >= 0xD800 && character < 0xE000)) return kNoCharacter;
    text = at;
    return character;
}

}  // namespace

uint32_t writeText(OutputFile& file, const char* utf8) {
    static char16_t units[PATH_MAX + 1];
    size_t count = 0;
    while (*utf8 != '\0' && count < PATH_MAX - 1) {
        const char32_t character = nextCharacter(utf8);
        if (character < 0x10000) {
            units[count++] = static_cast<char16_t>(character);
        } else {
            units[count++] = static_cast<char16_t>(0xD7C0 + (character >> 10));
            units[count++] = static_cast<char16_t>(0xDC00 + (character & 0x3FF));
        }
    }
    units[count] = u'\0';
    const auto size = static_cast<uint32_t>(count * sizeof *units);
    file.align();
    const uint32_t offset = file.append(&size, sizeof size);
    file.append(units, size + sizeof *units);
    return offset;
}

}  // namespace platform::minidump
