#pragma once

#include <cstdint>
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

// A host: its process id, what it was started with, and when, in seconds since 1970 UTC.
struct HostIdentity {
    std::string pid;
    std::string mid;
    int processId;
    int64_t startedAt;
};

// The files of that host, from the first folder that has any; one that died before it knew the client's ids has left
// them without. Whole when its process has ended. Only regular files of this user count, and none that is older than
// the host.
CrashFiles findCrashFiles(const std::vector<std::string>& folders, const HostIdentity& host);

// "; it left the report PATH and the dump PATH", or the one that is there, or "".
std::string crashFilesText(const CrashFiles& files);

}  // namespace client
