#pragma once

#include "engines/vino/PixelLoops.h"

// The parts of the plain forms that the vector forms borrow.
namespace PixelLoops {

// The border of erode alone.
void erodeBorder(size_t width, size_t height, const uint8_t* src, uint8_t* dst);

}  // namespace PixelLoops
