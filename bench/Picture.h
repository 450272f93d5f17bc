#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zelbench {

// Frames of width x height, 3 bytes a pixel: a camera pans over a photograph, thirteen steps and over again. A host
// infers all of them: it compares a frame with one that is up to ten frames old, and here that one shows another step.
struct FrameSeries {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<std::vector<uint8_t>> frames;

    const std::vector<uint8_t>& at(uint64_t number) const { return frames[number % frames.size()]; }
};

// Raises std::runtime_error when the file cannot be read.
FrameSeries readFrames(const std::string& file, uint32_t width, uint32_t height);

}  // namespace zelbench
