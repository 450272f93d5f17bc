#pragma once

#include <filesystem>
#include <string>

namespace xnn {

// Paths of the interface. The standard library's own conversion depends on the program's locale on some systems.
// Raises std::runtime_error for text that is no UTF-8, UTF-16 or UTF-32.
std::filesystem::path pathOf(const char* utf8);
std::filesystem::path pathOf(const wchar_t* wide);

std::string utf8Of(const std::filesystem::path& path);

}  // namespace xnn
