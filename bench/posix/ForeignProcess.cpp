#include "bench/posix/ForeignProcess.h"

#include <csignal>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <string>

namespace zelbench {

namespace {

uint64_t statusKilobytes(int processId, const std::string& key) {
    std::ifstream file("/proc/" + std::to_string(processId) + "/status");
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
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(processId, &clock) != 0 || clock_gettime(clock, &time) != 0)
        throw std::runtime_error("cannot read the processor time of process " + std::to_string(processId));
    return static_cast<uint64_t>(time.tv_sec) * 1000000 + static_cast<uint64_t>(time.tv_nsec) / 1000;
}

void raiseFault(int processId) {
    if (kill(processId, SIGSEGV) != 0) throw std::runtime_error("no process " + std::to_string(processId));
}

}  // namespace zelbench
