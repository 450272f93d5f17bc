#include "vp/src/Features.h"
#include "vp/src/SteppedRows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/SteppedRowsVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

// A processor without vectors is served by the plain forms.
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

SteppedForms vectorForms() {
    return plainSteppedForms();
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using Words = hn::CappedTag<int16_t, 16>;
using Windows = hn::Repartition<uint8_t, Words>;
using Bytes = hn::Rebind<uint8_t, Words>;
using Window = hn::FixedTag<uint8_t, SteppedColumns::kWindow>;

static_assert(SteppedColumns::kGroup * sizeof(int16_t) == SteppedColumns::kWindow);

// a + (((b - a) * weight + 0x4000 - a) >> 15). The product's high half is rounded without the last term, which takes
// one off when it is larger than what the rounding left.
HWY_INLINE hn::Vec<Words> mixed(hn::Vec<Words> a, hn::Vec<Words> b, hn::Vec<Words> weight) {
    const Words d;
    const auto difference = hn::Sub(b, a);
    const auto rounded = hn::MulFixedPoint15(difference, weight);
    const auto left =
        hn::And(hn::Add(hn::Mul(difference, weight), hn::Set(d, int16_t{0x4000})), hn::Set(d, int16_t{kWholeWeight}));
    const auto minusOne = hn::VecFromMask(d, hn::Lt(left, a));
    return hn::Add(hn::Add(a, rounded), minusOne);
}

// A window for each block of the vector.
template <class D>
HWY_INLINE hn::Vec<D> loadWindows(D d, const uint8_t* row, const int32_t* window) {
    if constexpr (hn::MaxLanes(D()) == SteppedColumns::kWindow)
        return hn::LoadU(d, row + window[0]);
    else
        return hn::Combine(d, hn::LoadU(Window(), row + window[1]), hn::LoadU(Window(), row + window[0]));
}

HWY_INLINE hn::Vec<Words> lookUp(const uint8_t* row, const int32_t* window, hn::Vec<Windows> lookup) {
    return hn::BitCast(Words(), hn::TableLookupBytesOr0(loadWindows(Windows(), row, window), lookup));
}

// The bytes that have whole vectors of windows, made by `make(window, lookup, i)`. Returns how many there are.
template <class Make>
HWY_INLINE size_t makeGroups(const SteppedColumns& columns, uint8_t* to, Make make) {
    const Words d;
    const size_t lanes = hn::Lanes(d);
    const size_t end = columns.window.size() * SteppedColumns::kGroup;
    size_t i = 0;
    for (; i + lanes <= end; i += lanes) {
        const auto lookup = hn::BitCast(Windows(), hn::LoadU(hn::RebindToUnsigned<Words>(), &columns.lookup[i]));
        const auto words = make(&columns.window[i / SteppedColumns::kGroup], lookup, i);
        hn::StoreU(hn::DemoteTo(Bytes(), words), Bytes(), to + i);
    }
    return i;
}

void nearestRow(const uint8_t* row, const SteppedColumns& columns, uint8_t* to) {
    const size_t done = makeGroups(columns, to, [=](const int32_t* window, hn::Vec<Windows> lookup, size_t) HWY_ATTR {
        return lookUp(row, window, lookup);
    });
    takeNearest(row, columns, done, to);
}

void weightedRow(const uint8_t* row, const SteppedColumns& columns, uint8_t* to) {
    const uint8_t* const behind = row + columns.next;
    const int16_t* const weights = columns.weight.data();
    const size_t done = makeGroups(columns, to, [=](const int32_t* window, hn::Vec<Windows> lookup, size_t i) HWY_ATTR {
        return mixed(lookUp(row, window, lookup), lookUp(behind, window, lookup), hn::LoadU(Words(), weights + i));
    });
    takeWeighted(row, columns, done, to);
}

void mix(const uint8_t* above, const uint8_t* below, int weight, size_t bytes, uint8_t* to) {
    const Words d;
    const size_t lanes = hn::Lanes(d);
    const auto weights = hn::Set(d, static_cast<int16_t>(weight));
    size_t i = 0;
    for (; i + lanes <= bytes; i += lanes) {
        const auto a = hn::PromoteTo(d, hn::LoadU(Bytes(), above + i));
        const auto b = hn::PromoteTo(d, hn::LoadU(Bytes(), below + i));
        hn::StoreU(hn::DemoteTo(Bytes(), mixed(a, b, weights)), Bytes(), to + i);
    }
    plainSteppedForms().mix(above + i, below + i, weight, bytes - i, to + i);
}

SteppedForms vectorForms() {
    return {nearestRow, weightedRow, mix};
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qorvp {

HWY_EXPORT(vectorForms);

SteppedForms vectorSteppedForms(uint32_t features) {
    const std::optional<size_t> form = vectorForm(features);
    return form ? HWY_DISPATCH_TABLE(vectorForms)[*form]() : plainSteppedForms();
}

}  // namespace qorvp

#endif
