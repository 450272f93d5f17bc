#pragma once

#include <optional>
#include <vector>

#include "vp/src/Planes.h"

// Scaling by steps of fixed point: where the samples of the destination lie in the source, and the kernels that make
// rows of them.
namespace qorvp {

inline constexpr int kWeightBits = 15;
inline constexpr int kWholeWeight = 0x7FFF;  // of both samples of a pair together

// A sample, and how much of the one behind it is mixed in: 0..kWholeWeight.
struct SteppedPosition {
    int index;
    int weight;
};

// The places of `to` samples among `from`, in fixed point with so many bits behind the point. The step from one to the
// next is the float from / to in that fixed point, truncated. The middle of the first sample lies where half a step
// says, as if samples were areas; what would lie before the first sample or behind the last is there.
class SteppedPositions {
  public:
    SteppedPositions(int from, int to, int bits);

    int64_t step() const { return m_step; }
    // The sample that a place of kWeightBits lies on or behind. The last one's weight is 0.
    SteppedPosition weighted(int i) const;
    // The sample in whose area the place lies.
    int nearest(int i) const;

  private:
    const int m_bits;
    const int m_last;
    const int64_t m_step;
};

// A pair's weights in two parts each, so that bytes times one part of both add up to 16 bits: 256 * high + low is the
// weight, low in -128..127, high in 0..128.
struct SteppedFactors {
    int8_t negativeHigh[2];  // of the first and the second of the pair
    int8_t low[2];
};
SteppedFactors steppedFactors(int weight);

// What makes a row of the destination from one of the source, the same for each row of a plane. A sample is taken byte
// by byte.
struct SteppedColumns {
    static constexpr size_t kGroup = 8;  // bytes of the destination that are made together

    // Of the nearest samples.
    static SteppedColumns nearest(const Plane& from, const Plane& to, int bits);
    // Of pairs with their weights.
    static SteppedColumns weighted(const Plane& from, const Plane& to, int bits);

    size_t size() const { return at.size(); }

    int next = 0;                 // bytes from a sample to the one behind it; 0 if it is not looked at or there is none
    std::vector<int32_t> at;      // for each byte of the destination, the first of its pair in the source's row
    std::vector<int16_t> weight;  // for each byte, or empty; of the second of its pair

    // For each whole group, the beginning of a window of the row that has all its bytes. Empty when some group does not
    // come from one of 32 bytes; then there is nothing of the rest either.
    std::vector<int32_t> window;
    int windowBytes = 0;               // 16 or 32, as few as do
    std::vector<uint8_t> lookup;       // for each byte of a group, its place in the window, or those of its pair
    std::vector<int8_t> negativeHigh;  // for each byte of a pair
    std::vector<int8_t> low;

  private:
    void findWindows(const Plane& from);
    bool findWindows(int rowBytes, int bytes);
    void findPlaces();
    void findPairs();
};

// A row of as many bytes as the columns have. No byte of it is one of the source's.
using SteppedRow = void (*)(const uint8_t* row, const SteppedColumns& columns, uint8_t* to);

// A row of `bytes` bytes between two, by the weight of the one below: (a * (kWholeWeight - weight) + b * weight +
// 0x4000) >> 15. So are pairs of a row mixed.
using SteppedMix = void (*)(const uint8_t* above, const uint8_t* below, int weight, size_t bytes, uint8_t* to);

struct SteppedForms {
    SteppedRow nearestRow;
    SteppedRow weightedRow;
    SteppedMix mix;
};
SteppedForms plainSteppedForms();
SteppedForms vectorSteppedForms(uint32_t features);

// The plain forms for the bytes from `begin` on.
void takeNearest(const uint8_t* row, const SteppedColumns& columns, size_t begin, uint8_t* to);
void takeWeighted(const uint8_t* row, const SteppedColumns& columns, size_t begin, uint8_t* to);

// The kernels of one mode.
struct SteppedKernels {
    int columnBits;  // behind the point of a column's place; a row's has kWeightBits
    SteppedRow row;
    SteppedMix mix;  // null where the nearest row is taken
};

// The kernels for a mode of Parameters.h; nothing for another. The word's bit kSsse3 picks vector forms for what mixes
// rows, kSse4 for what makes them. All give the same bytes.
std::optional<SteppedKernels> steppedKernels(uint8_t mode, uint32_t features);

}  // namespace qorvp
