#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "qorvp/VpImage.h"

namespace zelbench::vp {

struct Plane {
    uint8_t* data;
    int stride;  // bytes, as many as the row has
    int width;   // samples
    int height;
    int bytes;  // of a sample

    uint8_t* row(int y) const { return data + static_cast<ptrdiff_t>(y) * stride; }
};

struct Free {
    void operator()(uint8_t* memory) const { std::free(memory); }
};
using AlignedBytes = std::unique_ptr<uint8_t, Free>;

// Zeros that begin at a multiple of 64 bytes. Raises std::bad_alloc.
AlignedBytes alignedBytes(size_t count);

// An image in memory of its own that begins at a multiple of 64 bytes: plane behind plane and row behind row, without
// padding. Zeros at first. Whoever has the image may write its samples.
class Image {
  public:
    // Width and height are even. Raises std::invalid_argument for a format that is none.
    Image(uint32_t format, int width, int height);

    uint32_t format() const { return mFormat; }
    int width() const { return mPlanes[0].width; }
    int height() const { return mPlanes[0].height; }
    const std::vector<Plane>& planes() const { return mPlanes; }
    uint8_t* data() const { return mPlanes[0].data; }
    size_t bytes() const { return mBytes; }
    // The image as the library is told of it; holds as long as the image.
    qorvp::VpImage record() const;

    // Gives its own memory up for that of `other`, of the same format and size, which must outlive it.
    void shareMemoryOf(const Image& other);
    // Each byte at random, always the same from one seed.
    void fillRandom(uint32_t seed);
    // The same for 4:2:0 within the levels of video: luma 16..235, chroma 16..240.
    void fillRandomVideo(uint32_t seed);
    // What cameras see rather: soft shades, edges and a little noise.
    void fillScene(uint32_t seed);
    // Soft waves alone: next samples differ by at most 3 levels.
    void fillWaves();

  private:
    uint32_t mFormat;
    std::vector<Plane> mPlanes;
    size_t mBytes = 0;
    AlignedBytes mMemory;
};

// "BGRA", "I420".
std::string formatName(uint32_t format);
// "1280x720".
std::string sizeName(int width, int height);

}  // namespace zelbench::vp
