#include "tests/support/HostProcess.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/include/folders.h"
#include "platform/include/module.h"
#include "platform/include/thread.h"

namespace zeltest {

namespace fs = std::filesystem;

namespace {

// Where Linux shows shared memory objects as files.
constexpr const char* kObjectFolder = "/dev/shm";

}  // namespace

std::string HostProcess::program() {
    const bool windows = platform::pathSeparator() == '\\';
    const fs::path build = fs::path(platform::executableDirectory()).parent_path();
    return (build / "bin" / (windows ? "zelhost.exe" : "zelhost")).string();
}

HostProcess::HostProcess(const std::vector<std::pair<std::string, std::string>>& environment,
                         const std::vector<std::string>* arguments, const std::string& mid, const std::string& path) {
    const std::string pid = std::to_string(platform::currentProcessId());
    mBaseName = ipc::channelBaseName(pid, mid);
    mErrorFile = platform::folders().temporary() + mBaseName + "_stderr.txt";
    platform::ProcessOptions options;
    options.environment = environment;
    options.standardError = mErrorFile;
    options.dieWithParent = true;
    std::string error;
    mProcess = platform::startProcess(
        path, arguments ? *arguments : std::vector<std::string>{"PID=" + pid, "MID=" + mid}, options, &error);
    if (!mProcess) throw std::runtime_error("cannot start " + path + ": " + error);
}

HostProcess::~HostProcess() {
    if (!mProcess->waitForExit(0)) {
        mProcess->kill();
        mProcess->waitForExit(kDeadlineMs);
    }
    std::error_code ignored;
    fs::remove(mErrorFile, ignored);
}

int HostProcess::exitCode() {
    if (!mProcess->waitForExit(kDeadlineMs)) throw std::runtime_error("the host did not end");
    return mProcess->exitCode();
}

std::string HostProcess::errorText() const {
    std::ifstream file(mErrorFile, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool objectsAreListed() {
    return platform::pathSeparator() == '/';
}

std::vector<std::string> leftoverObjects(const std::string& baseName) {
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(kObjectFolder, missing)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind(baseName, 0) == 0) names.push_back(name);
    }
    return names;
}

}  // namespace zeltest
