#pragma once

#include "engines/vino/MaskNetworks.h"

// For tests: networks whose outputs are the first numbers of their input, so that the bytes of a picture say what is
// found in it.
namespace row_networks {

struct Output {
    const char* name;
    std::vector<int> shape;
};

struct Options {
    std::vector<int> input;
    // One after the other from the input's front.
    std::vector<Output> outputs;
    // What the last dimension of each output is multiplied by, column by column; empty for 1.
    std::vector<float> factors;
    int inputs = 1;
};

mask_networks::Pair make(const Options& options);

// "scores" from the input's front, then "boxes".
Options faces();
// "output", its boxes 0 to 512.
Options content();

}  // namespace row_networks
