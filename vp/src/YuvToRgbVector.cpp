#include "vp/src/Features.h"
#include "vp/src/YuvKernelPick.h"
#include "vp/src/YuvTables.h"
#include "vp/src/YuvToRgb.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/YuvToRgbVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"
#include "vp/src/RowVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

YuvKernel vectorYuvKernel(ChromaLayout chroma, PixelLayout pixels) {
    return yuvKernel(chroma, pixels);
}

#else

using Bytes = hn::CappedTag<uint8_t, 32>;
using Words = hn::RepartitionToWide<Bytes>;
using Shorts = hn::RebindToSigned<Words>;
using HalfBytes = hn::Half<Bytes>;
using Terms = hn::Vec<Shorts>;

// A term has kUnit, 256 times 64, on top: a sum of luma and term that is cut to begin there then lies between kUnit and
// twice that, if it saturates too. Its bits 6 to 13 are the byte, those above are one bit.
constexpr int kUnit = 1 << 14;
constexpr int kByteShift = 6;

HWY_INLINE Terms set(int value) {
    return hn::Set(Shorts(), static_cast<int16_t>(value));
}

// What the chroma of four pixels each adds.
struct ChromaTerms {
    Terms blue, green, red;
};

// 16-bit arithmetic may pass its range between, since the results never do.
HWY_INLINE Terms blueTerms(Terms u) {
    return hn::Add(hn::Mul(u, set(kBlueFactor)), set(kUnit - kBlueFactor * kChromaZero));
}
HWY_INLINE Terms greenTerms(Terms u, Terms v) {
    const Terms taken = hn::Add(hn::Mul(u, set(kGreenFactorOfU)), hn::Mul(v, set(kGreenFactorOfV)));
    return hn::Sub(set(kUnit + (kGreenFactorOfU + kGreenFactorOfV) * kChromaZero), taken);
}
HWY_INLINE Terms redTerms(Terms v) {
    return hn::Add(hn::Mul(v, set(kRedFactor)), set(kUnit - kRedFactor * kChromaZero));
}
HWY_INLINE Terms lumaTerms(hn::Vec<Words> y) {
    return hn::Add(hn::Mul(hn::BitCast(Shorts(), y), set(kLumaFactor)), set(-kLumaFactor * kLumaZero));
}

HWY_INLINE hn::Vec<Words> sum(Terms luma, Terms chroma) {
    return hn::BitCast(Words(), hn::Max(hn::SaturatedAdd(luma, chroma), set(kUnit)));
}

// The chroma of as many pairs of pixels as there are words in a vector.
template <ChromaLayout layout>
HWY_INLINE ChromaTerms loadChroma(const uint8_t* first, const uint8_t* second, int x) {
    Terms u, v;
    if constexpr (layout == ChromaLayout::kPlanar) {
        u = hn::PromoteTo(Shorts(), hn::LoadU(HalfBytes(), first + x / 2));
        v = hn::PromoteTo(Shorts(), hn::LoadU(HalfBytes(), second + x / 2));
    } else {
        const auto pairs = hn::BitCast(Words(), hn::LoadU(Bytes(), first + x));
        const auto low = hn::BitCast(Shorts(), hn::And(pairs, hn::Set(Words(), uint16_t{0x00FF})));
        const auto high = hn::BitCast(Shorts(), hn::ShiftRight<8>(pairs));
        u = layout == ChromaLayout::kUv ? low : high;
        v = layout == ChromaLayout::kUv ? high : low;
    }
    return {blueTerms(u), greenTerms(u, v), redTerms(v)};
}

// One colour of the even pixels and of the odd ones.
struct Sums {
    hn::Vec<Words> even, odd;

    HWY_INLINE hn::Vec<Bytes> bytes() const {
        const auto low = hn::Set(Words(), uint16_t{0x00FF});
        const auto first = hn::And(hn::ShiftRight<kByteShift>(even), low);
        const auto second = hn::AndNot(low, hn::ShiftLeft<8 - kByteShift>(odd));
        return hn::BitCast(Bytes(), hn::Or(first, second));
    }
};

// Red's top 5 bits, green's top 6, blue's top 5.
HWY_INLINE hn::Vec<Words> packed565(hn::Vec<Words> red, hn::Vec<Words> green, hn::Vec<Words> blue) {
    const Words d;
    const auto r = hn::And(hn::ShiftLeft<2>(red), hn::Set(d, uint16_t{0xF800}));
    const auto g = hn::And(hn::ShiftRight<3>(green), hn::Set(d, uint16_t{0x07E0}));
    const auto b = hn::And(hn::ShiftRight<9>(blue), hn::Set(d, uint16_t{0x001F}));
    return hn::Or(hn::Or(r, g), b);
}

template <PixelLayout layout>
HWY_INLINE void storePixels(const uint8_t* luma, const ChromaTerms& terms, uint8_t* pixels) {
    const Bytes d;
    const auto y = hn::BitCast(Words(), hn::LoadU(d, luma));
    const Terms even = lumaTerms(hn::And(y, hn::Set(Words(), uint16_t{0x00FF})));
    const Terms odd = lumaTerms(hn::ShiftRight<8>(y));
    const Sums red = {sum(even, terms.red), sum(odd, terms.red)};
    const Sums green = {sum(even, terms.green), sum(odd, terms.green)};
    const Sums blue = {sum(even, terms.blue), sum(odd, terms.blue)};
    const auto opaque = hn::Set(d, uint8_t{255});
    if constexpr (layout == PixelLayout::kRgb565)
        hn::StoreInterleaved2(packed565(red.even, green.even, blue.even), packed565(red.odd, green.odd, blue.odd),
                              Words(), reinterpret_cast<uint16_t*>(pixels));
    if constexpr (layout == PixelLayout::kBgr)
        hn::StoreInterleaved3(blue.bytes(), green.bytes(), red.bytes(), d, pixels);
    if constexpr (layout == PixelLayout::kBgra)
        hn::StoreInterleaved4(blue.bytes(), green.bytes(), red.bytes(), opaque, d, pixels);
    if constexpr (layout == PixelLayout::kRgba)
        hn::StoreInterleaved4(red.bytes(), green.bytes(), blue.bytes(), opaque, d, pixels);
    if constexpr (layout == PixelLayout::kArgb)
        hn::StoreInterleaved4(opaque, red.bytes(), green.bytes(), blue.bytes(), d, pixels);
    if constexpr (layout == PixelLayout::kAbgr)
        hn::StoreInterleaved4(opaque, blue.bytes(), green.bytes(), red.bytes(), d, pixels);
}

constexpr int kPixelBytes[] = {2, 3, 4, 4, 4, 4};

// How many vectors of a row are written before the row below: memory takes runs faster than rows in turn.
constexpr int kRun = 8;

template <ChromaLayout chroma, PixelLayout layout>
void convert(const YuvRowPair& rows) {
    constexpr int kBytes = kPixelBytes[static_cast<int>(layout)];
    const int lanes = static_cast<int>(hn::Lanes(Bytes()));
    const YuvRowPair r = rows;
    if (r.width < lanes) {
        yuvKernel(chroma, layout)(rows);
        return;
    }
    ChromaTerms terms[kRun];
    for (int begin = 0; begin < r.width; begin += kRun * lanes) {
        const int vectors = HWY_MIN(kRun, (r.width - begin + lanes - 1) / lanes);
        const auto place = [=](int i) { return HWY_MIN(begin + i * lanes, r.width - lanes); };
        for (int i = 0; i < vectors; ++i) terms[i] = loadChroma<chroma>(r.u, r.v, place(i));
        const uint8_t* luma = r.luma;
        uint8_t* pixels = r.pixels;
        for (int row = 0; row < 2; ++row, luma += r.lumaStride, pixels += r.pixelStride) {
            for (int i = 0; i < vectors; ++i)
                storePixels<layout>(luma + place(i), terms[i], pixels + place(i) * kBytes);
        }
    }
}

YuvKernel vectorYuvKernel(ChromaLayout chroma, PixelLayout pixels) {
    return pickYuvKernel(chroma, pixels, [](auto from, auto to) -> YuvKernel { return convert<from, to>; });
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qorvp {

HWY_EXPORT(vectorYuvKernel);

YuvKernels yuvKernels(uint32_t features) {
    const auto form = vectorForm(features);
    return form ? HWY_DISPATCH_TABLE(vectorYuvKernel)[*form] : yuvKernel;
}

}  // namespace qorvp

#endif  // HWY_ONCE
