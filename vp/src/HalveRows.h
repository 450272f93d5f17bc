#pragma once

#include <cstdint>

#include "vp/src/Planes.h"

// What the scalers make of two rows where they halve width and height, so that each place lies in the middle of four
// samples: in one step what their general steps make of them, byte for byte. `count` samples of `channels` bytes, 1, 2
// or 4, from twice as many. `to` overlaps no row.
namespace qorvp {

using HalveRows = void (*)(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count);

// The plain forms, which say what the others do. The scaler's rounds (a + b) / 2 up in a row and down between rows; the
// stepped scaler's rounds down, with an a of 0 taken for 1, as its two weights make not quite 1.
void halveBilinear(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count);
void halveStepped(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count);

struct HalveKernels {
    HalveRows bilinear;
    HalveRows stepped;
};

// The vector forms for a feature word; null where rows are halved like they are scaled to any other size.
HalveKernels halveKernels(uint32_t features);

// Whether the destination has exactly half the source's width and height.
bool isHalf(const Plane& from, const Plane& to);

// A plane into one of half its size.
void halvePlane(const Plane& from, const Plane& to, HalveRows halveRows);

}  // namespace qorvp
