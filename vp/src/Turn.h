#pragma once

#include "vp/src/Planes.h"

// Planes turned clockwise, sample by sample. The destination has the turned size, or a larger one, and samples of as
// many bytes, 1 to 4; no byte of it is one of the source's.
namespace qorvp {

void turn90(const Plane& from, const Plane& to);
void turn180(const Plane& from, const Plane& to);
void turn270(const Plane& from, const Plane& to);

// One row with its samples in the opposite order, in place.
void mirrorRow(uint8_t* row, int width, int bytes);

}  // namespace qorvp
