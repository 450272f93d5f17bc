#pragma once

#include <string>

// Where files may lie. Paths are UTF-8.
namespace platform {

enum class PathKind { kMissing, kFile, kDirectory, kForeignDirectory };

// The folders and the one query on them, behind an interface so that a test can fail each.
class Folders {
  public:
    virtual ~Folders() = default;

    // The temporary folder, ending in a separator, "" when it cannot be had or is 260 characters or longer.
    virtual std::string temporary() = 0;
    // The folder for this user's local data, without a trailing separator, "" when it cannot be had.
    virtual std::string localData() = 0;
    // What lies at `path`. A directory of another user, or one that others may write, is kForeignDirectory on Linux.
    // Errors other than "not found" raise std::filesystem::filesystem_error with the word "exists" or "status".
    virtual PathKind kindOf(const std::string& path) = 0;
};

Folders& folders();
// For tests: null puts the system's own back.
void replaceFolders(Folders* replacement);

}  // namespace platform
