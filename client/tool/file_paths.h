#pragma once

#include <filesystem>
#include <string>

// The tool's paths are UTF-8 texts; here they become the standard library's and back.
namespace zeltool {

std::filesystem::path pathOf(const std::string& utf8);

// "" for a path that is no Unicode. Where paths are bytes, every one comes back as it is.
std::string utf8Of(const std::filesystem::path& path);

}  // namespace zeltool
