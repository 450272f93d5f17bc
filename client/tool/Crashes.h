#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Hosts that died from a failure, by the files that they left. Nothing in these files or their names is trusted: what
// is told of them is short and printable.
namespace zeltool {

struct Crash {
    int64_t at;          // seconds since 1970 UTC
    std::string report;  // path, UTF-8; "" for none
    std::string dump;    // path, UTF-8; "" for none
};

// All that this user's hosts have left in these folders, the newest first. A folder that cannot be listed has none.
std::vector<Crash> findCrashes(const std::vector<std::string>& folders);

// What failed, as the beginning of a report tells it: "EXCEPTION_ACCESS_VIOLATION at zelhost+0x1a2b". Nothing stands
// for a report that cannot be read.
std::string failureOf(const std::optional<std::string>& report);

// One line of a crash: when it was, what failed, the paths.
std::string crashLine(const Crash& crash);

}  // namespace zeltool
