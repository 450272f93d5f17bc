#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qorml {

// Pixels.
struct Size {
    size_t width = 0;
    size_t height = 0;
    size_t pixels() const { return width * height; }
    friend bool operator==(const Size&, const Size&) = default;
};

// Brings lines of one length to another: a longer one is interpolated, a shorter one averaged, the weights of what a
// pixel is made of falling off linearly from its middle. Equal lengths change nothing.
class LineScale {
  public:
    // Neither is 0.
    LineScale(size_t from, size_t to);

    // Pixel `i` of the new line is the sum of `count` old ones from `first` on, each by its weight.
    struct Part {
        size_t first;
        size_t count;
        const float* weights;
    };
    Part part(size_t i) const { return {mFirst[i], mStart[i + 1] - mStart[i], mWeights.data() + mStart[i]}; }

  private:
    std::vector<size_t> mFirst;
    std::vector<size_t> mStart;  // of each pixel's weights, and their end
    std::vector<float> mWeights;
};

// Brings planes of bytes from one size to another, without regard to its shape. One thread at a time.
class Resizer {
  public:
    // No side is 0.
    Resizer(Size from, Size to);

    // Plane `from` has its pixels `step` bytes apart, rows packed; to takes one float a pixel, 0..255.
    void toFloats(const uint8_t* from, size_t step, float* to);
    // Packed bytes to packed bytes, rounded.
    void toBytes(const uint8_t* from, uint8_t* to);

  private:
    // Row `y`, valid until the next call.
    const std::vector<float>& row(size_t y, const uint8_t* from, size_t step);

    const Size mFrom;
    const Size mTo;
    const LineScale mAcross;
    const LineScale mDown;
    std::vector<float> mMixed;  // of the old width
    std::vector<float> mRow;    // of the new one
};

}  // namespace qorml
