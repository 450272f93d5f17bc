#pragma once

#include <string>
#include <vector>

// What the machine is made of, read from the system.
namespace platform {

struct Adapter {
    std::string name;     // vendor word first, "Intel UHD Graphics 770"
    unsigned memory = 0;  // dedicated memory in MiB, 0 when it has none of its own or cannot be told
    std::string version;  // driver version, "" when it cannot be told
};

class Machine {
  public:
    virtual ~Machine() = default;
    // Physical cores and logical processors. False, and nothing written, when they cannot be told.
    virtual bool cpuCores(unsigned& physical, unsigned& logical) = 0;
    // Nominal clock of the first processor in MHz.
    virtual bool cpuFrequency(unsigned& megahertz) = 0;
    // Graphics adapters in the system's order.
    virtual std::vector<Adapter> adapters() = 0;
};

Machine& machine();
// For tests: null puts the system's own back.
void replaceMachine(Machine* replacement);

}  // namespace platform
