#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Pictures and masks in memory, and what the tool does with them by its own means; see Composite.h for the rest.
namespace zeltool {

// Rows from the top without padding, `channels` bytes a pixel.
struct Image {
    Image() = default;
    Image(uint32_t w, uint32_t h, uint32_t c) : width(w), height(h), channels(c), bytes(size_t{w} * h * c) {}

    bool empty() const { return bytes.empty(); }
    uint8_t* row(uint32_t y) { return bytes.data() + size_t{y} * width * channels; }
    const uint8_t* row(uint32_t y) const { return bytes.data() + size_t{y} * width * channels; }

    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t channels = 3;  // 3: red, green, blue; 4: and alpha; 1: a mask, 0 background to 255 person
    std::vector<uint8_t> bytes;
};

// A rectangle in pixels.
struct Area {
    uint32_t x = 0;
    uint32_t y = 0;
    uint32_t width = 0;
    uint32_t height = 0;
};

// A picture of any number of channels in another size: each pixel is the mean of what it covers, or lies between its
// neighbours where the picture grows. Neither size may have a zero side.
Image scaled(const Image& picture, uint32_t width, uint32_t height);

// The largest centred area of a width x height frame with the shape of the picture.
Area areaInside(uint32_t pictureWidth, uint32_t pictureHeight, uint32_t width, uint32_t height);

// The whole picture in a width x height frame, its shape kept, black around it. *area is where it lies.
Image letterboxed(const Image& picture, uint32_t width, uint32_t height, Area* area);

// The picture in the largest size of its shape that fits into width x height; its own size if that fits.
Image fitted(const Image& picture, uint32_t width, uint32_t height);

// The brightness of a picture of three channels, in one: 0.299 red, 0.587 green, 0.114 blue.
Image grey(const Image& picture);

// The part of a picture, or of a mask, that lies in `area`.
Image cropped(const Image& picture, const Area& area);

// A picture that fills width x height, its shape kept, its sides cut off.
Image covering(const Image& picture, uint32_t width, uint32_t height);

Image plainColour(uint32_t width, uint32_t height, uint8_t red, uint8_t green, uint8_t blue);

// The picture with the mask as its alpha channel.
Image cutOut(const Image& picture, const Image& mask);

// Share of the mask's weight, 0 to 1, and the smallest area that holds every pixel of at least 128.
double coverage(const Image& mask);
Area personArea(const Image& mask);

}  // namespace zeltool
