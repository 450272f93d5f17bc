#include "client/src/LogLines.h"

#include <algorithm>
#include <cstring>

namespace client {

namespace {

constexpr uint8_t kFirst = 1;
constexpr uint8_t kLast = 2;

}  // namespace

void LogLines::chunk(uint8_t flags, uint32_t size, const void* body, size_t capacity) {
    const char* text = static_cast<const char*>(body);
    size_t length = std::min<size_t>(size, capacity);
    if (flags & kFirst) {
        flush();
        if (length < sizeof mLevel) return;
        std::memcpy(&mLevel, text, sizeof mLevel);
        text += sizeof mLevel;
        length -= sizeof mLevel;
        mOpen = true;
    }
    if (!mOpen) return;
    mLine.append(text, std::min(length, kLongest - mLine.size()));
    if (flags & kLast) flush();
}

void LogLines::flush() {
    if (!mOpen) return;
    mOpen = false;
    mSink(mLevel, mLine);
    mLine.clear();
}

}  // namespace client
