#pragma once

#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>

// The two files that a host leaves when it dies from a failure, and how their names are told.
namespace ipc {

inline constexpr std::string_view kCrashDumpExtension = ".dmp";
inline constexpr std::string_view kCrashReportExtension = ".txt";

// The name of both files without its extension. `pid` and `mid` are the ids that the client gave to the host, "" while
// the host does not know them; `processId` is the host's own. Takes its memory from `memory`, all at once.
std::pmr::string crashFileStem(std::string_view pid, std::string_view mid, int processId,
                               std::pmr::memory_resource* memory = std::pmr::get_default_resource());

// The parts of such a name. They point into the name that was read.
struct CrashFileName {
    std::string_view stem;
    std::string_view extension;  // one of the two above
    std::string_view pid;        // up to the first underscore
    std::string_view mid;
    int processId;
};

// Reads a file's name, without its folder; nothing for any other file.
std::optional<CrashFileName> parseCrashFileName(std::string_view name);

}  // namespace ipc
