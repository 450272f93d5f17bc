#include "vp/src/HalfSize.h"

namespace qorvp {

namespace {

uint8_t meanOf(int a, int b, int c, int d) {
    return static_cast<uint8_t>((a + b + c + d + 2) >> 2);
}

void halveLuma(const uint8_t* above, const uint8_t* below, uint8_t* to, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) to[i] = meanOf(above[2 * i], above[2 * i + 1], below[2 * i], below[2 * i + 1]);
}

void halvePairs(const uint8_t* above, const uint8_t* below, uint8_t* to, size_t bytes) {
    for (size_t i = 0; i < bytes; i += 2) {
        for (size_t c = i; c < i + 2; ++c)
            to[c] = meanOf(above[i + c], above[i + c + 2], below[i + c], below[i + c + 2]);
    }
}

void meanPlane(const Plane& from, const Plane& to, HalfRow row) {
    for (int y = 0; y < to.height; ++y) row(from.row(2 * y), from.row(2 * y + 1), to.row(y), to.rowBytes());
}

}  // namespace

HalfSizeForm halfSizeForm(int sourceWidth, int width, int height) {
    if (width % 2 != 0 || height % 2 != 0) return HalfSizeForm::kAny;
    if (sourceWidth % 32 == 0) return HalfSizeForm::kBy32;
    if (sourceWidth % 16 == 0) return HalfSizeForm::kBy16;
    if (sourceWidth % 8 == 0) return HalfSizeForm::kBy8;
    return HalfSizeForm::kAny;
}

HalfSizeKernels plainHalfSize() {
    constexpr HalfSizeKernel kPlain = {halveLuma, halvePairs};
    return {{kPlain, kPlain, kPlain, kPlain}};
}

bool isExactHalf(const VpImage& from, const VpImage& to) {
    return to.width == from.width >> 1 && to.height == from.height >> 1;
}

void halveSize(const Planes& from, const Planes& to, const HalfSizeKernels& kernels) {
    const Plane &luma = to.plane[0], &pairs = to.plane[1];
    const HalfSizeKernel& kernel = kernels.of(halfSizeForm(from.plane[0].width, luma.width, luma.height));
    meanPlane(from.plane[0], luma, kernel.luma);
    meanPlane(from.plane[1], pairs, kernel.pairs);
}

}  // namespace qorvp
