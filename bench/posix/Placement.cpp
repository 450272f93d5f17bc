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

void keep(const std::string& process, const cpu_set_t& set) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + process + "/task"))
        if (sched_setaffinity(std::stoi(task.path().filename()), sizeof set, &set) != 0)
            throw std::runtime_error("cannot keep process " + process + " on a core");
}

}  // namespace

Placement::Placement(const std::vector<int>& otherProcessIds, Cores cores) {
    if (cores == Cores::Any) return;
    mBefore = std::make_unique<Allowed>();
    cpu_set_t& allowed = mBefore->set;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0 || CPU_COUNT(&allowed) < 2)
        throw std::runtime_error("these figures need two cores");
    keep("self", core(allowed, 0));
    for (const int id : otherProcessIds) keep(std::to_string(id), core(allowed, cores == Cores::One ? 0 : 1));
}

Placement::~Placement() {
    if (mBefore) keep("self", mBefore->set);
}

}  // namespace zelbench
