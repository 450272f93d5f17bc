#include "bench/EchoProcess.h"

#include <stdexcept>

#include "platform/include/kernel_objects.h"
#include "platform/include/module.h"

namespace zelbench {

EchoProcess::EchoProcess(const std::string& kind, const std::string& name) {
    platform::ProcessOptions options;
    options.dieWithParent = true;
    options.standardError = "inherit";
    std::string error;
    mProcess = platform::startProcess(platform::executablePath(), {"--echo", kind, name}, options, &error);
    if (!mProcess) throw std::runtime_error("cannot start the echo process: " + error);
}

EchoProcess::~EchoProcess() {
    mProcess->kill();
    mProcess->waitForExit(platform::kInfinite);
}

}  // namespace zelbench
