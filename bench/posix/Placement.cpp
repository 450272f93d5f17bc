#include "bench/posix/Placement.h"

#include <sched.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace zelbench {

struct Placement::Allowed {
    cpu_set_t set;
};

namespace {

// The nth core of those that the set allows, alone.
cpu_set_t core(const cpu_set_t& allowed, int number) {
    cpu_set_t alone;
    CPU_ZERO(&alone);
    for (int index = 0; index < CPU_SETSIZE; ++index)
        if (CPU_ISSET(index, &allowed) && number-- == 0) CPU_SET(index, &alone);
    return alone;
}

void keep(int threadId, const cpu_set_t& set) {
    if (sched_setaffinity(threadId, sizeof set, &set) != 0)
        throw std::runtime_error("cannot keep thread " + std::to_string(threadId) + " on a core");
}

}  // namespace

Placement::Placement(const std::vector<int>& otherProcessIds, Cores cores) : mBefore(std::make_unique<Allowed>()) {
    constexpr int kCaller = 0;
    cpu_set_t& allowed = mBefore->set;
    if (sched_getaffinity(kCaller, sizeof allowed, &allowed) != 0 || CPU_COUNT(&allowed) < 2)
        throw std::runtime_error("these figures need two cores");
    keep(kCaller, core(allowed, 0));
    for (const int id : otherProcessIds)
        for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(id) + "/task"))
            keep(std::stoi(task.path().filename()), core(allowed, cores == Cores::One ? 0 : 1));
}

Placement::~Placement() {
    sched_setaffinity(0, sizeof mBefore->set, &mBefore->set);
}

}  // namespace zelbench
