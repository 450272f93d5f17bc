#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zelbench {

// Frames of width x height, 3 bytes a pixel: one part of a photograph in a light that changes from each to the next. A
// host infers all of them in their order, over and over: it compares a frame with one up to ten masks old, and here any
// two of thirteen frames differ in every pixel by more than it takes for a change.
struct FrameSeries {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<std::vector<uint8_t>> frames;

    const std::vector<uint8_t>& at(uint64_t number) const { return frames[number % frames.size()]; }
};

// Raises std::runtime_error when the file cannot be read.
FrameSeries readFrames(const std::string& file, uint32_t width, uint32_t height);

}  // namespace zelbench
