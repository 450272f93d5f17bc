#include "engines/vino/PixelLoopsPlain.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace PixelLoops {

namespace {

constexpr size_t kEdgeReach = 2;

void fillPlanes(const uint8_t* frame, const uint8_t* mask, size_t pixels, size_t channels, float* planes) {
    for (size_t c = 0; c < channels; ++c) {
        float* plane = planes + c * pixels;
        if (c >= 3) {
            bytesToFloats(mask, pixels, plane);
            continue;
        }
        for (size_t i = 0; i < pixels; ++i) plane[i] = static_cast<float>(frame[i * 3 + c]);
    }
}

void fillCentredPlanes(const uint8_t* frame, size_t pixels, float* planes) {
    fillPlanes(frame, nullptr, pixels, 3, planes);
    std::transform(planes, planes + 3 * pixels, planes, centred);
}

void bytesToFractions(const uint8_t* bytes, size_t count, float* floats) {
    for (size_t i = 0; i < count; ++i) floats[i] = static_cast<float>(static_cast<double>(bytes[i]) / 255.0);
}

uint8_t lowByte(float value) {
    const bool representable = value >= -2147483648.0f && value < 2147483648.0f;
    return representable ? static_cast<uint8_t>(static_cast<int32_t>(value)) : 0;
}

void floatsToBytes(const float* values, size_t count, float scale, uint8_t* bytes) {
    for (size_t i = 0; i < count; ++i) bytes[i] = lowByte(values[i] * scale);
}

uint32_t sumBytes(const uint8_t* bytes, size_t count) {
    uint32_t sum = 0;
    for (size_t i = 0; i < count; ++i) sum += bytes[i];
    return sum;
}

// Sums over the rectangle from the origin to each pixel inclusive.
void integrate(size_t width, size_t height, const uint8_t* inside, int32_t* integral) {
    for (size_t y = 0; y < height; ++y) {
        int32_t row = 0;
        for (size_t x = 0; x < width; ++x) {
            row += inside[y * width + x];
            integral[y * width + x] = row + (y > 0 ? integral[(y - 1) * width + x] : 0);
        }
    }
}

struct Window {
    size_t left, top, right, bottom;  // inclusive
    int32_t area() const { return static_cast<int32_t>((right - left + 1) * (bottom - top + 1)); }
};

Window windowAt(size_t x, size_t y, size_t width, size_t height) {
    return {x - std::min(x, kEdgeReach), y - std::min(y, kEdgeReach), std::min(x + kEdgeReach, width - 1),
            std::min(y + kEdgeReach, height - 1)};
}

int32_t windowSum(const Window& window, const int32_t* integral, size_t width) {
    int32_t sum = integral[window.bottom * width + window.right];
    if (window.left > 0) sum -= integral[window.bottom * width + window.left - 1];
    if (window.top > 0) sum -= integral[(window.top - 1) * width + window.right];
    if (window.left > 0 && window.top > 0) sum += integral[(window.top - 1) * width + window.left - 1];
    return sum;
}

int32_t markEdges(size_t width, size_t height, const uint8_t* mask, uint8_t* edgeMap) {
    static thread_local std::vector<uint8_t> inside;
    static thread_local std::vector<int32_t> integral;
    const size_t pixels = width * height;
    inside.resize(pixels);
    integral.resize(pixels);
    for (size_t i = 0; i < pixels; ++i) inside[i] = mask[i] > kForegroundAbove ? 1 : 0;
    integrate(width, height, inside.data(), integral.data());

    int32_t count = 0;
    for (size_t y = 0; y < height; ++y) {
        for (size_t x = 0; x < width; ++x) {
            const Window window = windowAt(x, y, width, height);
            const int32_t sum = windowSum(window, integral.data(), width);
            if (sum <= 0 || sum >= window.area()) continue;
            edgeMap[y * width + x] = 1;
            ++count;
        }
    }
    return count;
}

uint8_t clippedMinimum(size_t x, size_t y, size_t width, size_t height, const uint8_t* src) {
    uint8_t least = 255;
    for (size_t row = y - std::min<size_t>(y, 1); row <= std::min(y + 1, height - 1); ++row) {
        for (size_t column = x - std::min<size_t>(x, 1); column <= std::min(x + 1, width - 1); ++column) {
            least = std::min(least, src[row * width + column]);
        }
    }
    return least;
}

using Window3x3 = std::array<std::array<uint8_t, 3>, 3>;

// Whether the middle column (or, with byRow, the middle row) lies strictly between its neighbours in every row, falling
// from index `high` to index `low` of them.
bool fallsBetween(const Window3x3& window, size_t high, size_t low, bool byRow) {
    for (size_t i = 0; i < 3; ++i) {
        const uint8_t above = byRow ? window[high][i] : window[i][high];
        const uint8_t below = byRow ? window[low][i] : window[i][low];
        if (below >= above) return false;
    }
    return true;
}

bool fallsSteadily(const Window3x3& window) {
    return fallsBetween(window, 0, 1, false) || fallsBetween(window, 1, 2, false) || fallsBetween(window, 0, 1, true) ||
           fallsBetween(window, 1, 2, true);
}

void erode(size_t width, size_t height, const uint8_t* src, uint8_t* dst) {
    erodeBorder(width, height, src, dst);
    for (size_t y = 1; y + 1 < height; ++y) {
        for (size_t x = 1; x + 1 < width; ++x) {
            Window3x3 window;
            for (size_t row = 0; row < 3; ++row)
                std::memcpy(window[row].data(), src + (y - 1 + row) * width + x - 1, 3);
            dst[y * width + x] = fallsSteadily(window) ? clippedMinimum(x, y, width, height, src) : src[y * width + x];
        }
    }
}

int32_t countChanged(size_t pixels, const uint8_t* frame, const uint8_t* refFrame, const uint8_t* edgeMap) {
    int32_t count = 0;
    for (size_t i = 0; i < pixels; ++i) {
        if (edgeMap[i] == 0) continue;
        int sum = 0;
        for (size_t c = i * 3; c < i * 3 + 3; ++c) sum += std::abs(frame[c] - refFrame[c]);
        if (sum > kChangedPixelSum) ++count;
    }
    return count;
}

}  // namespace

void bytesToFloats(const uint8_t* bytes, size_t count, float* floats) {
    for (size_t i = 0; i < count; ++i) floats[i] = static_cast<float>(bytes[i]);
}

void erodeBorder(size_t width, size_t height, const uint8_t* src, uint8_t* dst) {
    for (size_t x = 0; x < width; ++x) {
        dst[x] = clippedMinimum(x, 0, width, height, src);
        dst[(height - 1) * width + x] = clippedMinimum(x, height - 1, width, height, src);
    }
    for (size_t y = 1; y + 1 < height; ++y) {
        dst[y * width] = clippedMinimum(0, y, width, height, src);
        dst[y * width + width - 1] = clippedMinimum(width - 1, y, width, height, src);
    }
}

const Kernels& plain() {
    static const Kernels kPlain{"plain",   fillPlanes, fillCentredPlanes, bytesToFractions, floatsToBytes, sumBytes,
                                markEdges, erode,      countChanged};
    return kPlain;
}

}  // namespace PixelLoops
