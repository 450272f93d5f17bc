#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "platform/include/guarded_memory.h"
#include "qorvp/Format.h"
#include "vp/src/Planes.h"

namespace qorvp::test {

inline constexpr uint32_t kAllFormats[] = {kFormatRgb565, kFormatBgra, kFormatBgr,  kFormatRgba,
                                           kFormatArgb,   kFormatAbgr, kFormatI420, kFormatYv12,
                                           kFormatNv12,   kFormatNv21, kFormatGrey};

using Guard = platform::GuardedMemory::Guard;

// An image in memory that ends where its last row does, or begins where its first row does. Rows lie `padding` bytes
// apart. Filled with zeros.
class TestImage {
  public:
    TestImage(uint32_t format, int width, int height, int padding = 0, Guard guard = Guard::kBehind);

    VpImage& image() { return m_image; }
    Planes planes() const { return *planesOf(m_image); }
    void fillRandom(std::mt19937& random);
    void fill(uint8_t value);
    // All bytes of all planes, what lies between rows included.
    std::vector<uint8_t> bytes() const;
    // The samples alone, row by row from the top, plane by plane.
    std::vector<uint8_t> samples() const;

  private:
    VpImage m_image{};
    std::vector<std::unique_ptr<platform::GuardedMemory>> m_memory;
};

}  // namespace qorvp::test
