#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zelbench {

// Two frames of width x height, 3 bytes a pixel, cut from the photograph so that the person moves between them: a host
// that compares them never takes one for the other.
struct FramePair {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> first;
    std::vector<uint8_t> second;
};

// Raises std::runtime_error when the file cannot be read.
FramePair readFramePair(const std::string& file, uint32_t width, uint32_t height);

}  // namespace zelbench
