#include "plugins/xnn/PendingException.h"

#include <algorithm>
#include <cstring>

namespace xnn {
namespace {

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

void PendingException::set(std::string_view function, std::string_view what) noexcept {
    mLength = 0;
    append(function);
    append(": ");
    append(what);
    mPending = true;
}

void PendingException::append(std::string_view text) noexcept {
    size_t size = std::min(text.size(), sizeof mText - mLength);
    while (size > 0 && size < text.size() && continuesCharacter(text[size])) --size;
    std::memcpy(mText + mLength, text.data(), size);
    mLength += size;
}

PendingException& pendingOnThread() {
    thread_local PendingException pending;
    return pending;
}

}  // namespace xnn
