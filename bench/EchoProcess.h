#pragma once

#include <memory>
#include <string>

#include "platform/include/process.h"

namespace zelbench {

// This program once more, as the other side of a road: answers what comes over it. Ends with the scope.
class EchoProcess {
  public:
    // `kind` is "channel" or "zeromq", `name` what both sides meet at.
    EchoProcess(const std::string& kind, const std::string& name);
    ~EchoProcess();
    EchoProcess(const EchoProcess&) = delete;
    EchoProcess& operator=(const EchoProcess&) = delete;

    int id() const { return mProcess->id(); }

  private:
    std::unique_ptr<platform::Process> mProcess;
};

}  // namespace zelbench
