// Included once for each instruction set.
#if defined(QORVP_ROW_VECTORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QORVP_ROW_VECTORS_INL_H
#undef QORVP_ROW_VECTORS_INL_H
#else
#define QORVP_ROW_VECTORS_INL_H
#endif

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Runs `body(i)` so that every index of [0, count) lies in a full vector of `lanes`; the last one overlaps its
// neighbour. False, and nothing done, when count is smaller than a vector.
template <class Body>
HWY_INLINE bool forEachVector(int count, size_t lanes, Body body) {
    const auto all = static_cast<size_t>(count);
    if (all < lanes) return false;
    size_t i = 0;
    for (; i + lanes <= all; i += lanes) body(i);
    if (i < all) body(all - lanes);
    return true;
}

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#endif
