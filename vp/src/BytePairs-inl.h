// Included once for each target, as the vector library's own headers are.
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

// What the vector library lacks, for vectors of up to 32 bytes.
#if HWY_TARGET <= HWY_SSSE3

namespace hn = hwy::HWY_NAMESPACE;

// Each two neighbours times their factors, added up. A sum must be of 16 bits.
template <size_t N>
HWY_INLINE hn::Vec128<int16_t, N / 2> pairSums(hn::Vec128<uint8_t, N> bytes, hn::Vec128<int8_t, N> factors) {
    return hn::Vec128<int16_t, N / 2>{_mm_maddubs_epi16(bytes.raw, factors.raw)};
}

// Words of 0..255 as bytes: the first vector's words of a block in its lower half, the second's in its upper half.
HWY_INLINE hn::Vec128<uint8_t> packBlocks(hn::Vec128<int16_t> lower, hn::Vec128<int16_t> upper) {
    return hn::Vec128<uint8_t>{_mm_packus_epi16(lower.raw, upper.raw)};
}

// The same for values of -128..127; those beyond are cut.
HWY_INLINE hn::Vec128<int8_t> packSignedBlocks(hn::Vec128<int16_t> lower, hn::Vec128<int16_t> upper) {
    return hn::Vec128<int8_t>{_mm_packs_epi16(lower.raw, upper.raw)};
}

// What lies in the lower halves of blocks before what lies in the upper ones.
HWY_INLINE hn::Vec128<uint8_t> lowerHalvesFirst(hn::Vec128<uint8_t> bytes) {
    return bytes;
}

#if HWY_TARGET <= HWY_AVX2

HWY_INLINE hn::Vec256<int16_t> pairSums(hn::Vec256<uint8_t> bytes, hn::Vec256<int8_t> factors) {
    return hn::Vec256<int16_t>{_mm256_maddubs_epi16(bytes.raw, factors.raw)};
}
HWY_INLINE hn::Vec256<uint8_t> packBlocks(hn::Vec256<int16_t> lower, hn::Vec256<int16_t> upper) {
    return hn::Vec256<uint8_t>{_mm256_packus_epi16(lower.raw, upper.raw)};
}
HWY_INLINE hn::Vec256<int8_t> packSignedBlocks(hn::Vec256<int16_t> lower, hn::Vec256<int16_t> upper) {
    return hn::Vec256<int8_t>{_mm256_packs_epi16(lower.raw, upper.raw)};
}
HWY_INLINE hn::Vec256<uint8_t> lowerHalvesFirst(hn::Vec256<uint8_t> bytes) {
    return hn::Vec256<uint8_t>{_mm256_permute4x64_epi64(bytes.raw, _MM_SHUFFLE(3, 1, 2, 0))};
}

#endif

// As packBlocks, all of the first vector before all of the second.
template <class V>
HWY_INLINE auto pack(V first, V second) {
    return lowerHalvesFirst(packBlocks(first, second));
}

// (first w + second (256 - w)) >> 8 of each byte, the two weights, of 1 to 255, in turn for the lower halves of blocks
// and for the upper. Bytes count from -128 on for it, so that the sums fit 16 bits.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V weightedMean(D d, V first, V second, V lowerWeights, V upperWeights) {
    const hn::RebindToSigned<D> values;
    const auto middle = hn::Set(d, uint8_t{0x80});
    const V a = hn::Xor(first, middle), b = hn::Xor(second, middle);
    const auto lower = pairSums(lowerWeights, hn::BitCast(values, hn::InterleaveLower(d, a, b)));
    const auto upper = pairSums(upperWeights, hn::BitCast(values, hn::InterleaveUpper(d, a, b)));
    const auto means = packSignedBlocks(hn::ShiftRight<8>(lower), hn::ShiftRight<8>(upper));
    return hn::Xor(hn::BitCast(d, means), middle);
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#endif
