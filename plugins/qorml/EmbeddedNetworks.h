#pragma once

#include <cstddef>

#include "plugins/qorml/Resizer.h"

namespace qorml {

// An IR pair inside the library, there for the life of the process.
struct EmbeddedNetwork {
    const char* xml;
    size_t xmlBytes;
    const char* weights;  // at a multiple of 64
    size_t weightsBytes;
    Size size;  // of its input and its mask
};

// The two segmentation networks for processors; docs/models.md tells what they compute.
EmbeddedNetwork smallNetwork();  // 256x144
EmbeddedNetwork largeNetwork();  // 640x360

}  // namespace qorml
