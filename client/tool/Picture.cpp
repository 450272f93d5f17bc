#include "client/tool/Picture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "client/tool/Composite.h"

namespace zeltool {

namespace {

constexpr uint8_t kPersonFrom = 128;

// What one pixel of a line is made of: weights for the source pixels from `first` on, which add up to 1.
struct Taps {
    uint32_t first;
    std::vector<float> weights;
};

// A triangle as wide as one target pixel, and at least as one source pixel, on each side.
std::vector<Taps> tapsFor(uint32_t from, uint32_t to) {
    const double step = static_cast<double>(from) / to;
    const double reach = std::max(step, 1.0);
    std::vector<Taps> taps(to);
    for (uint32_t i = 0; i < to; ++i) {
        const double centre = (i + 0.5) * step;
        const auto first = static_cast<uint32_t>(std::max(0.0, std::floor(centre - reach)));
        const auto end = std::min<uint32_t>(from, static_cast<uint32_t>(std::ceil(centre + reach)));
        taps[i].first = first;
        float sum = 0;
        for (uint32_t j = first; j < end; ++j) {
            const double weight = std::max(0.0, 1 - std::abs(j + 0.5 - centre) / reach);
            taps[i].weights.push_back(static_cast<float>(weight));
            sum += static_cast<float>(weight);
        }
        for (float& weight : taps[i].weights) weight /= sum;
    }
    return taps;
}

uint8_t toByte(float value) {
    return static_cast<uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
}

}  // namespace

Image scaled(const Image& picture, uint32_t width, uint32_t height) {
    if (picture.width == width && picture.height == height) return picture;
    // The library takes the four pixels around a place, and would miss most of a picture that shrinks.
    if (picture.width <= width && picture.height <= height) return enlarged(picture, width, height);
    const uint32_t channels = picture.channels;
    const std::vector<Taps> across = tapsFor(picture.width, width);
    const std::vector<Taps> down = tapsFor(picture.height, height);
    std::vector<float> narrow(size_t{width} * picture.height * channels);
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* from = picture.row(y);
        float* to = narrow.data() + size_t{y} * width * channels;
        for (const Taps& taps : across) {
            for (uint32_t c = 0; c < channels; ++c) {
                const uint8_t* source = from + size_t{taps.first} * channels + c;
                float sum = 0;
                for (size_t t = 0; t < taps.weights.size(); ++t) sum += taps.weights[t] * source[t * channels];
                *to++ = sum;
            }
        }
    }
    Image result(width, height, channels);
    const size_t rowValues = size_t{width} * channels;
    std::vector<float> line(rowValues);
    for (uint32_t y = 0; y < height; ++y) {
        std::fill(line.begin(), line.end(), 0.0f);
        for (size_t t = 0; t < down[y].weights.size(); ++t) {
            const float weight = down[y].weights[t];
            const float* from = narrow.data() + (down[y].first + t) * rowValues;
            for (size_t i = 0; i < rowValues; ++i) line[i] += weight * from[i];
        }
        std::transform(line.begin(), line.end(), result.row(y), toByte);
    }
    return result;
}

Area areaInside(uint32_t pictureWidth, uint32_t pictureHeight, uint32_t width, uint32_t height) {
    const double factor =
        std::min(static_cast<double>(width) / pictureWidth, static_cast<double>(height) / pictureHeight);
    const auto side = [factor](uint32_t length, uint32_t most) {
        return std::clamp<uint32_t>(static_cast<uint32_t>(std::lround(length * factor)), 1, most);
    };
    Area area;
    area.width = side(pictureWidth, width);
    area.height = side(pictureHeight, height);
    area.x = (width - area.width) / 2;
    area.y = (height - area.height) / 2;
    return area;
}

Image letterboxed(const Image& picture, uint32_t width, uint32_t height, Area* area) {
    *area = areaInside(picture.width, picture.height, width, height);
    Image inner = scaled(picture, area->width, area->height);
    if (area->width == width && area->height == height) return inner;
    Image frame(width, height, picture.channels);
    for (uint32_t y = 0; y < area->height; ++y)
        std::memcpy(frame.row(area->y + y) + size_t{area->x} * frame.channels, inner.row(y),
                    size_t{inner.width} * inner.channels);
    return frame;
}

Image fitted(const Image& picture, uint32_t width, uint32_t height) {
    if (picture.width <= width && picture.height <= height) return picture;
    const Area area = areaInside(picture.width, picture.height, width, height);
    return scaled(picture, area.width, area.height);
}

Image grey(const Image& picture) {
    Image result(picture.width, picture.height, 1);
    for (size_t i = 0; i < result.bytes.size(); ++i) {
        const uint8_t* pixel = picture.bytes.data() + 3 * i;
        result.bytes[i] = static_cast<uint8_t>((299u * pixel[0] + 587u * pixel[1] + 114u * pixel[2] + 500) / 1000);
    }
    return result;
}

Image cropped(const Image& picture, const Area& area) {
    Image result(area.width, area.height, picture.channels);
    for (uint32_t y = 0; y < area.height; ++y)
        std::memcpy(result.row(y), picture.row(area.y + y) + size_t{area.x} * picture.channels,
                    size_t{area.width} * picture.channels);
    return result;
}

Image covering(const Image& picture, uint32_t width, uint32_t height) {
    return scaled(cropped(picture, areaInside(width, height, picture.width, picture.height)), width, height);
}

Image plainColour(uint32_t width, uint32_t height, uint8_t red, uint8_t green, uint8_t blue) {
    Image result(width, height, 3);
    for (size_t i = 0; i < result.bytes.size(); i += 3) {
        result.bytes[i] = red;
        result.bytes[i + 1] = green;
        result.bytes[i + 2] = blue;
    }
    return result;
}

Image cutOut(const Image& picture, const Image& mask) {
    Image result(picture.width, picture.height, 4);
    for (size_t i = 0; i < mask.bytes.size(); ++i) {
        std::copy_n(picture.bytes.data() + 3 * i, 3, result.bytes.data() + 4 * i);
        result.bytes[4 * i + 3] = mask.bytes[i];
    }
    return result;
}

double coverage(const Image& mask) {
    uint64_t sum = 0;
    for (uint8_t value : mask.bytes) sum += value;
    return mask.empty() ? 0 : static_cast<double>(sum) / (255.0 * static_cast<double>(mask.bytes.size()));
}

Area personArea(const Image& mask) {
    uint32_t left = mask.width;
    uint32_t right = 0;
    uint32_t top = mask.height;
    uint32_t bottom = 0;
    for (uint32_t y = 0; y < mask.height; ++y) {
        for (uint32_t x = 0; x < mask.width; ++x) {
            if (mask.row(y)[x] < kPersonFrom) continue;
            left = std::min(left, x);
            right = std::max(right, x + 1);
            top = std::min(top, y);
            bottom = y + 1;
        }
    }
    if (right == 0) return {};
    return {left, top, right - left, bottom - top};
}

}  // namespace zeltool
