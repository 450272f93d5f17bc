#pragma once

#include <cstddef>
#include <memory>

#include "qorvp/IQorVP.h"

namespace qorvp {

// Gaussian blur by a recursive filter, whose time does not depend on sigma. From the source's planes to the
// destination's of the same size, which may be the source's own but not overlap them otherwise; what lies beyond the
// border is taken for the border's pixel. Formats: four channels in one plane (2, 6, 7, 8), one channel (31), and
// planar 4:2:0 (23, 24), whose chroma planes are blurred at half the width and height, rounded down, with the same
// sigma. The crop is not looked at.
//
// Process returns kErrorUnsupported for any other format and kErrorArgument for a missing image or plane, a destination
// of another size, sides above kLargestSide, or rows that are longer than their stride; kErrorFailed without memory. To
// the front object a missing source is one of format 0, so that it returns kErrorUnsupported there.
// The coefficients are one set for the whole process: the last SetParam of any blur holds for all of them, and before
// the first it is that of sigma 0.5. Any thread may call different objects at the same time.
class CGaussBlur : public IStrategy {
  public:
    // Throws std::bad_alloc when there is no memory.
    CGaussBlur();
    ~CGaussBlur() override;

    // Gives the work memory back.
    int32_t Uninit(uint32_t number) override;
    int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override;
    // `value` points to the sigma, a float in pixels; below 0.5 and not a number it counts as 0.5, above 40960 as
    // 40960. kErrorArgument for null.
    int32_t SetParam(uint32_t number, const void* value) override;
    // The sigma that this object was given last, a float, as it was given; 0 before. kErrorArgument for null.
    int32_t GetParam(uint32_t number, void* value) override;

  private:
    struct Work;

    float m_sigma = 0;
    std::unique_ptr<Work> m_work;
};

}  // namespace qorvp
