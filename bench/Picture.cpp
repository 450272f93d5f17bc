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

// The part of 16:9 that begins at `left`, `top` fractions of what is spare, by nearest pixel.
std::vector<uint8_t> cut(const Photograph& photograph, uint32_t width, uint32_t height, double left, double top) {
    const int cutWidth = photograph.width * 3 / 4;
    const int cutHeight = cutWidth * static_cast<int>(height) / static_cast<int>(width);
    const int x0 = static_cast<int>((photograph.width - cutWidth) * left);
    const int y0 = static_cast<int>((photograph.height - cutHeight) * top);
    std::vector<uint8_t> frame;
    frame.reserve(size_t{width} * height * 3);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const int sourceX = x0 + static_cast<int>(x * static_cast<uint32_t>(cutWidth) / width);
            const int sourceY = y0 + static_cast<int>(y * static_cast<uint32_t>(cutHeight) / height);
            const uint8_t* pixel = photograph.pixels.get() + (size_t(sourceY) * photograph.width + sourceX) * 3;
            frame.insert(frame.end(), pixel, pixel + 3);
        }
    return frame;
}

}  // namespace

FramePair readFramePair(const std::string& file, uint32_t width, uint32_t height) {
    Photograph photograph;
    int channels = 0;
    photograph.pixels.reset(stbi_load(file.c_str(), &photograph.width, &photograph.height, &channels, 3));
    if (!photograph.pixels) throw std::runtime_error("cannot read the picture " + file + "; ./zel models makes it");
    return {width, height, cut(photograph, width, height, 0.1, 0.0), cut(photograph, width, height, 0.8, 0.1)};
}

}  // namespace zelbench
