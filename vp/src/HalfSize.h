#pragma once

#include "vp/src/Planes.h"

// Pictures of luma and chroma pairs at half their width and height, rounded down. Every sample of the destination is
// (a + b + c + d + 2) >> 2 of the source's four that it lies over, in pairs each channel for itself; what is left at
// the end of an odd row or column is not looked at.
namespace qorvp {

// What a kernel counts on: that the source's rows have a multiple of so many bytes, or nothing.
enum class HalfSizeForm { kBy32, kBy16, kBy8, kAny };

// The form for a source of that width and a destination of that size: by the width's largest divisor, but kAny when the
// destination is odd.
HalfSizeForm halfSizeForm(int sourceWidth, int width, int height);

// Two rows of the source to one of `bytes` bytes. No byte of it is one of theirs.
using HalfRow = void (*)(const uint8_t* above, const uint8_t* below, uint8_t* to, size_t bytes);

struct HalfSizeKernel {
    HalfRow luma;
    HalfRow pairs;  // `bytes` is even
};

// By HalfSizeForm. All give the same bytes.
struct HalfSizeKernels {
    HalfSizeKernel form[4];

    const HalfSizeKernel& of(HalfSizeForm which) const { return form[static_cast<int>(which)]; }
};

// The kernels that the feature word picks.
HalfSizeKernels halfSizeKernels(uint32_t features);
HalfSizeKernels plainHalfSize();

// Whether one image's size is half of the other's.
bool isExactHalf(const VpImage& from, const VpImage& to);

// Between planes of a format that has chroma pairs, and of such sizes.
void halveSize(const Planes& from, const Planes& to, const HalfSizeKernels& kernels);

}  // namespace qorvp
