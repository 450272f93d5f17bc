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

// Two rows of luma, the row of chroma that they share, and where their pixels go. Distances are in bytes.
struct YuvRowPair {
    const uint8_t* luma;
    ptrdiff_t lumaStride;
    const uint8_t* u;  // the row in its plane for kPlanar, else the row of pairs
    const uint8_t* v;  // the row in its plane for kPlanar, else not looked at
    uint8_t* pixels;
    ptrdiff_t pixelStride;
    int width;  // pixels, an even number
};

// Converts two rows; each chroma sample is read once for its four pixels. The fourth channel is 255.
using YuvKernel = void (*)(const YuvRowPair& rows);

// The plain forms, which say what the others do.
YuvKernel yuvKernel(ChromaLayout chroma, PixelLayout pixels);

// What picks a kernel by its layouts: yuvKernel or its like with the vector forms for a feature word.
using YuvKernels = YuvKernel (*)(ChromaLayout chroma, PixelLayout pixels);
YuvKernels yuvKernels(uint32_t features);

}  // namespace qorvp
