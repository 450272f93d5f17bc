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

constexpr uint8_t kFrames = 13;
constexpr uint8_t kLightStep = 11;  // three bytes of a pixel then differ by 33; more than 30 is a change

// The middle of the photograph, as wide as it is, by nearest pixel.
std::vector<uint8_t> cut(const Photograph& photograph, uint32_t width, uint32_t height) {
    const auto cutWidth = static_cast<uint32_t>(photograph.width);
    const uint32_t cutHeight = cutWidth * height / width;
    const uint32_t top = (static_cast<uint32_t>(photograph.height) - cutHeight) / 2;
    std::vector<uint8_t> frame;
    frame.reserve(size_t{width} * height * 3);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const size_t source = size_t{top + y * cutHeight / height} * cutWidth + x * cutWidth / width;
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
    if (int64_t{photograph.width} * height > int64_t{photograph.height} * width)
        throw std::runtime_error("the picture " + file + " is wider than " + std::to_string(width) + ":" +
                                 std::to_string(height));
    FrameSeries series{width, height, {}};
    const std::vector<uint8_t> picture = cut(photograph, width, height);
    for (uint8_t number = 0; number < kFrames; ++number) {
        std::vector<uint8_t> frame = picture;
        for (uint8_t& byte : frame) byte = static_cast<uint8_t>(byte * 4 / 9 + number * kLightStep);
        series.frames.push_back(std::move(frame));
    }
    return series;
}

}  // namespace zelbench
