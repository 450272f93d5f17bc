#pragma once

#include <type_traits>

#include "vp/src/YuvToRgb.h"

namespace qorvp {

template <auto value>
using Constant = std::integral_constant<decltype(value), value>;

// What `pick` returns for the two layouts as constants.
template <ChromaLayout chroma, class Pick>
YuvKernel pickYuvKernel(PixelLayout pixels, Pick pick) {
    switch (pixels) {
        case PixelLayout::kRgb565:
            return pick(Constant<chroma>(), Constant<PixelLayout::kRgb565>());
        case PixelLayout::kBgr:
            return pick(Constant<chroma>(), Constant<PixelLayout::kBgr>());
        case PixelLayout::kBgra:
            return pick(Constant<chroma>(), Constant<PixelLayout::kBgra>());
        case PixelLayout::kRgba:
            return pick(Constant<chroma>(), Constant<PixelLayout::kRgba>());
        case PixelLayout::kArgb:
            return pick(Constant<chroma>(), Constant<PixelLayout::kArgb>());
        default:
            return pick(Constant<chroma>(), Constant<PixelLayout::kAbgr>());
    }
}

template <class Pick>
YuvKernel pickYuvKernel(ChromaLayout chroma, PixelLayout pixels, Pick pick) {
    switch (chroma) {
        case ChromaLayout::kUv:
            return pickYuvKernel<ChromaLayout::kUv>(pixels, pick);
        case ChromaLayout::kVu:
            return pickYuvKernel<ChromaLayout::kVu>(pixels, pick);
        default:
            return pickYuvKernel<ChromaLayout::kPlanar>(pixels, pick);
    }
}

}  // namespace qorvp
