// Included once for each instruction set.
#if defined(QORVP_BYTE_PAIRS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QORVP_BYTE_PAIRS_INL_H
#undef QORVP_BYTE_PAIRS_INL_H
#else
#define QORVP_BYTE_PAIRS_INL_H
#endif

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

// Instructions of these processors that the vector library does not have. Each works within blocks of 16 bytes.
using ByteVector = hn::Vec<hn::CappedTag<uint8_t, 32>>;
using SignedByteVector = hn::Vec<hn::CappedTag<int8_t, 32>>;
using ShortVector = hn::Vec<hn::CappedTag<int16_t, 16>>;

// weights[2i] values[2i] + weights[2i + 1] values[2i + 1], cut to 16 bits.
HWY_INLINE ShortVector addedProducts(ByteVector weights, SignedByteVector values) {
#if HWY_TARGET <= HWY_AVX2
    return ShortVector{_mm256_maddubs_epi16(weights.raw, values.raw)};
#else
    return ShortVector{_mm_maddubs_epi16(weights.raw, values.raw)};
#endif
}

// Of each block the values of the lower half, then those of the upper, cut to 8 bits.
HWY_INLINE SignedByteVector packed(ShortVector lower, ShortVector upper) {
#if HWY_TARGET <= HWY_AVX2
    return SignedByteVector{_mm256_packs_epi16(lower.raw, upper.raw)};
#else
    return SignedByteVector{_mm_packs_epi16(lower.raw, upper.raw)};
#endif
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#endif
