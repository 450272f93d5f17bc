#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace xnn {

// What a description in the runtime's own XML says about its network. Layers are in the order of the runtime's inputs
// and outputs. Any text may be read; one that is no such description gives empty fields.
struct Description {
    std::string version;               // of the format
    std::vector<std::string> inputs;   // full names
    std::vector<std::string> outputs;  // full names
};

Description readDescription(std::string_view xml);

// The name that a layer is listed under: "NAME" for "NAME/sink_port_0", else the full name.
std::string listedName(const std::string& fullName);

}  // namespace xnn
