#pragma once

#include <cstddef>

#include "vp/src/Planes.h"

// The recursive blur of one plane.
namespace qorvp {

// Of a line x of samples: forward y[i] = inForward x[i] - feedback y[i-1], begun with y[-1] = startForward x[0];
// backward z[i] = inBackward x[i] - feedback z[i+1], begun with z[n] = startBackward x[n-1]. The result is y + z.
struct BlurCoefficients {
    float inForward;
    float inBackward;
    float feedback;
    float startForward;
    float startBackward;
};

BlurCoefficients blurCoefficients(float sigma);

// Blurs rows into `transposed`, then its columns into `to`, which may be `from`. Samples of `channels` bytes, 1 or 4.
// Results are rounded to the nearest byte; where a form sums in another order, they differ by 1 at most.
using BlurPlane = void (*)(const Plane& from, const Plane& to, int channels, const BlurCoefficients& coefficients,
                           float* lines, float* transposed);

struct BlurKernel {
    BlurPlane blurPlane;
    int lanes;  // how many samples it filters side by side
};

// The plain form, which says what the others do, and the one for a feature word.
BlurKernel plainBlur();
BlurKernel blurKernel(uint32_t features);

// How many floats of work memory a kernel needs for a plane of that size.
struct BlurWork {
    size_t lines;       // as many lines as it has lanes, before and behind the forward pass
    size_t transposed;  // the plane behind the first pass, column by column
};
BlurWork blurWork(const BlurKernel& kernel, int channels, int width, int height);

}  // namespace qorvp
