#pragma once

#include <array>
#include <cstdint>

namespace qorvp {

// The terms of a pixel's red, green and blue, in units of 1/64, for each value of a sample.
using YuvTable = std::array<int32_t, 256>;

constexpr YuvTable yuvTable(int32_t factor, int32_t zero) {
    YuvTable table{};
    for (int32_t value = 0; value < 256; ++value) table[static_cast<size_t>(value)] = factor * (value - zero);
    return table;
}

inline constexpr int32_t kLumaFactor = 74;  // a little below the usual 74.5, so that white is 253
inline constexpr int32_t kBlueFactor = 129;
inline constexpr int32_t kGreenFactorOfU = 25;
inline constexpr int32_t kGreenFactorOfV = 52;
inline constexpr int32_t kRedFactor = 102;
inline constexpr int32_t kLumaZero = 16;
inline constexpr int32_t kChromaZero = 128;

inline constexpr YuvTable kLuma = yuvTable(kLumaFactor, kLumaZero);
inline constexpr YuvTable kBlueFromU = yuvTable(kBlueFactor, kChromaZero);
inline constexpr YuvTable kGreenFromU = yuvTable(kGreenFactorOfU, kChromaZero);
inline constexpr YuvTable kGreenFromV = yuvTable(kGreenFactorOfV, kChromaZero);
inline constexpr YuvTable kRedFromV = yuvTable(kRedFactor, kChromaZero);

}  // namespace qorvp
