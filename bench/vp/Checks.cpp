#include "bench/vp/Checks.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <stdexcept>

#include "qorvp/Format.h"

namespace zelbench::vp {

namespace {

int largestByteDifference(const Image& a, const Image& b) {
    int largest = 0;
    for (size_t i = 0; i < a.bytes(); ++i) largest = std::max(largest, std::abs(a.data()[i] - b.data()[i]));
    return largest;
}

int largestFieldDifference(const Image& a, const Image& b) {
    const auto word = [](const Image& image, size_t i) { return image.data()[i] | image.data()[i + 1] << 8; };
    int largest = 0;
    for (size_t i = 0; i < a.bytes(); i += 2) {
        const int x = word(a, i), y = word(b, i);
        largest = std::max({largest, std::abs((x >> 11) - (y >> 11)), std::abs((x >> 5 & 63) - (y >> 5 & 63)),
                            std::abs((x & 31) - (y & 31))});
    }
    return largest;
}

double meanDifference(const Image& a, const Image& b) {
    uint64_t sum = 0;
    for (size_t i = 0; i < a.bytes(); ++i) sum += static_cast<uint64_t>(std::abs(a.data()[i] - b.data()[i]));
    return static_cast<double>(sum) / static_cast<double>(a.bytes());
}

double brightness(const Image& image) {
    const double sum = std::accumulate(image.data(), image.data() + image.bytes(), 0.0);
    return sum / static_cast<double>(image.bytes());
}

double roughness(const Image& image) {
    const Plane& plane = image.planes()[0];
    uint64_t sum = 0;
    for (int y = 0; y < plane.height; ++y) {
        const uint8_t* const row = plane.row(y);
        for (int i = plane.bytes; i < plane.stride; ++i)
            sum += static_cast<uint64_t>(std::abs(row[i] - row[i - plane.bytes]));
    }
    return static_cast<double>(sum) / (static_cast<double>(plane.stride - plane.bytes) * plane.height);
}

void require(double difference, double most, const char* measure, const std::string& whose) {
    if (difference <= most) return;
    char text[96];
    std::snprintf(text, sizeof text, " differ by %.4g %s; %.4g is allowed", difference, measure, most);
    throw std::runtime_error("our bytes and those of " + whose + text);
}

}  // namespace

void requireClose(const Image& expected, const Image& image, int mostDifference, const std::string& whose) {
    const bool fields = expected.format() == qorvp::kFormatRgb565;
    const int difference = fields ? largestFieldDifference(expected, image) : largestByteDifference(expected, image);
    require(difference, mostDifference, "levels", whose);
}

void requireCloseOnAverage(const Image& expected, const Image& image, double mostDifference, const std::string& whose) {
    require(meanDifference(expected, image), mostDifference, "levels on average", whose);
}

void requireSameBrightness(const Image& expected, const Image& image, const std::string& whose) {
    require(std::abs(brightness(expected) - brightness(image)), 3, "levels of brightness", whose);
}

void requireSmooth(const Image& source, const Image& image, double mostShare, const std::string& whose) {
    const double share = roughness(image) / roughness(source);
    if (share <= mostShare) return;
    char text[96];
    std::snprintf(text, sizeof text, " leave %.3g of the differences within rows; %.3g is allowed", share, mostShare);
    throw std::runtime_error("the bytes of " + whose + text);
}

}  // namespace zelbench::vp
