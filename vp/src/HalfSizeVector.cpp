#include "vp/src/Features.h"
#include "vp/src/HalfSize.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/HalfSizeVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

// A processor without vectors is served by the plain forms.
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

HalfSizeKernels vectorHalfSize() {
    return plainHalfSize();
}

#else

namespace hn = hwy::HWY_NAMESPACE;

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

// The sums of neighbours, as words.
template <class D>
HWY_INLINE hn::Vec<hn::RepartitionToWide<D> > neighbourSums(D, hn::Vec<D> bytes) {
    const hn::RepartitionToWide<D> words;
    const auto both = hn::BitCast(words, bytes);
    return hn::Add(hn::And(both, hn::Set(words, uint16_t{0xFF})), hn::ShiftRight<8>(both));
}

// Whole vectors of the source, as long as they fit. Returns how many bytes were written.
template <class Samples, class D>
HWY_INLINE size_t halveVectors(D d, const uint8_t* above, const uint8_t* below, uint8_t* to, size_t bytes) {
    const hn::RepartitionToWide<D> words;
    const hn::RebindToSigned<decltype(words)> ints;
    const hn::Rebind<uint8_t, decltype(words)> half;
    const auto two = hn::Set(words, uint16_t{2});
    const size_t lanes = hn::Lanes(half);
    size_t i = 0;
    for (; i + lanes <= bytes; i += lanes) {
        const auto upper = neighbourSums(d, Samples::load(d, above + 2 * i));
        const auto lower = neighbourSums(d, Samples::load(d, below + 2 * i));
        const auto means = hn::ShiftRight<2>(hn::Add(hn::Add(upper, lower), two));
        hn::StoreU(hn::DemoteTo(half, hn::BitCast(ints, means)), half, to + i);
    }
    return i;
}

template <class Samples, size_t kBytes>
void halveWhole(const uint8_t* above, const uint8_t* below, uint8_t* to, size_t bytes) {
    halveVectors<Samples>(hn::CappedTag<uint8_t, kBytes>(), above, below, to, bytes);
}

template <class Samples>
void halveAny(const uint8_t* above, const uint8_t* below, uint8_t* to, size_t bytes) {
    const size_t done = halveVectors<Samples>(hn::CappedTag<uint8_t, 32>(), above, below, to, bytes);
    Samples::plain()(above + 2 * done, below + 2 * done, to + done, bytes - done);
}

template <size_t kBytes>
HalfSizeKernel wholeKernel() {
    return {halveWhole<Luma, kBytes>, halveWhole<Pairs, kBytes>};
}

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
