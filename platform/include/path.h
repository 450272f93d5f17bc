#pragma once

#include <cstdint>
#include <string>

namespace platform {

// The full form of a path in the thread's code page, or of a wide one, by the working directory. "" on failure, with
// the system's error number in `error`, which is left alone otherwise.
std::string fullPath(const std::string& path, uint32_t& error);
std::wstring fullPath(const std::wstring& path, uint32_t& error);

// The working directory in UTF-8, "" when it cannot be told or takes 1024 characters or more.
std::string workingDirectory();

}  // namespace platform
