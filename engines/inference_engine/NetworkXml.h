#pragma once

#include <string>
#include <vector>

namespace InferenceEngine::details {

// What an IR's XML says about its ends, in the order of its layers, which is the order of the runtime's inputs and
// outputs. The bodies of loops and branches have ends of their own, which do not count.
struct NetworkEnds {
    std::string name;                  // of the network
    std::vector<std::string> inputs;   // names of the Parameter layers
    std::vector<std::string> outputs;  // names of the Result layers
};

// Scans an XML that the runtime has read; of any other text it makes what it can.
NetworkEnds scanNetworkEnds(const std::string& xml);

// The name that an output is asked for by: "NAME" for a Result layer "NAME/sink_port_0", else `tensorName`, which the
// runtime takes from the layer before, else the layer's own name.
std::string shortOutputName(const std::string& layerName, const std::string& tensorName);

}  // namespace InferenceEngine::details
