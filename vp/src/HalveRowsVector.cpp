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

#if HWY_TARGET > HWY_AVX2

HalveRows vectorHalve() {
    return nullptr;
}

#else

using Bytes = hn::CappedTag<uint8_t, 32>;
using SignedBytes = hn::RebindToSigned<Bytes>;
using Words = hn::RepartitionToWide<SignedBytes>;

// The bytes of a block in such an order that those of one channel of two neighbours lie beside each other.
alignas(16) constexpr uint8_t kOfOne[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
alignas(16) constexpr uint8_t kOfTwo[16] = {0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15};
alignas(16) constexpr uint8_t kOfFour[16] = {0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15};

HWY_INLINE hn::Vec<Words> means(const uint8_t* row, hn::Vec<Bytes> order) {
    const auto neighbours = hn::TableLookupBytes(hn::LoadU(Bytes(), row), order);
    const auto sums = pairSums(neighbours, hn::Set(SignedBytes(), int8_t{1}));
    return hn::ShiftRight<1>(hn::Add(sums, hn::Set(Words(), int16_t{1})));
}

HWY_INLINE hn::Vec<Words> meansOfFour(const uint8_t* upper, const uint8_t* lower, hn::Vec<Bytes> order) {
    return hn::ShiftRight<1>(hn::Add(means(upper, order), means(lower, order)));
}

void halve(const uint8_t* upper, const uint8_t* lower, int channels, uint8_t* to, int count) {
    const Bytes d;
    const int lanes = static_cast<int>(hn::Lanes(d)), bytes = count * channels;
    const auto order = hn::LoadDup128(d, channels == 1 ? kOfOne : channels == 2 ? kOfTwo : kOfFour);
    const bool done = forEachVector(bytes, hn::Lanes(d), [=](int i) HWY_ATTR {
        const uint8_t *const above = upper + i * 2, *const below = lower + i * 2;
        const auto first = meansOfFour(above, below, order);
        const auto second = meansOfFour(above + lanes, below + lanes, order);
        hn::StoreU(pack(first, second), d, to + i);
    });
    if (!done) halveRows(upper, lower, channels, to, count);
}

HalveRows vectorHalve() {
    return halve;
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qorvp {

HWY_EXPORT(vectorHalve);

HalveRows halveRowsFor(uint32_t features) {
    const auto form = vectorForm(features);
    return form ? HWY_DISPATCH_TABLE(vectorHalve)[*form]() : nullptr;
}

}  // namespace qorvp

#endif  // HWY_ONCE
