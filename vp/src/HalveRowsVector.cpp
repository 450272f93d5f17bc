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

using Vector = hn::Vec<Bytes>;

// Two vectors of a row: the even samples of both and the odd ones, those of the first vector in the lower halves of
// blocks.
struct Neighbours {
    Vector even, odd;
};

template <int channels>
HWY_INLINE Neighbours neighbours(const uint8_t* row) {
    alignas(16) static constexpr uint8_t kOfOne[16] = {0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15};
    alignas(16) static constexpr uint8_t kOfTwo[16] = {0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};
    alignas(16) static constexpr uint8_t kOfFour[16] = {0, 1, 2, 3, 8, 9, 10, 11, 4, 5, 6, 7, 12, 13, 14, 15};
    const Bytes d;
    const hn::Repartition<uint64_t, Bytes> halves;
    const auto order = hn::LoadDup128(d, channels == 1 ? kOfOne : channels == 2 ? kOfTwo : kOfFour);
    const auto load = [=](const uint8_t* place)
                          HWY_ATTR { return hn::BitCast(halves, hn::TableLookupBytes(hn::LoadU(d, place), order)); };
    const auto first = load(row), second = load(row + hn::Lanes(d));
    return {hn::BitCast(d, hn::InterleaveLower(halves, first, second)),
            hn::BitCast(d, hn::InterleaveUpper(halves, first, second))};
}

struct Bilinear {
    static constexpr HalveRows kPlain = halveBilinear;
    static HWY_INLINE Vector meanOf(const Neighbours& upper, const Neighbours& lower) {
        const Vector above = hn::AverageRound(upper.even, upper.odd), below = hn::AverageRound(lower.even, lower.odd);
        const Vector half = hn::And(hn::Xor(above, below), hn::Set(Bytes(), uint8_t{1}));
        return hn::Sub(hn::AverageRound(above, below), half);
    }
};

// Bytes are taken from 255, so that the mean that rounds up rounds them down.
struct Stepped {
    static constexpr HalveRows kPlain = halveStepped;
    static HWY_INLINE Vector meanOf(const Neighbours& upper, const Neighbours& lower) {
        const Vector above = meanOfInverted(hn::Not(upper.even), hn::Not(upper.odd));
        const Vector below = meanOfInverted(hn::Not(lower.even), hn::Not(lower.odd));
        return hn::Not(meanOfInverted(above, below));
    }
    static HWY_INLINE Vector meanOfInverted(Vector a, Vector b) {
        return hn::AverageRound(hn::Min(a, hn::Set(Bytes(), uint8_t{254})), b);
    }
};

template <class Rounding, int channels>
HWY_INLINE Vector means(const uint8_t* above, const uint8_t* below) {
    return lowerHalvesFirst(Rounding::meanOf(neighbours<channels>(above), neighbours<channels>(below)));
}

template <class Rounding, int channels>
void halve(const uint8_t* upper, const uint8_t* lower, uint8_t* to, int count) {
    const Bytes d;
    const int bytes = count * channels;
    const ptrdiff_t ahead = ptrdiff_t{4} * bytes;  // the next two rows, where these lie close to each other
    const bool done = forEachVector(bytes, hn::Lanes(d), [=](size_t i) HWY_ATTR {
        const uint8_t *const above = upper + i * 2, *const below = lower + i * 2;
        hwy::Prefetch(above + ahead);
        hwy::Prefetch(below + ahead);
        hn::StoreU(means<Rounding, channels>(above, below), d, to + i);
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
