#pragma once

#include <string>
#include <vector>

// What a host leaves when it dies from a failure, found again by name. Paths are UTF-8.
namespace client {

struct CrashFiles {
    std::string report;  // "" when it is not there
    std::string dump;    // "" when it is not there

    bool any() const { return !report.empty() || !dump.empty(); }
};

// Where a host of that program leaves them, each with a separator at its end: the temporary folder, and the program's
// own for a host that had none.
std::vector<std::string> crashFolders(const std::string& hostProgram);

// The files of the host of that process id, which was started with the other two; from the first folder that has any.
// Whole when that process has ended. Only regular files of this user count.
CrashFiles findCrashFiles(const std::vector<std::string>& folders, const std::string& pid, const std::string& mid,
                          int processId);

// "; it left the report PATH and the dump PATH", or the one that is there, or "".
std::string crashFilesText(const CrashFiles& files);

}  // namespace client
