#pragma once

#include "engines/vino/PixelLoops.h"

// The parts of the plain forms that the vector forms borrow.
namespace PixelLoops {

// Bytes to floats of the same value.
void bytesToFloats(const uint8_t* bytes, size_t count, float* floats);

// One value of fillCentredPlanes. Exact.
constexpr float centred(float byte) {
    return (byte - 127.0f) * 0.0078125f;
}

// The border of erode alone.
void erodeBorder(size_t width, size_t height, const uint8_t* src, uint8_t* dst);

}  // namespace PixelLoops
