// Included once for each instruction set.
#if defined(QORVP_TRANSPOSITION_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QORVP_TRANSPOSITION_INL_H
#undef QORVP_TRANSPOSITION_INL_H
#else
#define QORVP_TRANSPOSITION_INL_H
#endif

#include <algorithm>
#include <utility>

#include "hwy/highway.h"
#include "vp/src/Blocks-inl.h"
#include "vp/src/Planes.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

// Samples of 1, 2 or 4 bytes are lanes as they are.
template <class Lane>
struct WholeSamples {
    using D = hn::Repartition<Lane, Blocks>;
    static constexpr int kLeastWidth = 16 / sizeof(Lane);

    static HWY_INLINE int backward(int) { return 0; }
    static HWY_INLINE hn::Vec<Blocks> spread(hn::Vec<Blocks> samples, int) { return samples; }
    static HWY_INLINE void store(hn::Vec<Blocks> samples, uint8_t* to, int) { hn::StoreU(samples, Blocks(), to); }
};

// Samples of 3 bytes, four to a block, become lanes of 4.
struct Triples {
    using D = hn::Repartition<uint32_t, Blocks>;
    static constexpr int kLeastWidth = 6;

    // By how many bytes a block is to begin before its samples so that it does not go beyond the row, which has `room`
    // bytes from them on.
    static HWY_INLINE int backward(int room) { return room < 16 ? 4 : 0; }
    static HWY_INLINE hn::Vec<Blocks> spread(hn::Vec<Blocks> samples, int backward) {
        alignas(16) static constexpr uint8_t kSpread[] = {0, 1, 2, 2, 3, 4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11};
        const Blocks d;
        const auto order = hn::Add(hn::LoadDup128(d, kSpread), hn::Set(d, static_cast<uint8_t>(backward)));
        return hn::TableLookupBytes(samples, order);
    }
    // Where there is room this also writes to the 4 bytes behind, so what belongs there is to be stored later.
    static HWY_INLINE void store(hn::Vec<Blocks> samples, uint8_t* to, int room) {
        alignas(16) static constexpr uint8_t kPack[] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 15, 15, 15, 15};
        storePacked(Blocks(), hn::TableLookupBytes(samples, hn::LoadDup128(Blocks(), kPack)), to, room);
    }

  private:
    template <class AnyBlocks>
    static HWY_INLINE void storePacked(AnyBlocks, hn::Vec<AnyBlocks> packed, uint8_t* to, int room) {
        const Block d;
        if constexpr (hn::MaxLanes(AnyBlocks()) > 16) {
            hn::StoreU(hn::LowerHalf(d, packed), d, to);
            storePacked(d, hn::UpperHalf(d, packed), to + 12, room - 12);
        } else if (room < 16) {
            storeFirst<12>(packed, to);
        } else {
            hn::StoreU(packed, d, to);
        }
    }
};

template <int bytes>
struct SamplesOf;
template <>
struct SamplesOf<1> : WholeSamples<uint8_t> {};
template <>
struct SamplesOf<2> : WholeSamples<uint16_t> {};
template <>
struct SamplesOf<3> : Triples {};
template <>
struct SamplesOf<4> : WholeSamples<uint32_t> {};

// The lanes of the first half of the rows alternate with those of the second half.
template <class D, size_t n, size_t... i>
HWY_INLINE void interleaveHalves(D d, hn::Vec<D> (&rows)[n], std::index_sequence<i...>) {
    const hn::Vec<D> mixed[] = {(i % 2 == 0 ? hn::InterleaveLower(d, rows[i / 2], rows[(i + n) / 2])
                                            : hn::InterleaveUpper(d, rows[i / 2], rows[(i + n) / 2]))...};
    ((rows[i] = mixed[i]), ...);
}

// Rows of n lanes in each block become columns, by as many steps as n has bits.
template <size_t steps, class D, size_t n>
HWY_INLINE void transposeBlocks(D d, hn::Vec<D> (&rows)[n]) {
    if constexpr (steps > 1) {
        interleaveHalves(d, rows, std::make_index_sequence<n>());
        transposeBlocks<steps / 2>(d, rows);
    }
}

// Runs `body(i)` for the steps from `begin` to before `end`; the last one of all, which ends at `limit`, overlaps its
// neighbour.
template <class Body>
HWY_INLINE void forEachStep(int begin, int end, int step, int limit, Body body) {
    for (int i = begin; i < std::min(end, limit); i += step) body(std::min(i, limit - step));
}

// A sample in a plane.
struct Place {
    uint8_t* data;
    ptrdiff_t stride;
    int room;  // bytes from the sample to the end of the row
};

HWY_INLINE Place placeIn(const Plane& plane, int x, int y, int width) {
    return {plane.row(y) + x * plane.bytes, plane.stride, (width - x) * plane.bytes};
}

// Column x of one plane becomes row x of another.
template <int bytes>
class Transposition {
  public:
    // Whether the plane is large enough for `run`.
    static bool fits(const Plane& from) { return from.width >= Samples::kLeastWidth && from.height >= kRows; }

    // Tile by tile, so that cache lines and pages of memory are done with while they are at hand.
    static void run(const Plane& from, const Plane& to) {
        for (int top = 0; top < from.height; top += kTile) {
            for (int left = 0; left < from.width; left += kTile) tile(from, to, left, top);
        }
    }

  private:
    using Samples = SamplesOf<bytes>;
    using D = typename Samples::D;
    using Columns = std::make_index_sequence<16 / sizeof(hn::TFromD<D>)>;

    static constexpr int kColumns = static_cast<int>(Columns::size());
    static constexpr int kRows = static_cast<int>(hn::MaxLanes(D()));
    static constexpr int kTile = 128;

    static void tile(const Plane& from, const Plane& to, int left, int top) {
        const int width = from.width, height = from.height;
        forEachStep(top, top + kTile, kRows, height, [&](int y) HWY_ATTR {
            forEachStep(left, left + kTile, kColumns, width, [&](int x) HWY_ATTR {
                blocks(placeIn(from, x, y, width), placeIn(to, y, x, height), Columns());
            });
        });
    }

    // A block and, in wider vectors, the one below it.
    template <size_t... i>
    static HWY_INLINE void blocks(const Place& from, const Place& to, std::index_sequence<i...>) {
        hn::Vec<D> rows[] = {load(from, static_cast<int>(i))...};
        transposeBlocks<kColumns>(D(), rows);
        (Samples::store(hn::BitCast(Blocks(), rows[i]), to.data + static_cast<int>(i) * to.stride, to.room), ...);
    }

    static HWY_INLINE hn::Vec<D> load(const Place& from, int row) {
        const int backward = Samples::backward(from.room);
        const uint8_t* const first = from.data + row * from.stride - backward;
        return hn::BitCast(D(), Samples::spread(loadBlocks(Blocks(), first, kColumns * from.stride), backward));
    }
};

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#endif
