#include "bench/vp/Image.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <random>
#include <stdexcept>

#include "qorvp/Format.h"

namespace zelbench::vp {

namespace {

constexpr size_t kAlignment = 64;

struct FormatEntry {
    uint32_t format;
    const char* name;
    int bytes;        // of a sample of plane 0
    int chromaBytes;  // of a sample of the planes behind it, 0 for none
};

constexpr FormatEntry kFormats[] = {
    {qorvp::kFormatRgb565, "RGB565", 2, 0}, {qorvp::kFormatBgra, "BGRA", 4, 0}, {qorvp::kFormatBgr, "BGR", 3, 0},
    {qorvp::kFormatRgba, "RGBA", 4, 0},     {qorvp::kFormatArgb, "ARGB", 4, 0}, {qorvp::kFormatAbgr, "ABGR", 4, 0},
    {qorvp::kFormatI420, "I420", 1, 1},     {qorvp::kFormatYv12, "YV12", 1, 1}, {qorvp::kFormatNv12, "NV12", 1, 2},
    {qorvp::kFormatNv21, "NV21", 1, 2},     {qorvp::kFormatGrey, "grey", 1, 0},
};

const FormatEntry& entryOf(uint32_t format) {
    for (const FormatEntry& entry : kFormats)
        if (entry.format == format) return entry;
    throw std::invalid_argument("there is no format " + std::to_string(format));
}

// A soft wave over `count` samples, and an edge each 97.
std::vector<float> shades(int count, float step) {
    std::vector<float> result;
    for (int i = 0; i < count; ++i)
        result.push_back(0.4f * std::sin(static_cast<float>(i) * step) + (i / 97 % 2 == 0 ? 0.8f : -0.8f));
    return result;
}

}  // namespace

AlignedBytes alignedBytes(size_t count) {
    const size_t whole = (count + kAlignment - 1) / kAlignment * kAlignment;
    AlignedBytes bytes(static_cast<uint8_t*>(std::aligned_alloc(kAlignment, whole)));
    if (!bytes) throw std::bad_alloc();
    std::memset(bytes.get(), 0, whole);
    return bytes;
}

Image::Image(uint32_t format, int width, int height) : mFormat(format) {
    const FormatEntry& entry = entryOf(format);
    mPlanes.push_back({nullptr, width * entry.bytes, width, height, entry.bytes});
    for (int left = 2; entry.chromaBytes != 0 && left > 0; left -= entry.chromaBytes)
        mPlanes.push_back({nullptr, width / 2 * entry.chromaBytes, width / 2, height / 2, entry.chromaBytes});
    for (const Plane& plane : mPlanes) mBytes += static_cast<size_t>(plane.stride) * static_cast<size_t>(plane.height);
    mMemory = alignedBytes(mBytes);
    uint8_t* place = mMemory.get();
    for (Plane& plane : mPlanes) {
        plane.data = place;
        place = plane.row(plane.height);
    }
}

qorvp::VpImage Image::record() const {
    qorvp::VpImage image{};
    for (size_t index = 0; index < mPlanes.size(); ++index) image.planes[index] = mPlanes[index].data;
    image.stride0 = mPlanes[0].stride;
    if (mPlanes.size() > 1) image.stride1 = mPlanes[1].stride;
    image.width = width();
    image.height = height();
    image.format = mFormat;
    return image;
}

void Image::shareMemoryOf(const Image& other) {
    mPlanes = other.mPlanes;
    mMemory.reset();
}

void Image::fillRandom(uint32_t seed) {
    std::mt19937 random(seed);
    std::generate(data(), data() + mBytes, [&random] { return static_cast<uint8_t>(random() >> 24); });
}

void Image::fillRandomVideo(uint32_t seed) {
    fillRandom(seed);
    const uint8_t* const chroma = mPlanes[0].row(height());
    for (uint8_t* place = data(); place < data() + mBytes; ++place)
        *place = static_cast<uint8_t>(16 + *place * (place < chroma ? 220 : 225) / 256);
}

void Image::fillScene(uint32_t seed) {
    std::mt19937 random(seed);
    for (const Plane& plane : mPlanes) {
        const std::vector<float> across = shades(plane.stride, 0.013f);
        const std::vector<float> down = shades(plane.height, 0.021f);
        for (int y = 0; y < plane.height; ++y)
            for (int x = 0; x < plane.stride; ++x) {
                const float shade = across[static_cast<size_t>(x)] + down[static_cast<size_t>(y)];
                const float noise = static_cast<float>(random() % 13);
                plane.row(y)[x] = static_cast<uint8_t>(122.0f + 44.0f * shade + noise);
            }
    }
}

void Image::fillWaves() {
    constexpr float kHeight = 60, kStep = 0.04f;
    for (const Plane& plane : mPlanes)
        for (int y = 0; y < plane.height; ++y)
            for (int i = 0; i < plane.stride; ++i) {
                const int x = i / plane.bytes;
                const float shade = std::sin(static_cast<float>(x) * kStep) + std::sin(static_cast<float>(y) * kStep);
                plane.row(y)[i] = static_cast<uint8_t>(128.0f + kHeight * shade);
            }
}

std::string formatName(uint32_t format) {
    return entryOf(format).name;
}

std::string sizeName(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

}  // namespace zelbench::vp
