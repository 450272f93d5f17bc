#include "vp/src/BilinearRow.h"

#include <algorithm>

namespace qorvp {

namespace {

template <int channels>
void writeSample(const uint8_t* from, uint32_t position, uint8_t* to) {
    const uint8_t* const left = from + size_t{position >> 16} * channels;
    const uint8_t* const right = left + channels;
    const int f = static_cast<int>(position >> 9 & 0x7F);
    for (int c = 0; c < channels; ++c) to[c] = static_cast<uint8_t>(left[c] + (((right[c] - left[c]) * f + 0x40) >> 7));
}

template <int channels>
void line(const uint8_t* from, uint32_t position, uint32_t step, uint8_t* to, int count) {
    for (; count >= 2; count -= 2) {
        writeSample<channels>(from, position, to);
        writeSample<channels>(from, position + step, to + channels);
        position += step * 2;
        to += channels * 2;
    }
    if (count == 1) writeSample<channels>(from, position, to);
}

void repeatSample(const uint8_t* sample, int channels, uint8_t* to, int count) {
    for (int i = 0; i < count; ++i) to = std::copy_n(sample, channels, to);
}

void blendRows(const uint8_t* upper, const uint8_t* lower, int f, uint8_t* to, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) to[i] = static_cast<uint8_t>((upper[i] * (256 - f) + lower[i] * f) >> 8);
}

}  // namespace

void bilinearLine(const uint8_t* from, int channels, uint32_t position, uint32_t step, uint8_t* to, int count) {
    static constexpr decltype(&line<1>) kLines[] = {line<1>, line<2>, line<3>, line<4>};
    kLines[channels - 1](from, position, step, to, count);
}

void bilinearRow(const ScaleAxis& axis, int channels, const uint8_t* from, uint8_t* to, int begin, int end) {
    const int inner = std::clamp(axis.innerBegin(), begin, end);
    const int behind = std::clamp(axis.innerEnd(), begin, end);
    const auto at = [=](int sample) { return to + ptrdiff_t{sample} * channels; };
    repeatSample(from, channels, at(begin), inner - begin);
    bilinearLine(from, channels, axis.position(inner), axis.step(), at(inner), behind - inner);
    repeatSample(from + ptrdiff_t{axis.source() - 1} * channels, channels, at(behind), end - behind);
}

BilinearKernels plainBilinear() {
    return {nullptr, nullptr, blendRows};
}

}  // namespace qorvp
