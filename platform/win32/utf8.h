#pragma once

#include <string>

// Between the UTF-8 of our interfaces and the UTF-16 of the system's. Bytes that are no UTF-8 become U+FFFD.
namespace platform {

std::wstring wideFromUtf8(const std::string& text);
std::string utf8FromWide(const std::wstring& text);

}  // namespace platform
