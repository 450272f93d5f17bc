// Included once for each instruction set.
#if defined(QORVP_BLOCKS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QORVP_BLOCKS_INL_H
#undef QORVP_BLOCKS_INL_H
#else
#define QORVP_BLOCKS_INL_H
#endif

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

// Blocks of 16 bytes, and vectors of one or two of them: what is done to a block is done to each.
using Block = hn::FixedTag<uint8_t, 16>;
using Blocks = hn::CappedTag<uint8_t, 32>;

// The block at `first` and, in a wider vector, the one that lies `distance` bytes further.
template <class D>
HWY_INLINE hn::Vec<D> loadBlocks(D d, const uint8_t* first, ptrdiff_t distance) {
    if constexpr (hn::MaxLanes(D()) > 16)
        return hn::Combine(d, hn::LoadU(Block(), first + distance), hn::LoadU(Block(), first));
    else
        return hn::LoadU(d, first);
}

// Stores the first `count` bytes, at least half a block, and touches no more.
template <size_t count>
HWY_INLINE void storeFirst(hn::Vec<Block> block, uint8_t* to) {
    const hn::Half<Block> half;
    hn::StoreU(hn::LowerHalf(half, block), half, to);
    hn::StoreU(hn::LowerHalf(half, hn::ShiftRightBytes<count - 8>(Block(), block)), half, to + count - 8);
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#endif
