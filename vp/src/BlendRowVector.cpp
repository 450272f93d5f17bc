#include "vp/src/BlendRow.h"
#include "vp/src/Features.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/BlendRowVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"
#include "vp/src/RowVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

BlendRow vectorBlend() {
    return blendRow;
}

#else

// Even and odd bytes as 16-bit values: ((256 - m) b + m f) mod 2^16 is (b << 8) + (f - b) m, and fits.
template <class D>
HWY_INLINE hn::Vec<D> blended(D d, hn::Vec<D> foreground, hn::Vec<D> mask, hn::Vec<D> background) {
    const hn::RepartitionToWide<D> wide;
    const auto low = hn::Set(wide, uint16_t{0x00FF});
    const auto f = hn::BitCast(wide, foreground), m = hn::BitCast(wide, mask), b = hn::BitCast(wide, background);
    const auto evenOfB = hn::And(b, low), oddOfB = hn::ShiftRight<8>(b);
    const auto even = hn::Add(hn::ShiftLeft<8>(b), hn::Mul(hn::Sub(hn::And(f, low), evenOfB), hn::And(m, low)));
    const auto odd = hn::Add(hn::AndNot(low, b), hn::Mul(hn::Sub(hn::ShiftRight<8>(f), oddOfB), hn::ShiftRight<8>(m)));
    return hn::Or(hn::BitCast(d, hn::ShiftRight<8>(even)), hn::BitCast(d, hn::AndNot(low, odd)));
}

// What is blended of a row before its rest, a whole number of vectors: blending twice is not blending.
int blendOnes(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width) {
    const hn::ScalableTag<uint8_t> d;
    const int lanes = static_cast<int>(hn::Lanes(d));
    int x = 0;
    for (; x + lanes <= width; x += lanes) {
        const auto result =
            blended(d, hn::LoadU(d, foreground + x), hn::LoadU(d, mask + x), hn::LoadU(d, background + x));
        hn::StoreU(result, d, background + x);
    }
    return x;
}

// Spreads each mask value over the bytes of its pixel.
int blendFours(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width) {
    const hn::ScalableTag<uint8_t> d;
    const hn::Repartition<uint32_t, decltype(d)> pixels;
    const hn::Rebind<uint8_t, decltype(pixels)> quarter;
    alignas(16) static constexpr uint8_t kSpread[16] = {0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12};
    const auto spread = hn::LoadDup128(d, kSpread);
    const int lanes = static_cast<int>(hn::Lanes(pixels));
    int x = 0;
    for (; x + lanes <= width; x += lanes) {
        const auto values = hn::BitCast(d, hn::PromoteTo(pixels, hn::LoadU(quarter, mask + x)));
        const auto result = blended(d, hn::LoadU(d, foreground + x * 4), hn::TableLookupBytes(values, spread),
                                    hn::LoadU(d, background + x * 4));
        hn::StoreU(result, d, background + x * 4);
    }
    return x;
}

int blendThrees(const uint8_t* foreground, const uint8_t* mask, uint8_t* background, int width) {
    const hn::FixedTag<uint8_t, 16> d;
    alignas(16) static constexpr uint8_t kSpread[3][16] = {
        {0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5},
        {5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10},
        {10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15}};
    int x = 0;
    for (; x + 16 <= width; x += 16) {
        const auto values = hn::LoadU(d, mask + x);
        for (int part = 0; part < 3; ++part) {
            const int at = x * 3 + part * 16;
            const auto result =
                blended(d, hn::LoadU(d, foreground + at), hn::TableLookupBytes(values, hn::Load(d, kSpread[part])),
                        hn::LoadU(d, background + at));
            hn::StoreU(result, d, background + at);
        }
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
