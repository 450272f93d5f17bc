#include "vp/src/Features.h"
#include "vp/src/HalveRows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/HalveRowsVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"
#include "vp/src/BytePairs-inl.h"
#include "vp/src/RowVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

HalveKernels vectorHalve() {
    return {nullptr, nullptr};
}

#else

using Bytes = hn::CappedTag<uint8_t, 32>;
using SignedBytes = hn::RebindToSigned<Bytes>;
using Words = hn::RepartitionToWide<SignedBytes>;

// The bytes of a block in such an order that those of one channel of two neighbours lie beside each other.
alignas(16) constexpr uint8_t kOfOne[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
alignas(16) constexpr uint8_t kOfTwo[16] = {0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15};
alignas(16) constexpr uint8_t kOfFour[16] = {0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15};

struct Bilinear {
    static constexpr HalveRows kPlain = halveBilinear;
    // From the first value of each pair and the sum of both.
    static HWY_INLINE hn::Vec<Words> across(hn::Vec<Words>, hn::Vec<Words> sums) {
        return hn::ShiftRight<1>(hn::Add(sums, hn::Set(Words(), int16_t{1})));
    }
    static HWY_INLINE hn::Vec<Words> down(hn::Vec<Words>, hn::Vec<Words> sums) { return hn::ShiftRight<1>(sums); }
};

struct Stepped {
    static constexpr HalveRows kPlain = halveStepped;
    static HWY_INLINE hn::Vec<Words> across(hn::Vec<Words> first, hn::Vec<Words> sums) {
        const auto isZero = hn::VecFromMask(Words(), hn::Eq(first, hn::Zero(Words())));  // -1 where it is
        return hn::ShiftRight<1>(hn::Sub(sums, isZero));
    }
    static HWY_INLINE hn::Vec<Words> down(hn::Vec<Words> first, hn::Vec<Words> sums) { return across(first, sums); }
};

template <class Rounding>
HWY_INLINE hn::Vec<Words> means(const uint8_t* row, hn::Vec<Bytes> order) {
    const auto neighbours = hn::TableLookupBytes(hn::LoadU(Bytes(), row), order);
    const auto first = hn::And(hn::BitCast(Words(), neighbours), hn::Set(Words(), int16_t{0x00FF}));
    return Rounding::across(first, pairSums(neighbours, hn::Set(SignedBytes(), int8_t{1})));
}

template <class Rounding>
HWY_INLINE hn::Vec<Words> meansOfFour(const uint8_t* upper, const uint8_t* lower, hn::Vec<Bytes> order) {
    const auto above = means<Rounding>(upper, order);
    return Rounding::down(above, hn::Add(above, means<Rounding>(lower, order)));
}

template <class Rounding>
void halve(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count) {
    const Bytes d;
    const int lanes = static_cast<int>(hn::Lanes(d)), bytes = count * channels;
    const auto order = hn::LoadDup128(d, channels == 1 ? kOfOne : channels == 2 ? kOfTwo : kOfFour);
    const bool done = forEachVector(bytes, hn::Lanes(d), [=](int i) HWY_ATTR {
        const uint8_t *const above = upper + i * 2, *const below = lower + i * 2;
        const auto first = meansOfFour<Rounding>(above, below, order);
        const auto second = meansOfFour<Rounding>(above + lanes, below + lanes, order);
        hn::StoreU(pack(first, second), d, to + i);
    });
    if (!done) Rounding::kPlain(upper, lower, channels, to, count);
}

HalveKernels vectorHalve() {
    return {halve<Bilinear>, halve<Stepped>};
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qorvp {

HWY_EXPORT(vectorHalve);

HalveKernels halveKernels(uint32_t features) {
    const auto form = vectorForm(features);
    return form ? HWY_DISPATCH_TABLE(vectorHalve)[*form]() : HalveKernels{nullptr, nullptr};
}

}  // namespace qorvp

#endif  // HWY_ONCE
