#include "crash/CrashText.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <new>

namespace {

constexpr size_t kMemory = 4 * 1024 * 1024;  // bytes; a host with two hundred modules takes less than a tenth
alignas(std::max_align_t) std::byte gMemory[kMemory];

void appendNumber(CrashText& text, uint64_t value, int base) {
    char digits[24];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, value, base);
    text.append(digits, end.ptr);
}

}  // namespace

std::pmr::memory_resource* crashMemory() {
    using Memory = std::pmr::monotonic_buffer_resource;
    alignas(Memory) static std::byte place[sizeof(Memory)];
    // Never destroyed: static objects may fail as they go.
    static Memory* const memory = new (place) Memory(gMemory, sizeof gMemory, std::pmr::null_memory_resource());
    return memory;
}

void appendDecimal(CrashText& text, uint64_t value) {
    appendNumber(text, value, 10);
}

void appendHexadecimal(CrashText& text, uint64_t value) {
    appendNumber(text, value, 16);
}

void appendNarrow(CrashText& text, std::string_view narrow) {
    text.reserve(text.size() + narrow.size());
    std::transform(narrow.begin(), narrow.end(), std::back_inserter(text),
                   [](char c) { return static_cast<unsigned char>(c) < 0x80 ? static_cast<wchar_t>(c) : L'?'; });
}
