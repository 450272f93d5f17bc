#include "vp/src/BlendRow.h"
#include "vp/src/Features.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/BlendRowVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"
#include "vp/src/BytePairs-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

BlendRow vectorBlend() {
    return blendRow;
}

#else

using Bytes = hn::CappedTag<uint8_t, 32>;
using Vector = hn::Vec<Bytes>;

// A mask value of 0 has a weight of 256, which does not fit a byte: there the background stays.
HWY_INLINE Vector blended(Vector foreground, Vector mask, Vector background) {
    const Bytes d;
    const Vector rest = hn::Sub(hn::Zero(d), mask);
    const Vector mixed =
        weightedMean(d, background, foreground, hn::InterleaveLower(d, rest, mask), hn::InterleaveUpper(d, rest, mask));
    return hn::IfThenElse(hn::Eq(mask, hn::Zero(d)), background, mixed);
}

// Blends a vector at `at`.
HWY_INLINE void blendAt(const uint8_t* foreground, Vector mask, uint8_t* background, int at) {
    const Bytes d;
    hn::StoreU(blended(hn::LoadU(d, foreground + at), mask, hn::LoadU(d, background + at)), d, background + at);
}

// The following blend whole vectors only, and return how many pixels that were: what is blended twice is wrong.
int blendOnes(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width) {
    const Bytes d;
    const int lanes = static_cast<int>(hn::Lanes(d));
    int x = 0;
    for (; x + lanes <= width; x += lanes) blendAt(foreground, hn::LoadU(d, mask + x), background, x);
    return x;
}

// Spreads each mask value over the bytes of its pixel.
int blendFours(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width) {
    const Bytes d;
    const hn::Repartition<uint32_t, Bytes> pixels;
    const hn::Rebind<uint8_t, decltype(pixels)> quarter;
    alignas(16) static constexpr uint8_t kSpread[16] = {0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12};
    const auto spread = hn::LoadDup128(d, kSpread);
    const int lanes = static_cast<int>(hn::Lanes(pixels));
    int x = 0;
    for (; x + lanes <= width; x += lanes) {
        const auto values = hn::BitCast(d, hn::PromoteTo(pixels, hn::LoadU(quarter, mask + x)));
        blendAt(foreground, hn::TableLookupBytes(values, spread), background, x * 4);
    }
    return x;
}

// The block of 16 mask values, or the two, that the blocks of a part of three take theirs from.
template <int part>
HWY_INLINE Vector sourceOfThrees(Vector values) {
#if HWY_TARGET <= HWY_AVX2
    if constexpr (part == 0) return hn::ConcatLowerLower(Bytes(), values, values);
    if constexpr (part == 2) return hn::ConcatUpperUpper(Bytes(), values, values);
#endif
    return values;
}

int blendThrees(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width) {
    const Bytes d;
    // For the blocks of 16 bytes in turn, which begin at the first, the second and the third byte of a pixel.
    alignas(32) static constexpr uint8_t kSpread[6 * 16] = {
        0,  0,  0,  1,  1,  1,  2,  2,  2,  3,  3,  3,  4,  4,  4,  5,   //
        5,  5,  6,  6,  6,  7,  7,  7,  8,  8,  8,  9,  9,  9,  10, 10,  //
        10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15,  //
        0,  0,  0,  1,  1,  1,  2,  2,  2,  3,  3,  3,  4,  4,  4,  5,   //
        5,  5,  6,  6,  6,  7,  7,  7,  8,  8,  8,  9,  9,  9,  10, 10,  //
        10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15};
    const int lanes = static_cast<int>(hn::Lanes(d));
    const auto first = hn::Load(d, kSpread), second = hn::Load(d, kSpread + lanes),
               third = hn::Load(d, kSpread + lanes * 2);
    int x = 0;
    for (; x + lanes <= width; x += lanes) {
        const Vector values = hn::LoadU(d, mask + x);
        blendAt(foreground, hn::TableLookupBytes(sourceOfThrees<0>(values), first), background, x * 3);
        blendAt(foreground, hn::TableLookupBytes(sourceOfThrees<1>(values), second), background, x * 3 + lanes);
        blendAt(foreground, hn::TableLookupBytes(sourceOfThrees<2>(values), third), background, x * 3 + lanes * 2);
    }
    return x;
}

void blend(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width, int bytes) {
    const auto vectors = bytes == 4 ? blendFours : bytes == 3 ? blendThrees : blendOnes;
    const int done = vectors(foreground, mask, background, width);
    blendRow(foreground + done * bytes, mask + done, background + done * bytes, width - done, bytes);
}

BlendRow vectorBlend() {
    return blend;
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qorvp {

HWY_EXPORT(vectorBlend);

BlendRow blendRowFor(uint32_t features) {
    const auto form = vectorForm(features);
    return form ? HWY_DISPATCH_TABLE(vectorBlend)[*form]() : blendRow;
}

}  // namespace qorvp

#endif  // HWY_ONCE
