#pragma once

#include <string>

namespace platform {

// Wide text of the system (UTF-16 on Windows, UTF-32 on Linux) to the thread's narrow code page and back (UTF-8 on
// Linux). Bytes that are no UTF-8 survive a round trip on Linux.
std::string narrow(const std::wstring& text);
std::wstring widen(const std::string& text);

}  // namespace platform
