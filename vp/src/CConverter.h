#pragma once

#include "vp/src/ChromaMoves.h"
#include "vp/src/Features.h"
#include "vp/src/ParameterStrategy.h"
#include "vp/src/Turn.h"
#include "vp/src/YuvToRgb.h"

namespace qorvp {

// Changes the layout of 4:2:0 video (23, 24, 26, 29): to pixels (1, 2, 5, 6, 7, 8), the fourth channel being 255, and
// among each other. Sizes are made even first, in the records of both images. The picture goes to the first rows and
// columns of a destination that is as large or larger and shares no byte with the source; the rest of it stays.
//
// Rows are written in the opposite order when just one of the two formats is bottom-up; with both, both count as not.
// The parameter turns the picture by 0 or 180 degrees; 90 and 270 are not done here. The destination's size is looked
// at for both.
//
// kErrorUnsupported for any other pair of formats or angle; kErrorArgument for planes that are missing, rows longer
// than their stride, a size below 2 or a destination that is too small or overlaps.
class CConverter : public ParameterStrategy<int32_t> {
  public:
    explicit CConverter(uint32_t features = processorFeatures());

    int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override;

  private:
    const YuvKernels m_yuvKernels;
    const ChromaKernels m_chroma;
    const TurnKernels m_turns;
};

}  // namespace qorvp
