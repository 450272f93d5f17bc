#pragma once

#include <string>
#include <vector>

// Small IR pairs for tests: XML as the model converters write it, and weights.
namespace test_networks {

struct Pair {
    std::string xml;
    std::vector<unsigned char> weights;
};

// "input_image" 1x4x8x16 of element type `type` ("f16" or "f32") to "output_mask" 1x1x8x16: the sum over channels c of
// (c + 1) * input. Net name "WeightedSum", IR version `version`.
Pair weightedSum(int version, const std::string& type);

// "input" 1x4x8x16, f32, to the outputs "segmentation" 1x4x8x16 (input + 1), "motion" 8x16 (sum over dimensions 0 and
// 1) and "gesture" 16 (sum over dimensions 0 to 2). The Result layers stand before all others, gesture first.
// Version 11.
Pair threeOutputs();

}  // namespace test_networks
