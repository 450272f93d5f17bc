#pragma once

#include <cstdint>

namespace qorvp {

// The layouts that `VpImage::format` names. Bytes stand in the order of memory.
inline constexpr uint32_t kFormatRgb565 = 1;  // 2 bytes: red 5 bits highest, green 6, blue 5, low byte first
inline constexpr uint32_t kFormatBgra = 2;    // 4 bytes
inline constexpr uint32_t kFormatBgr = 5;     // 3 bytes
inline constexpr uint32_t kFormatRgba = 6;    // 4 bytes
inline constexpr uint32_t kFormatArgb = 7;    // 4 bytes
inline constexpr uint32_t kFormatAbgr = 8;    // 4 bytes
inline constexpr uint32_t kFormatI420 = 23;   // planes Y, U, V; U and V at half the width and height
inline constexpr uint32_t kFormatYv12 = 24;   // planes Y, V, U
inline constexpr uint32_t kFormatNv12 = 26;   // plane Y, plane of U and V in turn at half the width and height
inline constexpr uint32_t kFormatNv21 = 29;   // plane Y, plane of V and U in turn
inline constexpr uint32_t kFormatGrey = 31;   // 1 byte, a mask's value too

// Set beside the format's number when plane rows run from the lowest to the highest.
inline constexpr uint32_t kBottomUp = 0x80000000;

constexpr uint32_t formatOf(uint32_t format) {
    return format & ~kBottomUp;
}

}  // namespace qorvp
