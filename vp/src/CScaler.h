#pragma once

#include "vp/src/Features.h"
#include "vp/src/HalveRows.h"
#include "vp/src/NoParameterStrategy.h"
#include "vp/src/ScaledRows.h"

namespace qorvp {

// Scales the source's region, from cropX and cropY to its width and height, to the whole destination, whose crop is not
// looked at: bilinear, first along the rows, then between them, with positions as ScaleAxis has them. The crop counts
// from the top, for rows that lie bottom-up too.
//
// kErrorUnsupported for format 1 or one that is none. kErrorArgument for planes that are missing, rows longer than
// their stride, sizes outside 1..kLargestSide, a crop below 0 or outside the source, formats that differ, planes that
// share bytes, and for 4:2:0 formats an odd width, height or crop.
class CScaler : public NoParameterStrategy {
  public:
    explicit CScaler(uint32_t features = processorFeatures());

    // Gives the work memory back.
    int32_t Uninit(uint32_t number) override;
    int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override;

  private:
    void scalePlane(const Plane& from, const Plane& to, ScaledRows& rows);

    const HalveRows m_halveRows;  // null where halving goes like any other scaling
    const BilinearKernels m_kernels;
    ScaledRows m_rows;    // of plane 0
    ScaledRows m_chroma;  // of the others, which are of one size
};

}  // namespace qorvp
