#include "bench/vp/Reference.h"

#include <algorithm>
#include <cmath>

#include "qorvp/Format.h"

namespace zelbench::vp {

namespace {

struct Colour {
    int red, green, blue;
};

Colour colourOf(int y, int u, int v) {
    const int luma = 74 * (y - 16);
    const auto level = [](int value) { return std::clamp(value >> 6, 0, 255); };
    return {level(luma + 102 * (v - 128)), level(luma - (25 * (u - 128) + 52 * (v - 128))),
            level(luma + 129 * (u - 128))};
}

Colour colourAt(const Image& video, int x, int y) {
    const std::vector<Plane>& planes = video.planes();
    const auto chroma = [&](size_t index) -> int {
        if (planes.size() == 3) return planes[1 + index].row(y / 2)[x / 2];
        return planes[1].row(y / 2)[x / 2 * 2 + static_cast<int>(index)];
    };
    const bool vFirst = video.format() == qorvp::kFormatNv21 || video.format() == qorvp::kFormatYv12;
    return colourOf(planes[0].row(y)[x], chroma(vFirst ? 1 : 0), chroma(vFirst ? 0 : 1));
}

void put(uint32_t format, const Colour& colour, uint8_t* pixel) {
    const auto [red, green, blue] = colour;
    if (format == qorvp::kFormatRgb565) {
        const int word = (red / 8) * 2048 + (green / 4) * 32 + blue / 8;
        pixel[0] = static_cast<uint8_t>(word % 256);
        pixel[1] = static_cast<uint8_t>(word / 256);
        return;
    }
    for (const char letter : formatName(format)) {
        const int level = letter == 'R' ? red : letter == 'G' ? green : letter == 'B' ? blue : 255;
        *pixel++ = static_cast<uint8_t>(level);
    }
}

struct Recursion {
    double inForward, inBackward, feedback, startForward, startBackward;
};

Recursion recursionOf(double sigma) {
    const double alpha = std::exp(0.527076) / std::max(sigma, 0.5);
    const double a = std::exp(-alpha), b2 = std::exp(-2 * alpha), b1 = -2 * a;
    const double k = (1 - a) * (1 - a) / (1 + 2 * alpha * a - b2);
    const double a0 = k, a1 = k * (alpha - 1) * a, a2 = k * (alpha + 1) * a, a3 = -k * b2;
    return {a0 + a1, a2 + a3, b1 + b2, (a0 + a1) / (1 + b1 + b2), (a2 + a3) / (1 + b1 + b2)};
}

// The line of `count` values that lie `step` apart.
void blurLine(double* line, size_t count, size_t step, const Recursion& recursion, std::vector<double>& forward) {
    forward.resize(count);
    double past = recursion.startForward * line[0];
    for (size_t i = 0; i < count; ++i)
        forward[i] = past = recursion.inForward * line[i * step] - recursion.feedback * past;
    past = recursion.startBackward * line[(count - 1) * step];
    for (size_t i = count; i-- > 0;) {
        past = recursion.inBackward * line[i * step] - recursion.feedback * past;
        line[i * step] = forward[i] + past;
    }
}

// For each of `to` samples the one of `from` that is nearest, with steps of 1 / `unit`.
std::vector<int> nearestSamples(int from, int to, int unit) {
    const float ratio = static_cast<float>(from) / static_cast<float>(to);
    const auto step = static_cast<int64_t>(ratio * static_cast<float>(unit));
    std::vector<int> samples;
    for (int64_t i = 0; i < to; ++i)
        samples.push_back(std::min(static_cast<int>((step / 2 + i * step) / unit), from - 1));
    return samples;
}

}  // namespace

void convertByFormula(const Image& video, const Image& pixels) {
    const Plane& to = pixels.planes()[0];
    for (int y = 0; y < to.height; ++y)
        for (int x = 0; x < to.width; ++x) put(pixels.format(), colourAt(video, x, y), to.row(y) + x * to.bytes);
}

void blendByFormula(const Image& foreground, const Image& mask, const Image& background) {
    const auto channels = static_cast<size_t>(background.planes()[0].bytes);
    for (size_t i = 0; i < background.bytes(); ++i) {
        const int m = mask.data()[i / channels];
        uint8_t& place = background.data()[i];
        place = static_cast<uint8_t>(((256 - m) * place + m * foreground.data()[i]) >> 8);
    }
}

void blurByRecursion(const Image& from, double sigma, const Image& to) {
    const Plane& plane = from.planes()[0];
    const auto width = static_cast<size_t>(plane.width), height = static_cast<size_t>(plane.height);
    const auto channels = static_cast<size_t>(plane.bytes);
    const size_t stride = width * channels;
    const Recursion recursion = recursionOf(sigma);
    std::vector<double> samples(from.data(), from.data() + from.bytes()), forward;
    for (size_t y = 0; y < height; ++y)
        for (size_t c = 0; c < channels; ++c) blurLine(&samples[y * stride + c], width, channels, recursion, forward);
    for (size_t x = 0; x < stride; ++x) blurLine(&samples[x], height, stride, recursion, forward);
    std::transform(samples.begin(), samples.end(), to.data(),
                   [](double value) { return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0))); });
}

void halveByFormula(const Image& from, const Image& to) {
    for (size_t index = 0; index < to.planes().size(); ++index) {
        const Plane &source = from.planes()[index], &target = to.planes()[index];
        const int bytes = target.bytes;
        for (int y = 0; y < target.height; ++y)
            for (int x = 0; x < target.stride; ++x) {
                const int left = x / bytes * 2 * bytes + x % bytes;
                const uint8_t *upper = source.row(2 * y) + left, *lower = source.row(2 * y + 1) + left;
                const int sum = upper[0] + upper[bytes] + lower[0] + lower[bytes];
                target.row(y)[x] = static_cast<uint8_t>((sum + 2) / 4);
            }
    }
}

void takeNearestByFormula(const Image& from, const Image& to) {
    for (size_t index = 0; index < to.planes().size(); ++index) {
        const Plane &source = from.planes()[index], &target = to.planes()[index];
        const std::vector<int> columns = nearestSamples(source.width, target.width, 65536);
        const std::vector<int> rows = nearestSamples(source.height, target.height, 32768);
        for (int y = 0; y < target.height; ++y)
            for (int x = 0; x < target.width; ++x) {
                const uint8_t* const sample =
                    source.row(rows[static_cast<size_t>(y)]) + columns[static_cast<size_t>(x)] * source.bytes;
                std::copy_n(sample, target.bytes, target.row(y) + x * target.bytes);
            }
    }
}

}  // namespace zelbench::vp
