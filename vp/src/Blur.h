#pragma once

#include <cstddef>

#include "vp/src/Planes.h"

// The recursive blur of one plane: a plain form, which says what it is.
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

// How many floats of work memory a plane of that size needs.
struct BlurWork {
    size_t line;        // the forward pass of a line
    size_t transposed;  // the plane behind the first pass, column by column
};
BlurWork blurWork(int channels, int width, int height);

// Blurs rows into `transposed`, then its columns into `to`, which may be `from`. Samples of `channels` bytes, 1 or 4.
// Results are rounded to the nearest byte.
void blurPlane(const Plane& from, const Plane& to, int channels, const BlurCoefficients& coefficients, float* line,
               float* transposed);

}  // namespace qorvp
