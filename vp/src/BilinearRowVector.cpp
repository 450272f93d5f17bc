#include "vp/src/BilinearRow.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/BilinearRowVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"
#include "vp/src/BytePairs-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

// A processor without vectors is served by the plain forms.
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

BilinearKernels vectorBilinear() {
    return plainBilinear();
}

#else

using Bytes = hn::CappedTag<uint8_t, 32>;

HWY_INLINE hn::Vec<Bytes> factorsOf(int f) {
    const hn::RepartitionToWide<Bytes> words;
    return hn::BitCast(Bytes(), hn::Set(words, static_cast<uint16_t>(f << 8 | (256 - f))));
}

void blendRows(const uint8_t* upper, const uint8_t* lower, int f, uint8_t* to, size_t count) {
    const Bytes d;
    const size_t lanes = hn::Lanes(d);
    if (count < lanes) {
        plainBilinear().blendRows(upper, lower, f, to, count);
        return;
    }
    const auto factors = factorsOf(f);
    const auto at = [=](size_t i) HWY_ATTR {
        hn::StoreU(weightedMean(d, hn::LoadU(d, upper + i), hn::LoadU(d, lower + i), factors, factors), d, to + i);
    };
    for (size_t i = 0; i + lanes <= count; i += lanes) at(i);
    if (count % lanes != 0) at(count - lanes);
}

#if HWY_TARGET <= HWY_AVX2

using Window = hn::FixedTag<uint8_t, 16>;
using Factors = hn::FixedTag<int8_t, 32>;
using Words = hn::FixedTag<int16_t, 16>;

// A quad in registers, for more than one row.
struct Tables {
    HWY_INLINE explicit Tables(const BilinearGroups::Quad& quad)
        : evenLookup(hn::Load(Bytes(), quad.lookup[0])),
          oddLookup(hn::Load(Bytes(), quad.lookup[2])),
          evenWeights(hn::Load(Factors(), quad.weights[0])),
          oddWeights(hn::Load(Factors(), quad.weights[2])) {
        for (int part = 0; part < 4; ++part) base[part] = quad.base[part];
    }

    hn::Vec<Bytes> evenLookup;
    hn::Vec<Bytes> oddLookup;
    hn::Vec<Factors> evenWeights;
    hn::Vec<Factors> oddWeights;
    ptrdiff_t base[4];
};

HWY_INLINE hn::Vec256<int16_t> twoParts(const uint8_t* first, const uint8_t* second, hn::Vec<Bytes> lookup,
                                        hn::Vec<Factors> weights) {
    const Window window;
    const auto from = hn::Combine(Bytes(), hn::LoadU(window, second), hn::LoadU(window, first));
    const auto sums = pairSums(hn::TableLookupBytes(from, lookup), weights);
    return hn::MulFixedPoint15(sums, hn::Set(Words(), int16_t{256}));  // (sum + 64) >> 7
}

HWY_INLINE hn::Vec<Bytes> fourParts(const Tables& tables, const uint8_t* from) {
    const ptrdiff_t* const base = tables.base;
    return packBlocks(twoParts(from + base[0], from + base[2], tables.evenLookup, tables.evenWeights),
                      twoParts(from + base[1], from + base[3], tables.oddLookup, tables.oddWeights));
}

HWY_INLINE void storeTwo(hn::Vec128<uint8_t> parts, uint8_t* first, uint8_t* second) {
    const hn::FixedTag<uint8_t, 8> half;
    hn::StoreU(hn::LowerHalf(half, parts), half, first);
    hn::StoreU(hn::UpperHalf(half, parts), half, second);
}

void groups(const BilinearGroups& groups, const uint8_t* from, uint8_t* to) {
    const Bytes d;
    if (groups.whole) {
        for (const BilinearGroups::Quad& quad : groups.quads) {
            hn::StoreU(fourParts(Tables(quad), from), d, to);
            to += hn::Lanes(d);
        }
        return;
    }
    const Window window;
    for (const BilinearGroups::Quad& quad : groups.quads) {
        const auto parts = fourParts(Tables(quad), from);
        storeTwo(hn::LowerHalf(window, parts), to + quad.to[0], to + quad.to[1]);
        storeTwo(hn::UpperHalf(window, parts), to + quad.to[2], to + quad.to[3]);
    }
}

template <bool both>
HWY_INLINE size_t blendQuads(const BilinearGroups& groups, const RowPair rows, int f, uint8_t* to) {
    const Bytes d;
    const auto factors = factorsOf(f);
    size_t i = 0;
    for (const BilinearGroups::Quad& quad : groups.quads) {
        const Tables tables(quad);
        const auto lower = fourParts(tables, rows.fromLower);
        const auto upper = both ? fourParts(tables, rows.fromUpper) : hn::LoadU(d, rows.upper + i);
        if (both) hn::StoreU(upper, d, rows.upper + i);
        hn::StoreU(lower, d, rows.lower + i);
        if (i + hn::Lanes(d) > groups.bytes) break;
        hn::StoreU(weightedMean(d, upper, lower, factors, factors), d, to + i);
        i += hn::Lanes(d);
    }
    return i;
}

size_t blendGroups(const BilinearGroups& groups, const RowPair& rows, int f, uint8_t* to) {
    return rows.fromUpper ? blendQuads<true>(groups, rows, f, to) : blendQuads<false>(groups, rows, f, to);
}

BilinearKernels vectorBilinear() {
    return {groups, blendGroups, blendRows};
}

#else

BilinearKernels vectorBilinear() {
    return {nullptr, nullptr, blendRows};
}

#endif

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
    const BilinearKernels kernels = form ? HWY_DISPATCH_TABLE(vectorBilinear)[*form]() : plainBilinear();
    if ((features & kAvx2) == 0) return {nullptr, nullptr, kernels.blendRows};
    return kernels;
}

}  // namespace qorvp

#endif  // HWY_ONCE
