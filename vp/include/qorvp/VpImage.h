#pragma once

#include <cstddef>
#include <cstdint>

namespace qorvp {

inline constexpr int32_t kLargestSide = 40960;  // pixels, of a width or a height

// An image in memory of the caller's: where its planes lie, how large it is, which region of it is meant. Nothing in it
// is owned, and no call keeps any of it but the blend's SetParam, which keeps its mask.
struct VpImage {
    uint8_t* planes[3];  // plane 0, 1, 2; null for a plane that the format does not have
    uint32_t reserved;
    int32_t stride0;  // bytes from a row of plane 0 to the next, at least a row's; never negative, bottom-up or not
    int32_t stride1;  // the same for planes 1 and 2
    uint32_t reserved2;
    int32_t cropY;    // first row of the region, 0..height - 1
    int32_t cropX;    // first column of the region, 0..width - 1
    int32_t width;    // pixels, 1..kLargestSide
    int32_t height;   // pixels, 1..kLargestSide
    uint32_t format;  // a number of Format.h; with kBottomUp the rows lie bottom-up
};

static_assert(offsetof(VpImage, reserved) == 24 && offsetof(VpImage, stride0) == 28 &&
              offsetof(VpImage, stride1) == 32);
static_assert(offsetof(VpImage, cropY) == 40 && offsetof(VpImage, cropX) == 44 && offsetof(VpImage, width) == 48);
static_assert(offsetof(VpImage, height) == 52 && offsetof(VpImage, format) == 56 && sizeof(VpImage) == 64);

}  // namespace qorvp
