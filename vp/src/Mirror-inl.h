// Included once for each instruction set.
#if defined(QORVP_MIRROR_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QORVP_MIRROR_INL_H
#undef QORVP_MIRROR_INL_H
#else
#define QORVP_MIRROR_INL_H
#endif

#include <array>

#include "hwy/highway.h"
#include "vp/src/Blocks-inl.h"
#include "vp/src/RowVectors-inl.h"
#include "vp/src/Turn.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

// Rows in the opposite order, from one place to another or in place, at least kLeastWidth wide. Samples of 1, 2 or 4
// bytes are mirrored a vector at a time.
template <int bytes>
class Mirror {
    static constexpr int kBytes = static_cast<int>(hn::MaxLanes(Blocks()));
    static constexpr int kLanes = kBytes / bytes;

  public:
    static constexpr int kLeastWidth = kLanes;

    // Several vectors at a time wait for memory together.
    static HWY_INLINE void copy(const uint8_t* from, uint8_t* to, int width) {
        const bool done = forEachVector(width, kLanes * 4, [=](int x) HWY_ATTR {
            const uint8_t* const end = from + (width - x) * bytes;
            const auto first = load(end - kBytes), second = load(end - kBytes * 2), third = load(end - kBytes * 3),
                       fourth = load(end - kBytes * 4);
            const Blocks d;
            uint8_t* const out = to + x * bytes;
            hn::StoreU(first, d, out);
            hn::StoreU(second, d, out + kBytes);
            hn::StoreU(third, d, out + kBytes * 2);
            hn::StoreU(fourth, d, out + kBytes * 3);
        });
        if (done) return;
        forEachVector(width, kLanes, [=](int x) HWY_ATTR {
            hn::StoreU(load(from + (width - kLanes - x) * bytes), Blocks(), to + x * bytes);
        });
    }

    // Both ends at a time. What may be left between them, less than a vector, is read before anything is written.
    static void inPlace(uint8_t* row, int width) {
        const Blocks d;
        const int middle = (width - kLanes) / 2;
        const auto rest = load(row + middle * bytes);
        int left = 0, right = width;
        for (; right - left >= kLanes; left += kLanes, right -= kLanes) {
            const auto first = load(row + left * bytes), last = load(row + (right - kLanes) * bytes);
            hn::StoreU(last, d, row + left * bytes);
            hn::StoreU(first, d, row + (right - kLanes) * bytes);
        }
        if (left < right) hn::StoreU(rest, d, row + (width - kLanes - middle) * bytes);
    }

  private:
    static constexpr std::array<uint8_t, 16> blockOrder() {
        std::array<uint8_t, 16> order{};
        for (size_t i = 0; i < 16; ++i) order[i] = static_cast<uint8_t>((15 - i) / bytes * bytes + i % bytes);
        return order;
    }

    static HWY_INLINE hn::Vec<Blocks> load(const uint8_t* samples) {
        alignas(16) static constexpr std::array<uint8_t, 16> kOrder = blockOrder();
        const Blocks d;
        return hn::ReverseBlocks(d, hn::TableLookupBytes(hn::LoadU(d, samples), hn::LoadDup128(d, kOrder.data())));
    }
};

// Samples of 3 bytes are mirrored by fives, blocks less a byte.
template <>
class Mirror<3> {
    alignas(16) static constexpr uint8_t kOfFirst[] = {12, 13, 14, 9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2, 15};
    alignas(16) static constexpr uint8_t kOfLast[] = {13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, 0};

  public:
    static constexpr int kLeastWidth = 6;

    static HWY_INLINE void copy(const uint8_t* from, uint8_t* to, int width) {
        for (int x = 0; x + 6 <= width; x += 5) hn::StoreU(lastFive(from + (width - x) * 3), Block(), to + x * 3);
        storeFirst<15>(firstFive(from), to + (width - 5) * 3);
    }

    static void inPlace(uint8_t* row, int width) {
        uint8_t *left = row, *right = row + width * 3;
        for (; right - left >= 15; left += 15, right -= 15) {
            const auto first = firstFive(left), last = lastFive(right);
            storeFirst<15>(last, left);
            storeFirst<15>(first, right - 15);
        }
        if (left < right) mirrorRow(left, static_cast<int>(right - left) / 3, 3);
    }

  private:
    // Of the block that begins, or ends, there: five samples in the opposite order, and the byte over.
    static HWY_INLINE hn::Vec<Block> firstFive(const uint8_t* begin) {
        return hn::TableLookupBytes(hn::LoadU(Block(), begin), hn::Load(Block(), kOfFirst));
    }
    static HWY_INLINE hn::Vec<Block> lastFive(const uint8_t* end) {
        return hn::TableLookupBytes(hn::LoadU(Block(), end - 16), hn::Load(Block(), kOfLast));
    }
};

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#endif
