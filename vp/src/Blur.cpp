#include "vp/src/Blur.h"

#include <algorithm>
#include <cmath>

namespace qorvp {

namespace {

constexpr double kLeastSigma = 0.5;
constexpr double kLargestSigma = 40960;        // a whole image; beyond it the terms below vanish
constexpr double kAlphaOfSigmaOne = 0.527076;  // its logarithm

// One line of `count` samples, each of `channels` values, read by `load(i, c)` and written by `store(i, c, value)`.
template <int channels, class Load, class Store>
void blurLine(int count, const BlurCoefficients& k, float* line, Load load, Store store) {
    float past[channels];
    for (int c = 0; c < channels; ++c) past[c] = k.startForward * load(0, c);
    for (int i = 0; i < count; ++i) {
        for (int c = 0; c < channels; ++c) {
            past[c] = k.inForward * load(i, c) - k.feedback * past[c];
            line[i * channels + c] = past[c];
        }
    }
    for (int c = 0; c < channels; ++c) past[c] = k.startBackward * load(count - 1, c);
    for (int i = count - 1; i >= 0; --i) {
        for (int c = 0; c < channels; ++c) {
            past[c] = k.inBackward * load(i, c) - k.feedback * past[c];
            store(i, c, line[i * channels + c] + past[c]);
        }
    }
}

// Not a number is 0.
uint8_t byteOf(float value) {
    if (!(value > 0)) return 0;
    return value < 255 ? static_cast<uint8_t>(std::lround(value)) : 255;
}

template <int channels>
void blur(const Plane& from, const Plane& to, const BlurCoefficients& k, float* line, float* transposed) {
    const size_t column = static_cast<size_t>(from.height) * channels;
    for (int y = 0; y < from.height; ++y) {
        const uint8_t* const row = from.row(y);
        float* const place = transposed + static_cast<size_t>(y) * channels;
        blurLine<channels>(
            from.width, k, line, [row](int x, int c) { return static_cast<float>(row[x * channels + c]); },
            [place, column](int x, int c, float value) { place[static_cast<size_t>(x) * column + c] = value; });
    }
    for (int x = 0; x < from.width; ++x) {
        const float* const samples = transposed + static_cast<size_t>(x) * column;
        blurLine<channels>(
            from.height, k, line, [samples](int y, int c) { return samples[y * channels + c]; },
            [&to, x](int y, int c, float value) { to.row(y)[x * channels + c] = byteOf(value); });
    }
}

}  // namespace

BlurCoefficients blurCoefficients(float sigma) {
    const double width = sigma > kLeastSigma ? std::min<double>(sigma, kLargestSigma) : kLeastSigma;
    const double alpha = std::exp(kAlphaOfSigmaOne) / width;
    const double a = std::exp(-alpha);
    const double b2 = std::exp(-2 * alpha);
    const double k = (1 - a) * (1 - a) / (1 + 2 * alpha * a - b2);
    const double a0 = k, a1 = k * (alpha - 1) * a, a2 = k * (alpha + 1) * a, a3 = -k * b2, b1 = -2 * a;
    const double sum = (1 - a) * (1 - a);  // 1 + b1 + b2, without its rounding
    return {static_cast<float>(a0 + a1), static_cast<float>(a2 + a3), static_cast<float>(b1 + b2),
            static_cast<float>((a0 + a1) / sum), static_cast<float>((a2 + a3) / sum)};
}

BlurWork blurWork(const BlurKernel& kernel, int channels, int width, int height) {
    return {2 * static_cast<size_t>(kernel.lanes) * static_cast<size_t>(std::max(width, height)),
            static_cast<size_t>(channels) * static_cast<size_t>(width) * static_cast<size_t>(height)};
}

BlurKernel plainBlur() {
    constexpr int kMostChannels = 4;
    const BlurPlane blurPlane = [](const Plane& from, const Plane& to, int channels, const BlurCoefficients& k,
                                   float* lines, float* transposed) {
        const auto kernel = channels == 4 ? blur<4> : blur<1>;
        kernel(from, to, k, lines, transposed);
    };
    return {blurPlane, kMostChannels};
}

}  // namespace qorvp
