#pragma once

#include <opencv2/core.hpp>

#include "bench/vp/Image.h"

namespace zelbench::vp {

// The plane's own bytes as OpenCV's matrix.
inline cv::Mat matrixOf(const Plane& plane) {
    return {plane.height, plane.width, CV_8UC(plane.bytes), plane.data, static_cast<size_t>(plane.stride)};
}

}  // namespace zelbench::vp
