#pragma once

#include "bench/vp/Contest.h"
#include "bench/vp/Library.h"

namespace zelbench::vp {

// The sizes of whole frames at which the kernels are measured.
struct FrameSize {
    int width;
    int height;
};
inline constexpr FrameSize kFrameSizes[] = {{1280, 720}, {1920, 1080}};

struct SizeChange {
    FrameSize from, to;
};

// 4:2:0 video to pixels.
void addConverterRows(PlannedRows& rows);
// 4:2:0 video to other layouts of its chroma.
void addChromaRows(PlannedRows& rows);
// One picture over another by a mask.
void addBlendRows(PlannedRows& rows);
void addBlurRows(PlannedRows& rows);
// By quarters of a circle.
void addRotationRows(PlannedRows& rows);
// To other sizes, by both scalers.
void addScalerRows(PlannedRows& rows);
// The same without mixing.
void addNearestRows(PlannedRows& rows);
// Video to half its width and height.
void addHalfRows(PlannedRows& rows);

}  // namespace zelbench::vp
