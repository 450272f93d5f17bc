#include "vp/src/TestImage.h"

#include <algorithm>

namespace qorvp::test {

namespace {

// The planes of such an image as they would be without memory: a stride of one byte for each goes with any place.
Planes shapeOf(uint32_t format, int width, int height) {
    static uint8_t place;
    VpImage image = {{&place, &place, &place}, 0, width * 4, width * 4, 0, 0, 0, width, height, formatOf(format)};
    return *planesOf(image);
}

}  // namespace

TestImage::TestImage(uint32_t format, int width, int height, int padding, Guard guard) {
    m_image.format = format;
    m_image.width = width;
    m_image.height = height;
    const Planes shape = shapeOf(format, width, height);
    for (int index = 0; index < shape.count; ++index) {
        const Plane& plane = shape.plane[index];
        const int stride = plane.width * plane.bytes + padding;
        const int bytes = std::max(stride * plane.height - padding, 1);
        m_memory.push_back(std::make_unique<platform::GuardedMemory>(static_cast<size_t>(bytes), guard));
        m_image.planes[index] = m_memory.back()->data();
        (index == 0 ? m_image.stride0 : m_image.stride1) = stride;
    }
}

void TestImage::fillRandom(std::mt19937& random) {
    for (const auto& memory : m_memory)
        std::generate(memory->begin(), memory->end(), [&random] { return static_cast<uint8_t>(random()); });
}

void TestImage::fill(uint8_t value) {
    for (const auto& memory : m_memory) std::fill(memory->begin(), memory->end(), value);
}

std::vector<uint8_t> TestImage::bytes() const {
    std::vector<uint8_t> all;
    for (const auto& memory : m_memory) all.insert(all.end(), memory->begin(), memory->end());
    return all;
}

std::vector<uint8_t> TestImage::samples() const {
    std::vector<uint8_t> all;
    const Planes own = planes();
    for (int index = 0; index < own.count; ++index) {
        const Plane& plane = own.plane[index];
        for (int y = 0; y < plane.height; ++y)
            all.insert(all.end(), plane.row(y), plane.row(y) + plane.width * plane.bytes);
    }
    return all;
}

}  // namespace qorvp::test
