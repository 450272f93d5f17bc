#pragma once

#include <string>

#include "bench/vp/Image.h"

// Whether two sides did the same job. The images are of one format and size; what differs too much raises
// std::runtime_error, which names `whose` and by how much.
namespace zelbench::vp {

// In levels of a byte; in steps of the field for RGB565.
void requireClose(const Image& expected, const Image& image, int mostDifference, const std::string& whose);
// The mean over all bytes. Not for RGB565.
void requireCloseOnAverage(const Image& expected, const Image& image, double mostDifference, const std::string& whose);

// The means over all bytes alone, for blurs of different shapes.
void requireSameBrightness(const Image& expected, const Image& image, const std::string& whose);

// That pixels beside each other in a row differ in the mean by at most so much of what they differ by in the source.
// For images of one plane.
void requireSmooth(const Image& source, const Image& image, double mostShare, const std::string& whose);

}  // namespace zelbench::vp
