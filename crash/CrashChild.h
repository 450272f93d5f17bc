#pragma once

#include <string>
#include <vector>

#include "platform/test_support.h"

// crash_test_child run to its end, and what it left.
namespace crash_test {

// What the child has said before it failed.
struct Announcement {
    std::string process;
    std::string thread;
    size_t offset = 0;  // of the failing function, from the program's base
    int line = 0;       // of the failure
};

struct Crash {
    Announcement announced;
    std::vector<std::string> trace;
    std::string error;
    int exitCode = -1;
    std::string dump;  // what the file holds, "" without one
    std::string dumpPath;
    std::vector<std::string> report;  // its lines, none without a file
    std::string reportPath;
};

// The child's failure of that kind, the first time that it is asked for; a dump takes Wine seconds. The files stay
// until the program ends.
const Crash& crashOnce(const std::string& kind);

// The same anew, with files in `folder`; `ids` are the client's in their names.
Crash crash(const std::string& kind, const platform::test::TemporaryFolder& folder, const std::string& ids = "12_7",
            const std::string& sink = "print");

// Whether a sanitizer keeps the child from failing in that way.
bool sanitizerKeeps(const std::string& kind);

// The offsets of a stack's entries in the child's own code.
std::vector<size_t> ownOffsets(const std::string& stack);

platform::ProcessOptions withTemporaryFolder(const std::string& folder);

}  // namespace crash_test
