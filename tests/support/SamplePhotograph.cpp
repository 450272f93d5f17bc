#include "tests/support/SamplePhotograph.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

namespace zeltest {

std::vector<uint8_t> samplePhotograph(int32_t width, int32_t height) {
    int fullWidth = 0;
    int fullHeight = 0;
    int channels = 0;
    uint8_t* const full = stbi_load(ZELHOST_SAMPLE_PHOTOGRAPH, &fullWidth, &fullHeight, &channels, 3);
    if (!full) throw std::runtime_error(std::string("cannot read ") + ZELHOST_SAMPLE_PHOTOGRAPH);
    const int32_t partHeight = fullWidth * 9 / 16;
    std::vector<uint8_t> scaled;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const int32_t left = x * fullWidth / width, right = std::max((x + 1) * fullWidth / width, left + 1);
            const int32_t top = y * partHeight / height, bottom = std::max((y + 1) * partHeight / height, top + 1);
            for (int32_t c = 0; c < 3; ++c) {
                int32_t sum = 0;
                for (int32_t v = top; v < bottom; ++v) {
                    for (int32_t u = left; u < right; ++u) sum += full[(v * fullWidth + u) * 3 + c];
                }
                scaled.push_back(static_cast<uint8_t>(sum / ((bottom - top) * (right - left))));
            }
        }
    }
    stbi_image_free(full);
    return scaled;
}

}  // namespace zeltest
