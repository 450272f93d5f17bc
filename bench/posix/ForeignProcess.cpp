#include "bench/posix/ForeignProcess.h"

#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace zelbench {

namespace {

std::string procFile(int processId, const char* name) {
    return "/proc/" + std::to_string(processId) + "/" + name;
}

uint64_t statusKilobytes(int processId, const std::string& key) {
    std::ifstream file(procFile(processId, "status"));
    std::string line;
    while (std::getline(file, line))
        if (line.rfind(key, 0) == 0) return std::stoull(line.substr(key.size()));
    throw std::runtime_error("cannot read " + key + " of process " + std::to_string(processId));
}

}  // namespace

uint64_t privateResidentBytes(int processId) {
    return (statusKilobytes(processId, "VmRSS:") - statusKilobytes(processId, "RssShmem:")) * 1024;
}

uint64_t processorMicroseconds(int processId) {
    std::ifstream file(procFile(processId, "stat"));
    std::string text;
    std::getline(file, text);
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string skipped;
    for (int field = 3; field < 14; ++field) fields >> skipped;
    uint64_t user = 0, system = 0;
    fields >> user >> system;
    return (user + system) * 1000000 / static_cast<uint64_t>(sysconf(_SC_CLK_TCK));
}

}  // namespace zelbench
