#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/include/process.h"
#include "tests/support/RawClient.h"

namespace zeltest {

// The real host program, started as a client starts it.
class HostProcess {
  public:
    static std::string program();

    // `arguments` in place of "PID=... MID=..." when given; `mid` for a client that has opened its channels before;
    // `path` for a program that holds a host of its own.
    explicit HostProcess(const std::vector<std::pair<std::string, std::string>>& environment = {},
                         const std::vector<std::string>* arguments = nullptr,
                         const std::string& mid = uniqueInstanceId(), const std::string& path = program());
    ~HostProcess();

    const std::string& baseName() const { return mBaseName; }
    platform::Process& process() { return *mProcess; }
    // Waits for the end of the process and returns its exit code.
    int exitCode();
    // What the host wrote to stderr so far.
    std::string errorText() const;

  private:
    std::string mBaseName;
    std::string mErrorFile;
    std::unique_ptr<platform::Process> mProcess;
};

// Whether the system shows which shared objects exist.
bool objectsAreListed();
// Names of shared objects that begin with `baseName` and still exist; always empty where the system keeps no list.
std::vector<std::string> leftoverObjects(const std::string& baseName);

}  // namespace zeltest
