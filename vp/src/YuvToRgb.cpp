#include "vp/src/YuvToRgb.h"

#include <algorithm>

#include "vp/src/YuvKernelPick.h"
#include "vp/src/YuvTables.h"

namespace qorvp {

namespace {

struct Colour {
    uint8_t red, green, blue;
};

// What the chroma of four pixels adds.
struct ChromaTerms {
    int32_t blue, green, red;

    ChromaTerms(uint8_t u, uint8_t v)
        : blue(kBlueFromU[u]), green(kGreenFromU[u] + kGreenFromV[v]), red(kRedFromV[v]) {}

    static uint8_t byteOf(int32_t value) { return static_cast<uint8_t>(std::clamp(value >> 6, 0, 255)); }
    Colour with(uint8_t y) const {
        const int32_t luma = kLuma[y];
        return {byteOf(luma + red), byteOf(luma - green), byteOf(luma + blue)};
    }
};

template <ChromaLayout layout>
ChromaTerms chromaAt(const uint8_t* u, const uint8_t* v, int pair) {
    if constexpr (layout == ChromaLayout::kUv) return {u[pair * 2], u[pair * 2 + 1]};
    if constexpr (layout == ChromaLayout::kVu) return {u[pair * 2 + 1], u[pair * 2]};
    return {u[pair], v[pair]};
}

template <PixelLayout layout>
uint8_t* put(uint8_t* pixel, const Colour& colour) {
    const auto bytes = [pixel](auto... values) {
        uint8_t* place = pixel;
        ((*place++ = static_cast<uint8_t>(values)), ...);
        return place;
    };
    const auto [red, green, blue] = colour;
    switch (layout) {
        case PixelLayout::kRgb565: {
            const int word = red >> 3 << 11 | green >> 2 << 5 | blue >> 3;
            return bytes(word & 0xFF, word >> 8);
        }
        case PixelLayout::kBgr:
            return bytes(blue, green, red);
        case PixelLayout::kBgra:
            return bytes(blue, green, red, 255);
        case PixelLayout::kRgba:
            return bytes(red, green, blue, 255);
        case PixelLayout::kArgb:
            return bytes(255, red, green, blue);
        case PixelLayout::kAbgr:
            return bytes(255, blue, green, red);
    }
}

template <ChromaLayout chroma, PixelLayout pixel>
void convert(const YuvRowPair& rows) {
    const uint8_t *const upper = rows.luma, *const lower = rows.luma + rows.lumaStride;
    uint8_t *above = rows.pixels, *below = rows.pixels + rows.pixelStride;
    for (int x = 0; x < rows.width; x += 2) {
        const ChromaTerms terms = chromaAt<chroma>(rows.u, rows.v, x / 2);
        above = put<pixel>(put<pixel>(above, terms.with(upper[x])), terms.with(upper[x + 1]));
        below = put<pixel>(put<pixel>(below, terms.with(lower[x])), terms.with(lower[x + 1]));
    }
}

}  // namespace

YuvKernel yuvKernel(ChromaLayout chroma, PixelLayout pixels) {
    return pickYuvKernel(chroma, pixels, [](auto from, auto to) -> YuvKernel { return convert<from, to>; });
}

}  // namespace qorvp
