#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

// Files of this user in folders where others may put something of the same name. Only a regular file that belongs to
// this user counts, on Windows any regular one; a link, a directory, a pipe or a device never does. Paths are UTF-8.
namespace platform {

// When the file was written last, in seconds since 1970 UTC; nothing when there is no such file.
std::optional<int64_t> ownFileTime(const std::string& path);

// The first bytes of the file, at most so many; nothing when there is no such file or it cannot be read. Never waits.
std::optional<std::string> readOwnFile(const std::string& path, size_t most);

}  // namespace platform
