#pragma once

#include "vp/src/Features.h"
#include "vp/src/HalfSize.h"
#include "vp/src/NoParameterStrategy.h"

namespace qorvp {

// Video with chroma pairs (26, 29) at half its width and height, rounded down, into a destination of exactly that size
// and the same format that shares no byte with it; see HalfSize.h. The crop is not looked at.
//
// kErrorUnsupported for any other format; kErrorArgument for planes that are missing, rows longer than their stride, a
// destination of another size, format or none (the half of one pixel), or one that shares bytes.
class CHalfSize : public NoParameterStrategy {
  public:
    explicit CHalfSize(uint32_t features = processorFeatures()) : m_kernels(halfSizeKernels(features)) {}

    int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override;

  private:
    const HalfSizeKernels m_kernels;
};

}  // namespace qorvp
