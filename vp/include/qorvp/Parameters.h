#pragma once

#include <cstdint>

#include "qorvp/VpImage.h"

namespace qorvp {

// The strategies of createFrameWork() by number, and what each takes as its parameter. All other numbers are empty.
inline constexpr uint32_t kConverter = 1;  // int32_t: degrees, 0 (as before the first) or 180
inline constexpr uint32_t kBlur = 2;       // float: sigma in pixels
inline constexpr uint32_t kRotation = 3;   // int32_t: degrees clockwise, 90, 180 or 270
inline constexpr uint32_t kBlend = 7;      // BlendParameter

// The weights of a blend: an image of kFormatGrey as large as the other two, 255 where the foreground shows. The
// strategy keeps the record and reads the planes in each Process until it is given another, or uninited.
struct BlendParameter {
    VpImage mask;
};

}  // namespace qorvp
