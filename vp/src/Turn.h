#pragma once

#include "vp/src/Planes.h"

// Planes turned clockwise, sample by sample. The destination has the turned size, or a larger one whose rest stays, and
// samples of as many bytes, 1 to 4; no byte of it is one of the source's.
namespace qorvp {

void turn90(const Plane& from, const Plane& to);
void turn180(const Plane& from, const Plane& to);
void turn270(const Plane& from, const Plane& to);

// One row with its samples in the opposite order, in place.
void mirrorRow(uint8_t* row, int width, int bytes);

// The functions above are the plain forms, which say what the others do.
using PlaneTurn = void (*)(const Plane& from, const Plane& to);
using RowMirror = void (*)(uint8_t* row, int width, int bytes);
struct TurnKernels {
    PlaneTurn by90;
    PlaneTurn by180;
    PlaneTurn by270;
    RowMirror mirrorRow;
};
inline constexpr TurnKernels kPlainTurnKernels = {turn90, turn180, turn270, mirrorRow};

// The forms for a feature word.
TurnKernels turnKernels(uint32_t features);

}  // namespace qorvp
