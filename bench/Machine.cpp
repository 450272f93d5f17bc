#include "bench/Machine.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

namespace zelbench {

void warnWhenUnoptimised([[maybe_unused]] const char* program) {
#ifndef __OPTIMIZE__
    std::fprintf(stderr, "%s: warning: this build is not optimised; its figures mean nothing\n", program);
#endif
}

// What else the machine does stands in the figures, most of all where a process waits for another.
void tellMachine() {
    std::ifstream file("/proc/loadavg");
    std::string load;
    file >> load;
    std::printf("%u cores; load average of the last minute, before the start: %s\n\n",
                std::thread::hardware_concurrency(), load.c_str());
}

}  // namespace zelbench
