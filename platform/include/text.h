#pragma once

#include <string>

namespace platform {

// Wide text of the system (UTF-16 on Windows, UTF-32 on Linux) to the thread's narrow code page and back (UTF-8 on
// Linux). Bytes that are no UTF-8 survive a round trip on Linux.
std::string narrow(const std::wstring& text);
std::wstring widen(const std::string& text);

// Wide text up to its zero to UTF-8, into `buffer` of `size` bytes with a zero at the end; with a size of 0 nothing is
// written. The number of bytes, the zero among them, or 0 on failure, as when the buffer is too small.
int utf8FromWide(const wchar_t* text, char* buffer, int size);

}  // namespace platform
