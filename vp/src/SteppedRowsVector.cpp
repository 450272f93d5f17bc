#include "vp/src/Features.h"
#include "vp/src/SteppedRows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/SteppedRowsVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"
#include "vp/src/BytePairs-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

// A processor with less is served by the plain forms.
#if HWY_TARGET > HWY_SSSE3

SteppedForms steppedForms() {
    return plainSteppedForms();
}

#else

namespace {

using Bytes = hn::CappedTag<uint8_t, 32>;
using Factors = hn::RebindToSigned<Bytes>;
using Words = hn::RepartitionToWide<Factors>;
using Window = hn::FixedTag<uint8_t, 16>;

constexpr size_t kGroup = SteppedColumns::kGroup;

// Pairs by the parts of their weights. The sum of the parts is rounded as one: (256 * high + low + 0x4000) >> 15 is
// (high + (low >> 8) + 64) >> 7.
HWY_INLINE hn::Vec<Words> mixed(hn::Vec<Bytes> pairs, hn::Vec<Factors> negativeHigh, hn::Vec<Factors> low) {
    const auto sum = hn::Sub(hn::ShiftRight<8>(pairSums(pairs, low)), pairSums(pairs, negativeHigh));
    return hn::MulFixedPoint15(sum, hn::Set(Words(), int16_t{256}));
}

// A window's 16 bytes for each block of the vector, those of every `apart`th group.
template <int apart, class D>
HWY_INLINE hn::Vec<D> loadWindows(D d, const uint8_t* row, const int32_t* window) {
    if constexpr (hn::MaxLanes(D()) == 16)
        return hn::LoadU(d, row + window[0]);
    else
        return hn::Combine(d, hn::LoadU(Window(), row + window[apart]), hn::LoadU(Window(), row + window[0]));
}

// What lies at these places of the windows.
struct Narrow {
    template <int apart>
    static HWY_INLINE hn::Vec<Bytes> lookUp(const uint8_t* row, const int32_t* window, hn::Vec<Bytes> places) {
        return hn::TableLookupBytes(loadWindows<apart>(Bytes(), row, window), places);
    }
};

struct Wide {
    // The processor takes places from 128 on for zeros.
    template <int apart>
    static HWY_INLINE hn::Vec<Bytes> lookUp(const uint8_t* row, const int32_t* window, hn::Vec<Bytes> places) {
        const Bytes d;
        const auto lower = hn::Add(places, hn::Set(d, uint8_t{112})), upper = hn::Sub(places, hn::Set(d, uint8_t{16}));
        return hn::Or(hn::TableLookupBytesOr0(loadWindows<apart>(d, row, window), lower),
                      hn::TableLookupBytesOr0(loadWindows<apart>(d, row + 16, window), upper));
    }
};

// Returns how many bytes were written.
template <class Windows>
HWY_INLINE size_t takeGroups(const uint8_t* row, const SteppedColumns& columns, uint8_t* to) {
    const Bytes d;
    const hn::Repartition<uint64_t, Bytes> groups;
    const size_t lanes = hn::Lanes(d);
    const int32_t* window = columns.window.data();
    const uint8_t* const places = columns.lookup.data();
    const size_t end = columns.lookup.size();
    size_t i = 0;
    for (; i + lanes <= end; i += lanes, window += lanes / kGroup) {
        const auto at = hn::LoadU(d, places + i);
        const auto even = Windows::template lookUp<2>(row, window, at);
        const auto odd = Windows::template lookUp<2>(row, window + 1, at);
        const auto all = hn::OddEven(hn::BitCast(groups, odd), hn::BitCast(groups, even));
        hn::StoreU(hn::BitCast(d, all), d, to + i);
    }
    return i;
}

void nearestRow(const uint8_t* row, const SteppedColumns& columns, uint8_t* to) {
    const bool narrow = columns.windowBytes == 16;
    const size_t done = narrow ? takeGroups<Narrow>(row, columns, to) : takeGroups<Wide>(row, columns, to);
    takeNearest(row, columns, done, to);
}

template <class Windows>
HWY_INLINE size_t mixGroups(const uint8_t* row, const SteppedColumns& columns, uint8_t* to) {
    const Bytes d;
    const Factors factors;
    const size_t lanes = hn::Lanes(d);
    const uint8_t* const places = columns.lookup.data();
    const int8_t* const high = columns.negativeHigh.data();
    const int8_t* const low = columns.low.data();
    const int32_t* window = columns.window.data();
    const size_t windows = lanes / 16;
    const auto make = [=](const int32_t* at, size_t pair) HWY_ATTR {
        const auto pairs = Windows::template lookUp<1>(row, at, hn::LoadU(d, places + pair));
        return mixed(pairs, hn::LoadU(factors, high + pair), hn::LoadU(factors, low + pair));
    };
    const size_t end = columns.lookup.size() / 2;
    size_t i = 0;
    for (; i + lanes <= end; i += lanes, window += 2 * windows) {
        const auto first = make(window, 2 * i), second = make(window + windows, 2 * i + lanes);
        hn::StoreU(pack(first, second), d, to + i);
    }
    return i;
}

void weightedRow(const uint8_t* row, const SteppedColumns& columns, uint8_t* to) {
    const bool narrow = columns.windowBytes == 16;
    const size_t done = narrow ? mixGroups<Narrow>(row, columns, to) : mixGroups<Wide>(row, columns, to);
    takeWeighted(row, columns, done, to);
}

// Both of a pair's factors for each pair.
HWY_INLINE hn::Vec<Factors> everyPair(const int8_t (&factors)[2]) {
    const auto both = static_cast<uint16_t>((factors[0] & 0xFF) | (factors[1] & 0xFF) << 8);
    return hn::BitCast(Factors(), hn::Set(hn::RebindToUnsigned<Words>(), both));
}

void mix(const uint8_t* above, const uint8_t* below, int weight, size_t bytes, uint8_t* to) {
    const Bytes d;
    const size_t lanes = hn::Lanes(d);
    const SteppedFactors factors = steppedFactors(weight);
    const auto high = everyPair(factors.negativeHigh), low = everyPair(factors.low);
    size_t i = 0;
    for (; i + lanes <= bytes; i += lanes) {
        const auto a = hn::LoadU(d, above + i), b = hn::LoadU(d, below + i);
        const auto lower = mixed(hn::InterleaveLower(d, a, b), high, low);
        const auto upper = mixed(hn::InterleaveUpper(d, a, b), high, low);
        hn::StoreU(packBlocks(lower, upper), d, to + i);
    }
    plainSteppedForms().mix(above + i, below + i, weight, bytes - i, to + i);
}

}  // namespace

SteppedForms steppedForms() {
    return {nearestRow, weightedRow, mix};
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qorvp {

HWY_EXPORT(steppedForms);

SteppedForms vectorSteppedForms(uint32_t features) {
    const std::optional<size_t> form = vectorForm(features);
    return form ? HWY_DISPATCH_TABLE(steppedForms)[*form]() : plainSteppedForms();
}

}  // namespace qorvp

#endif
