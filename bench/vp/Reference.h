#pragma once

#include "bench/vp/Image.h"

// What the library's results must be, worked out a second time in the plainest way.
namespace zelbench::vp {

// Pixels of 4:2:0 video of the same size.
void convertByFormula(const Image& video, const Image& pixels);
// ((256 - m) background + m foreground) >> 8 for every channel, m being the pixel's byte of the mask.
void blendByFormula(const Image& foreground, const Image& mask, const Image& background);
// The recursion along rows, then along columns, in doubles, rounded at the end. One plane.
void blurByRecursion(const Image& from, double sigma, const Image& to);
// Each sample the mean of four, halves up.
void halveByFormula(const Image& from, const Image& to);
// The sample on which the middle of the destination's lies, by steps of whole numbers: of 1/65536 along rows and of
// 1/32768 along columns, the step being the float ratio of the sizes in these, truncated.
void takeNearestByFormula(const Image& from, const Image& to);

}  // namespace zelbench::vp
