#pragma once

#include <cstddef>
#include <cstdint>

#include "vp/src/Planes.h"

// 4:2:0 video to pixels of red, green and blue: blue = luma + blueFromU, green = luma - (greenFromU + greenFromV),
// red = luma + redFromV, each shifted right by 6 and cut to 0..255.
namespace qorvp {

// How the chroma samples lie.
enum class ChromaLayout { kPlanar, kUv, kVu };

// How a pixel lies; bytes in the order of memory.
enum class PixelLayout { kRgb565, kBgr, kBgra, kRgba, kArgb, kAbgr };

// One row of `width` pixels, an even number. `u` and `v` point to the row's chroma samples: to their planes for
// kPlanar, else `u` alone to the pairs. The fourth channel is 255.
using YuvRow = void (*)(const uint8_t* luma, const uint8_t* u, const uint8_t* v, uint8_t* pixels, int width);

// The plain forms, which say what the others do.
YuvRow yuvRow(ChromaLayout chroma, PixelLayout pixels);

// What picks a row by its layouts: yuvRow or its like with the vector forms for a feature word.
using YuvRows = YuvRow (*)(ChromaLayout chroma, PixelLayout pixels);
YuvRows yuvRows(uint32_t features);

}  // namespace qorvp
