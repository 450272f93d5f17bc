#include "bench/Picture.h"

#include <memory>
#include <stdexcept>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

namespace zelbench {

namespace {

struct Photograph {
    int width = 0;
    int height = 0;
    std::unique_ptr<uint8_t, void (*)(void*)> pixels{nullptr, stbi_image_free};
};

constexpr uint32_t kSteps = 13;

// The part of 16:9 and three quarters of the photograph's width that begins at `left`, by nearest pixel.
std::vector<uint8_t> cut(const Photograph& photograph, uint32_t width, uint32_t height, uint32_t left) {
    const uint32_t cutWidth = static_cast<uint32_t>(photograph.width) * 3 / 4;
    const uint32_t cutHeight = cutWidth * height / width;
    std::vector<uint8_t> frame;
    frame.reserve(size_t{width} * height * 3);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const size_t source =
                size_t{y * cutHeight / height} * static_cast<size_t>(photograph.width) + left + x * cutWidth / width;
            const uint8_t* pixel = photograph.pixels.get() + source * 3;
            frame.insert(frame.end(), pixel, pixel + 3);
        }
    return frame;
}

}  // namespace

FrameSeries readFrames(const std::string& file, uint32_t width, uint32_t height) {
    Photograph photograph;
    int channels = 0;
    photograph.pixels.reset(stbi_load(file.c_str(), &photograph.width, &photograph.height, &channels, 3));
    if (!photograph.pixels) throw std::runtime_error("cannot read the picture " + file + "; ./zel models makes it");
    if (uint64_t(photograph.width) * 3 / 4 * height > uint64_t(photograph.height) * width)
        throw std::runtime_error("the picture " + file + " is too wide");
    FrameSeries series{width, height, {}};
    const uint32_t spare = static_cast<uint32_t>(photograph.width) / 4;
    for (uint32_t step = 0; step < kSteps; ++step)
        series.frames.push_back(cut(photograph, width, height, spare * step / (kSteps - 1)));
    return series;
}

}  // namespace zelbench
