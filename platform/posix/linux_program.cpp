#include "platform/linux_program.h"

namespace platform::test {

bool runsLinuxPrograms() {
    return true;
}

Outcome runLinuxProgram(const std::string& program, const std::vector<std::string>& arguments) {
    return runToEnd(program, arguments);
}

std::string linuxPath(const std::string& path) {
    return path;
}

}  // namespace platform::test
