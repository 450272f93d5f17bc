#include <algorithm>
#include <cstring>
#include <type_traits>

#include "vp/src/Blur.h"
#include "vp/src/Features.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/BlurVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

BlurKernel vectorBlur() {
    return plainBlur();
}

#else

namespace hn = hwy::HWY_NAMESPACE;

// A strip of lines is filtered at once: the lanes of a vector are samples that lie side by side across the lines, and a
// few vectors in turn hide how long each waits for the sample before.
using Floats = hn::CappedTag<float, 8>;
using Values = hn::Vec<Floats>;
using ByteTag = hn::Rebind<uint8_t, Floats>;
using IntTag = hn::RebindToSigned<Floats>;

constexpr int kVectorLanes = static_cast<int>(hn::MaxLanes(Floats()));
constexpr int kVectors = 4;
constexpr int kLanes = kVectors * kVectorLanes;

template <class Body>
HWY_INLINE void forEachOfVectors(Body body) {
    body(std::integral_constant<int, 0>());
    body(std::integral_constant<int, 1>());
    body(std::integral_constant<int, 2>());
    body(std::integral_constant<int, 3>());
}

// Samples are read by `load(i, m)` and written by `store(i, m, values)`, m being the number of the vector.
template <class Load, class Store>
HWY_INLINE void blurLines(int count, const BlurCoefficients& k, float* HWY_RESTRICT lines, Load load, Store store) {
    const Floats d;
    const Values feedback = hn::Set(d, k.feedback);
    const Values inForward = hn::Set(d, k.inForward), inBackward = hn::Set(d, k.inBackward);
    Values past[kVectors];
    forEachOfVectors([&](auto m) HWY_ATTR { past[m] = hn::Mul(hn::Set(d, k.startForward), load(0, m)); });
    for (int i = 0; i < count; ++i) {
        forEachOfVectors([&](auto m) HWY_ATTR {
            past[m] = hn::NegMulAdd(feedback, past[m], hn::Mul(inForward, load(i, m)));
            hn::Store(past[m], d, lines + i * kLanes + m * kVectorLanes);
        });
    }
    forEachOfVectors([&](auto m) HWY_ATTR { past[m] = hn::Mul(hn::Set(d, k.startBackward), load(count - 1, m)); });
    for (int i = count - 1; i >= 0; --i) {
        forEachOfVectors([&](auto m) HWY_ATTR {
            past[m] = hn::NegMulAdd(feedback, past[m], hn::Mul(inBackward, load(i, m)));
            store(i, m, hn::Add(hn::Load(d, lines + i * kLanes + m * kVectorLanes), past[m]));
        });
    }
}

HWY_INLINE Values valuesOf(hn::Vec<ByteTag> bytes) {
    return hn::ConvertTo(Floats(), hn::PromoteTo(IntTag(), bytes));
}

HWY_INLINE void storeBytes(Values values, uint8_t* bytes) {
    hn::StoreU(hn::DemoteTo(ByteTag(), hn::NearestInt(values)), ByteTag(), bytes);
}

constexpr int kPixelsPerVector = kVectorLanes / 4;  // of four channels

// The pixels of four bytes at a place in each of the rows that a vector has room for.
HWY_INLINE Values pixelsOf(const uint8_t* place, ptrdiff_t stride) {
    using Word = std::conditional_t<kPixelsPerVector == 2, uint64_t, uint32_t>;
    uint32_t pixel = 0;
    std::memcpy(&pixel, place, sizeof(pixel));
    Word word = pixel;
    if constexpr (kPixelsPerVector == 2) {
        std::memcpy(&pixel, place + stride, sizeof(pixel));
        word |= Word{pixel} << 32;
    }
    return valuesOf(hn::BitCast(ByteTag(), hn::Set(hn::Repartition<Word, ByteTag>(), word)));
}

// The floats of a pixel in each of the columns that a vector has room for.
HWY_INLINE Values pixelsOf(const float* place, size_t column) {
    if constexpr (kPixelsPerVector == 1) {
        return hn::LoadU(Floats(), place);
    } else {
        const hn::Half<Floats> half;
        return hn::Combine(Floats(), hn::LoadU(half, place + column), hn::LoadU(half, place));
    }
}

// Lines of single samples, one beside the other in memory of their own: sample i of all of them, then sample i + 1.
template <class T>
T* besideEachOther(const T* first, ptrdiff_t lineStride, int count, float* place) {
    T* const block = reinterpret_cast<T*>(place);
    for (int i = 0; i < count; ++i) {
        for (int line = 0; line < kLanes; ++line) block[i * kLanes + line] = first[line * lineStride + i];
    }
    return block;
}

// From a strip of rows to the same strip of each column behind it.
template <int channels>
void blurRows(const Plane& from, int top, const BlurCoefficients& k, float* lines, float* transposed) {
    const size_t column = static_cast<size_t>(from.height) * channels;
    float* const place = transposed + static_cast<size_t>(top) * channels;
    const auto store = [=](int x, int m, Values values) HWY_ATTR {
        hn::StoreU(values, Floats(), place + static_cast<size_t>(x) * column + m * kVectorLanes);
    };
    const uint8_t* const first = from.row(top);
    const ptrdiff_t stride = from.stride;
    if constexpr (channels == 4) {
        const auto load = [=](int x, int m)
                              HWY_ATTR { return pixelsOf(first + m * kPixelsPerVector * stride + x * 4, stride); };
        blurLines(from.width, k, lines, load, store);
    } else {
        const uint8_t* const block = besideEachOther(first, stride, from.width, lines + from.width * kLanes);
        const auto load = [=](int x, int m) HWY_ATTR {
            return valuesOf(hn::LoadU(ByteTag(), block + x * kLanes + m * kVectorLanes));
        };
        blurLines(from.width, k, lines, load, store);
    }
}

// From a strip of columns to the image.
template <int channels>
void blurColumns(const Plane& to, int left, const BlurCoefficients& k, float* lines, const float* transposed) {
    const size_t column = static_cast<size_t>(to.height) * channels;
    const float* const first = transposed + static_cast<size_t>(left) * column;
    uint8_t* const place = to.data + left * channels;
    const ptrdiff_t stride = to.stride;
    const auto store = [=](int y, int m, Values values)
                           HWY_ATTR { storeBytes(values, place + y * stride + m * kVectorLanes); };
    if constexpr (channels == 4) {
        const auto load = [=](int y, int m) HWY_ATTR {
            return pixelsOf(first + static_cast<size_t>(m * kPixelsPerVector) * column + y * 4, column);
        };
        blurLines(to.height, k, lines, load, store);
    } else {
        const auto apart = static_cast<ptrdiff_t>(column);
        const float* const block = besideEachOther(first, apart, to.height, lines + to.height * kLanes);
        const auto load = [=](int y, int m)
                              HWY_ATTR { return hn::LoadU(Floats(), block + y * kLanes + m * kVectorLanes); };
        blurLines(to.height, k, lines, load, store);
    }
}

// The last strip overlaps the one before.
template <int channels>
void blur(const Plane& from, const Plane& to, const BlurCoefficients& k, float* lines, float* transposed) {
    constexpr int kStrip = kLanes / channels;
    for (int top = 0; top < from.height; top += kStrip)
        blurRows<channels>(from, std::min(top, from.height - kStrip), k, lines, transposed);
    for (int left = 0; left < to.width; left += kStrip)
        blurColumns<channels>(to, std::min(left, to.width - kStrip), k, lines, transposed);
}

void blurPlane(const Plane& from, const Plane& to, int channels, const BlurCoefficients& k, float* lines,
               float* transposed) {
    if (std::min(from.width, from.height) < kLanes / channels)
        plainBlur().blurPlane(from, to, channels, k, lines, transposed);
    else if (channels == 4)
        blur<4>(from, to, k, lines, transposed);
    else
        blur<1>(from, to, k, lines, transposed);
}

BlurKernel vectorBlur() {
    return {blurPlane, kLanes};
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qorvp {

HWY_EXPORT(vectorBlur);

BlurKernel blurKernel(uint32_t features) {
    const auto form = vectorForm(features);
    return form ? HWY_DISPATCH_TABLE(vectorBlur)[*form]() : plainBlur();
}

}  // namespace qorvp

#endif  // HWY_ONCE
