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
    const int step = static_cast<int>(lanes);
    if (count < step) return false;
    for (int i = 0; i < count; i += step) body(HWY_MIN(i, count - step));  // called once, so that it is inlined
    return true;
}

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#endif
