#include "vp/src/ChromaMoves.h"
#include "vp/src/Features.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/ChromaMovesVector.cpp"
#include "hwy/cache_control.h"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"
#include "vp/src/RowVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

ChromaKernels vectorChroma() {
    return kPlainChromaKernels;
}

#else

using Bytes = hn::CappedTag<uint8_t, 32>;

// How far before its use a sample is asked for: the processor itself does not look beyond the page.
constexpr size_t kAhead = 512;

void interleave(const uint8_t* first, const uint8_t* second, uint8_t* pairs, int count) {
    const Bytes d;
    const bool done = forEachVector(count, hn::Lanes(d), [=](size_t i) HWY_ATTR {
        hwy::Prefetch(first + i + kAhead);
        hwy::Prefetch(second + i + kAhead);
        hn::StoreInterleaved2(hn::LoadU(d, first + i), hn::LoadU(d, second + i), d, pairs + i * 2);
    });
    if (!done) interleaveRow(first, second, pairs, count);
}

void separate(const uint8_t* pairs, uint8_t* first, uint8_t* second, int count) {
    const Bytes d;
    const bool done = forEachVector(count, hn::Lanes(d), [=](size_t i) HWY_ATTR {
        hwy::Prefetch(pairs + i * 2 + 2 * kAhead);
        hn::Vec<Bytes> a, b;
        hn::LoadInterleaved2(d, pairs + i * 2, a, b);
        hn::StoreU(a, d, first + i);
        hn::StoreU(b, d, second + i);
    });
    if (!done) separateRow(pairs, first, second, count);
}

void exchange(const uint8_t* from, uint8_t* to, int count) {
    const Bytes d;
    alignas(16) static constexpr uint8_t kExchanged[16] = {1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14};
    const auto exchanged = hn::LoadDup128(d, kExchanged);
    const size_t lanes = hn::Lanes(d);
    const bool done = forEachVector(count, hn::Lanes(d), [=](size_t i) HWY_ATTR {
        hwy::Prefetch(from + i * 2 + 2 * kAhead);
        const auto first = hn::LoadU(d, from + i * 2), second = hn::LoadU(d, from + i * 2 + lanes);
        hn::StoreU(hn::TableLookupBytes(first, exchanged), d, to + i * 2);
        hn::StoreU(hn::TableLookupBytes(second, exchanged), d, to + i * 2 + lanes);
    });
    if (!done) exchangeRow(from, to, count);
}

ChromaKernels vectorChroma() {
    return {interleave, separate, exchange};
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qorvp {

HWY_EXPORT(vectorChroma);

ChromaKernels chromaKernels(uint32_t features) {
    const auto form = vectorForm(features);
    return form ? HWY_DISPATCH_TABLE(vectorChroma)[*form]() : kPlainChromaKernels;
}

}  // namespace qorvp

#endif  // HWY_ONCE
