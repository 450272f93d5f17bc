#pragma once

#include <cstdint>

#include "qorvp/VpImage.h"

namespace qorvp {

// The strategies of createFrameWork() by number, and what each takes as its parameter. All other numbers are empty.
inline constexpr uint32_t kConverter = 1;      // int32_t: degrees, 0 (as before the first) or 180
inline constexpr uint32_t kBlur = 2;           // float: sigma, at least 0.5
inline constexpr uint32_t kRotation = 3;       // int32_t: degrees clockwise, 90, 180 or 270
inline constexpr uint32_t kScaler = 4;         // none
inline constexpr uint32_t kHalfSize = 5;       // none
inline constexpr uint32_t kSteppedScaler = 6;  // uint8_t: kScaleWeighted (as before the first) or kScaleNearest
inline constexpr uint32_t kBlend = 7;          // BlendParameter
inline constexpr uint32_t kAspectFit = 13;     // AspectFitParameter

// How the stepped scaler makes samples between those of the source.
inline constexpr uint8_t kScaleWeighted = 0;  // mixes the two beside it, in each direction
inline constexpr uint8_t kScaleNearest = 1;   // takes the nearest one

// The weights of a blend: an image of kFormatGrey as large as the other two, 255 where the foreground shows. The
// strategy keeps the record and reads the planes in each Process until it is given another, or uninited.
struct BlendParameter {
    VpImage mask;
};

// What is cut out of a frame. The target's size in pixels when neither of its values is 0; otherwise the largest whole
// multiple of the ratio's pair that the frame has room for.
struct AspectFitParameter {
    int32_t targetWidth;
    int32_t targetHeight;
    int32_t ratioWidth;
    int32_t ratioHeight;
};

}  // namespace qorvp
