#include <algorithm>

#include "vp/src/BilinearRow.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/BilinearRowVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

// A processor without vectors is served by the plain forms.
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

BilinearKernels vectorBilinear() {
    return plainBilinear();
}

#else

namespace hn = hwy::HWY_NAMESPACE;

// Sums of neighbouring bytes' products and words made bytes block by block, which the vector library does not have.
HWY_INLINE hn::Vec128<int16_t> pairSums(hn::Vec128<uint8_t> bytes, hn::Vec128<int8_t> factors) {
    return hn::Vec128<int16_t>{_mm_maddubs_epi16(bytes.raw, factors.raw)};
}
HWY_INLINE hn::Vec128<int8_t> packed(hn::Vec128<int16_t> lower, hn::Vec128<int16_t> upper) {
    return hn::Vec128<int8_t>{_mm_packs_epi16(lower.raw, upper.raw)};
}

#if HWY_TARGET <= HWY_AVX2

HWY_INLINE hn::Vec256<int16_t> pairSums(hn::Vec256<uint8_t> bytes, hn::Vec256<int8_t> factors) {
    return hn::Vec256<int16_t>{_mm256_maddubs_epi16(bytes.raw, factors.raw)};
}
HWY_INLINE hn::Vec256<int8_t> packed(hn::Vec256<int16_t> lower, hn::Vec256<int16_t> upper) {
    return hn::Vec256<int8_t>{_mm256_packs_epi16(lower.raw, upper.raw)};
}
HWY_INLINE hn::Vec256<uint8_t> packedUnsigned(hn::Vec256<int16_t> lower, hn::Vec256<int16_t> upper) {
    return hn::Vec256<uint8_t>{_mm256_packus_epi16(lower.raw, upper.raw)};
}

using Window = hn::FixedTag<uint8_t, 16>;
using Two = hn::FixedTag<uint8_t, 32>;
using TwoFactors = hn::FixedTag<int8_t, 32>;
using Words = hn::FixedTag<int16_t, 16>;

// Of two parts in one vector, where `place` is the first one's.
HWY_INLINE hn::Vec256<int16_t> twoParts(const BilinearGroups::Quad& quad, int place, const uint8_t* lower,
                                        const uint8_t* upper) {
    const Window window;
    const auto from = hn::Combine(Two(), hn::LoadU(window, upper), hn::LoadU(window, lower));
    const auto taps = hn::TableLookupBytes(from, hn::LoadU(Two(), quad.lookup[place]));
    const auto sums = pairSums(taps, hn::LoadU(TwoFactors(), quad.weights[place]));
    return hn::MulFixedPoint15(sums, hn::Set(Words(), int16_t{256}));  // (sum + 64) >> 7
}

HWY_INLINE hn::Vec256<uint8_t> fourParts(const BilinearGroups::Quad& quad, const uint8_t* from) {
    const auto even = twoParts(quad, 0, from + quad.base[0], from + quad.base[2]);
    const auto odd = twoParts(quad, 2, from + quad.base[1], from + quad.base[3]);
    return packedUnsigned(even, odd);
}

HWY_INLINE void storeTwo(hn::Vec128<uint8_t> parts, uint8_t* first, uint8_t* second) {
    const hn::FixedTag<uint8_t, 8> half;
    hn::StoreU(hn::LowerHalf(half, parts), half, first);
    hn::StoreU(hn::UpperHalf(half, parts), half, second);
}

void groups(const BilinearGroups& groups, const uint8_t* from, uint8_t* to) {
    const Two d;
    if (groups.whole) {
        for (const BilinearGroups::Quad& quad : groups.quads) {
            hn::StoreU(fourParts(quad, from), d, to);
            to += hn::Lanes(d);
        }
        return;
    }
    const Window window;
    for (const BilinearGroups::Quad& quad : groups.quads) {
        const auto parts = fourParts(quad, from);
        storeTwo(hn::LowerHalf(window, parts), to + quad.to[0], to + quad.to[1]);
        storeTwo(hn::UpperHalf(window, parts), to + quad.to[2], to + quad.to[3]);
    }
}

constexpr auto* kGroups = groups;

#else

constexpr decltype(BilinearKernels::groups) kGroups = nullptr;

#endif

using Bytes = hn::CappedTag<uint8_t, 32>;

// Rows as bytes with a sign, which is taken back at the end: the sums would not fit otherwise.
HWY_INLINE hn::Vec<Bytes> blend(hn::Vec<Bytes> upper, hn::Vec<Bytes> lower, hn::Vec<Bytes> factors) {
    const Bytes d;
    const hn::RebindToSigned<Bytes> bytes;
    const auto sign = hn::Set(d, uint8_t{0x80});
    const auto above = hn::Xor(upper, sign), below = hn::Xor(lower, sign);
    const auto half = [=](auto pairs)
                          HWY_ATTR { return hn::ShiftRight<8>(pairSums(factors, hn::BitCast(bytes, pairs))); };
    const auto sums = packed(half(hn::InterleaveLower(d, above, below)), half(hn::InterleaveUpper(d, above, below)));
    return hn::Xor(hn::BitCast(d, sums), sign);
}

void blendRows(const uint8_t* upper, const uint8_t* lower, int f, uint8_t* to, size_t count) {
    const Bytes d;
    const size_t lanes = hn::Lanes(d);
    if (count < lanes) {
        plainBilinear().blendRows(upper, lower, f, to, count);
        return;
    }
    const hn::RepartitionToWide<Bytes> words;
    const auto factors = hn::BitCast(d, hn::Set(words, static_cast<uint16_t>(f << 8 | (256 - f))));
    const auto at = [=](size_t i) HWY_ATTR {
        hn::StoreU(blend(hn::LoadU(d, upper + i), hn::LoadU(d, lower + i), factors), d, to + i);
    };
    for (size_t i = 0; i + lanes <= count; i += lanes) at(i);
    if (count % lanes != 0) at(count - lanes);
}

BilinearKernels vectorBilinear() {
    return {kGroups, blendRows};
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "vp/src/Features.h"

namespace qorvp {

HWY_EXPORT(vectorBilinear);

BilinearKernels bilinearKernels(uint32_t features) {
    const auto form = vectorForm(features);
    BilinearKernels kernels = form ? HWY_DISPATCH_TABLE(vectorBilinear)[*form]() : plainBilinear();
    if ((features & kAvx2) == 0) kernels.groups = nullptr;
    return kernels;
}

}  // namespace qorvp

#endif  // HWY_ONCE
