#pragma once

#include <string>

#include "platform/include/machine.h"

namespace platform {

// Reads the machine from the kernel's files. All paths are taken below `root` ("" is the running system), so that a
// test can lay out any machine in a directory.
class SystemMachine : public Machine {
  public:
    explicit SystemMachine(std::string root) : root_(std::move(root)) {}

    bool cpuCores(unsigned& physical, unsigned& logical) override;
    bool cpuFrequency(unsigned& megahertz) override;
    std::vector<Adapter> adapters() override;

  private:
    std::string root_;
};

}  // namespace platform
