#include "vp/src/Features.h"
#include "vp/src/HalveRows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/HalveRowsVector.cpp"
#include "hwy/cache_control.h"
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

struct Bilinear {
    static constexpr HalveRows kPlain = halveBilinear;
    static HWY_INLINE hn::Vec<Words> across(hn::Vec<Bytes> pairs) {
        const auto sums = pairSums(pairs, hn::Set(SignedBytes(), int8_t{1}));
        return hn::ShiftRight<1>(hn::Add(sums, hn::Set(Words(), int16_t{1})));
    }
    static HWY_INLINE hn::Vec<Words> down(hn::Vec<Words> above, hn::Vec<Words> below) {
        return hn::ShiftRight<1>(hn::Add(above, below));
    }
};

// A first value of 0 counts as 1.
struct Stepped {
    static constexpr HalveRows kPlain = halveStepped;
    static HWY_INLINE hn::Vec<Words> across(hn::Vec<Bytes> pairs) {
        const auto atLeast = hn::BitCast(Bytes(), hn::Set(Words(), int16_t{1}));
        return hn::ShiftRight<1>(pairSums(hn::Max(pairs, atLeast), hn::Set(SignedBytes(), int8_t{1})));
    }
    static HWY_INLINE hn::Vec<Words> down(hn::Vec<Words> above, hn::Vec<Words> below) {
        return hn::ShiftRight<1>(hn::Add(hn::Max(above, hn::Set(Words(), int16_t{1})), below));
    }
};

// Bytes in such an order within blocks that those of one channel of two neighbours lie beside each other.
template <int channels>
HWY_INLINE hn::Vec<Bytes> neighbours(const uint8_t* row) {
    alignas(16) static constexpr uint8_t kOfTwo[16] = {0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15};
    alignas(16) static constexpr uint8_t kOfFour[16] = {0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15};
    const auto bytes = hn::LoadU(Bytes(), row);
    if constexpr (channels == 1) return bytes;
    return hn::TableLookupBytes(bytes, hn::LoadDup128(Bytes(), channels == 2 ? kOfTwo : kOfFour));
}

template <class Rounding, int channels>
HWY_INLINE hn::Vec<Words> means(const uint8_t* above, const uint8_t* below) {
    return Rounding::down(Rounding::across(neighbours<channels>(above)), Rounding::across(neighbours<channels>(below)));
}

template <class Rounding, int channels>
void halve(const uint8_t* upper, const uint8_t* lower, uint8_t* to, int count) {
    const Bytes d;
    const int lanes = static_cast<int>(hn::Lanes(d)), bytes = count * channels;
    const ptrdiff_t ahead = ptrdiff_t{4} * bytes;  // the next two rows, where these lie close to each other
    const bool done = forEachVector(bytes, hn::Lanes(d), [=](int i) HWY_ATTR {
        const uint8_t *const above = upper + i * 2, *const below = lower + i * 2;
        hwy::Prefetch(above + ahead);
        hwy::Prefetch(below + ahead);
        const auto first = means<Rounding, channels>(above, below);
        const auto second = means<Rounding, channels>(above + lanes, below + lanes);
        hn::StoreU(pack(first, second), d, to + i);
    });
    if (!done) Rounding::kPlain(upper, lower, channels, to, count);
}

template <class Rounding>
void halve(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count) {
    if (channels == 1)
        halve<Rounding, 1>(upper, lower, to, count);
    else if (channels == 2)
        halve<Rounding, 2>(upper, lower, to, count);
    else
        halve<Rounding, 4>(upper, lower, to, count);
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
