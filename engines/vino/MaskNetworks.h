#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engines/inference_engine/InferenceEngine.h"

// For tests: small networks from frame planes to a mask, written as IR pairs.
namespace mask_networks {

struct Options {
    std::string name = "SmallMask";
    int channels = 4;
    int height = 8;
    int width = 16;
    // Value of the mask: sum over channels c of factors[c] * input; missing ones are 0.
    std::vector<float> factors = {1.0f / 256};
    std::string outputName = "output_mask";
    // Axis that is summed away; 1 gives the 1x1xHxW of a mask.
    int axis = 1;
    bool keepDims = true;
    int inputs = 1;
};

// A pair in memory. A network that is read from it keeps the weights alive.
struct Pair {
    std::string xml;
    std::shared_ptr<const std::vector<uint8_t>> weights;
    InferenceEngine::CNNNetwork read(const InferenceEngine::Core& core) const;
};

Pair make(const Options& options);

}  // namespace mask_networks
