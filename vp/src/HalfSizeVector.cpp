#include "vp/src/Features.h"
#include "vp/src/HalfSize.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/HalfSizeVector.cpp"
#include "hwy/cache_control.h"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"
#include "vp/src/BytePairs-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

// A processor with less is served by the plain forms.
#if HWY_TARGET > HWY_SSSE3

HalfSizeKernels vectorHalfSize() {
    return plainHalfSize();
}

#else

namespace {

// Samples of one channel that lie beside each other come to lie so in memory too.
struct Luma {
    template <class D>
    static HWY_INLINE hn::Vec<D> load(D d, const uint8_t* row) {
        return hn::LoadU(d, row);
    }
    static HalfRow plain() { return plainHalfSize().of(HalfSizeForm::kAny).luma; }
};

struct Pairs {
    template <class D>
    static HWY_INLINE hn::Vec<D> load(D d, const uint8_t* row) {
        alignas(32) static constexpr uint8_t kOrder[32] = {0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15,
                                                           0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15};
        return hn::TableLookupBytes(hn::LoadU(d, row), hn::Load(d, kOrder));
    }
    static HalfRow plain() { return plainHalfSize().of(HalfSizeForm::kAny).pairs; }
};

// Of each two neighbours and the two below them.
template <class Samples, class D>
HWY_INLINE hn::Vec<hn::RepartitionToWide<hn::RebindToSigned<D> > > means(D d, const uint8_t* above,
                                                                         const uint8_t* below) {
    const hn::RebindToSigned<D> factors;
    const hn::RepartitionToWide<decltype(factors)> words;
    const auto one = hn::Set(factors, int8_t{1});
    const auto sums = hn::Add(pairSums(Samples::load(d, above), one), pairSums(Samples::load(d, below), one));
    const auto quarter = hn::Set(words, int16_t{1 << 13});
    return hn::MulFixedPoint15(sums, quarter);
}

// Vectors of the source, as long as whole ones fit. Returns how many bytes were written.
template <class Samples, class D>
HWY_INLINE size_t halveVectors(D d, const uint8_t* above, const uint8_t* below, uint8_t* to, size_t bytes) {
    const hn::Half<D> half;
    const size_t lanes = hn::Lanes(half);
    size_t i = 0;
    for (; i + lanes <= bytes; i += lanes)
        hn::StoreU(hn::DemoteTo(half, means<Samples>(d, above + 2 * i, below + 2 * i)), half, to + i);
    return i;
}

// As above, two vectors at once where there are so many.
template <class Samples>
HWY_INLINE size_t halveLongVectors(const uint8_t* above, const uint8_t* below, uint8_t* to, size_t bytes) {
    const hn::CappedTag<uint8_t, 32> d;
    const size_t lanes = hn::Lanes(d);
    const size_t ahead = 4 * bytes;  // the next two rows, where these lie close to each other
    size_t i = 0;
    for (; i + lanes <= bytes; i += lanes) {
        hwy::Prefetch(above + 2 * i + ahead);
        hwy::Prefetch(below + 2 * i + ahead);
        const auto first = means<Samples>(d, above + 2 * i, below + 2 * i);
        const auto second = means<Samples>(d, above + 2 * i + lanes, below + 2 * i + lanes);
        hn::StoreU(pack(first, second), d, to + i);
    }
    return i + halveVectors<Samples>(d, above + 2 * i, below + 2 * i, to + i, bytes - i);
}

template <class Samples, size_t kBytes>
void halveWhole(const uint8_t* above, const uint8_t* below, uint8_t* to, size_t bytes) {
    if constexpr (kBytes == 32)
        halveLongVectors<Samples>(above, below, to, bytes);
    else
        halveVectors<Samples>(hn::FixedTag<uint8_t, kBytes>(), above, below, to, bytes);
}

template <class Samples>
void halveAny(const uint8_t* above, const uint8_t* below, uint8_t* to, size_t bytes) {
    const size_t done = halveLongVectors<Samples>(above, below, to, bytes);
    Samples::plain()(above + 2 * done, below + 2 * done, to + done, bytes - done);
}

template <size_t kBytes>
HalfSizeKernel wholeKernel() {
    return {halveWhole<Luma, kBytes>, halveWhole<Pairs, kBytes>};
}

}  // namespace

HalfSizeKernels vectorHalfSize() {
    return {{wholeKernel<32>(), wholeKernel<16>(), wholeKernel<8>(), {halveAny<Luma>, halveAny<Pairs>}}};
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qorvp {

HWY_EXPORT(vectorHalfSize);

HalfSizeKernels halfSizeKernels(uint32_t features) {
    const std::optional<size_t> form = vectorForm(features);
    return form ? HWY_DISPATCH_TABLE(vectorHalfSize)[*form]() : plainHalfSize();
}

}  // namespace qorvp

#endif
