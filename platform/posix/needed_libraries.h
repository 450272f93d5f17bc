#pragma once

#include <string>
#include <vector>

namespace platform {

// The names of the libraries that the 64-bit ELF file at `path` asks for, in its order. Empty when it is none or is
// damaged: whatever the file holds, nothing outside it is read.
std::vector<std::string> neededLibraries(const std::string& path);

}  // namespace platform
