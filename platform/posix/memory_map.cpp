#include "platform/posix/memory_map.h"

#include <cstring>

namespace platform {

namespace {

// "55e0c6a00000-55e0c6a21000 r-xp 00001000 fe:01 2102    /path", the path behind any number of blanks.
bool parseMapping(const char* line, Mapping& mapping) {
    if (!parseNumber(line, 16, mapping.begin) || *line++ != '-') return false;
    if (!parseNumber(line, 16, mapping.end) || strnlen(line, 6) < 6) return false;
    mapping.readable = line[1] == 'r';
    mapping.executable = line[3] == 'x';
    line += 6;
    if (!parseNumber(line, 16, mapping.offset)) return false;
    for (int field = 0; field < 2; ++field) {
        line += std::strspn(line, " ");
        line += std::strcspn(line, " ");
    }
    mapping.path = line + std::strspn(line, " ");
    return true;
}

}  // namespace

bool MemoryMap::next(Mapping& mapping) {
    while (const char* const line = nextLine()) {
        if (parseMapping(line, mapping)) return true;
    }
    return false;
}

// Null at the end.
char* MemoryMap::nextLine() {
    for (;;) {
        char* const line = buffer_ + begin_;
        if (void* const newline = std::memchr(line, '\n', end_ - begin_)) {
            *static_cast<char*>(newline) = '\0';
            begin_ = static_cast<size_t>(static_cast<char*>(newline) - buffer_) + 1;
            return line;
        }
        std::memmove(buffer_, line, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
        const size_t got = file_.read(buffer_ + end_, sizeof buffer_ - end_);
        if (got == 0) return nullptr;
        end_ += got;
    }
}

}  // namespace platform
