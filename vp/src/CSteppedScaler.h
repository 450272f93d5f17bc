#pragma once

#include "vp/src/Features.h"
#include "vp/src/HalfSize.h"
#include "vp/src/HalveRows.h"
#include "vp/src/ParameterStrategy.h"
#include "vp/src/SteppedRows.h"

namespace qorvp {

// Scales an image to the destination's size, any. The parameter is the mode, a byte of Parameters.h: kScaleWeighted
// mixes the two samples beside a place, first in rows, then between these; kScaleNearest takes the nearest. Places go
// by steps of fixed point, see SteppedRows.h. Video with chroma pairs at exactly half the size is made by the kernels
// of HalfSize.h in either mode. Formats 23, 24, 26, 29 and 31; kErrorUnsupported for any other. The crop is not looked
// at.
//
// kErrorArgument for planes that are missing, rows longer than their stride, a destination of another format or one
// that shares bytes with the source, and for an odd width or height of 4:2:0 video but for exactly half the size.
class CSteppedScaler : public ParameterStrategy<uint8_t> {
  public:
    explicit CSteppedScaler(uint32_t features = processorFeatures());

    int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override;
    // kErrorArgument for a mode that there is not, too; the last one holds then.
    int32_t SetParam(uint32_t number, const void* value) override;

  private:
    void scalePlane(const Plane& from, const Plane& to) const;

    const uint32_t m_features;
    const HalfSizeKernels m_halfSize;
    const HalveRows m_halveRows;  // null where halving goes like any other scaling
    SteppedKernels m_kernels;     // of the mode
};

}  // namespace qorvp
