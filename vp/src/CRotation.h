#pragma once

#include "vp/src/Features.h"
#include "vp/src/ParameterStrategy.h"
#include "vp/src/Turn.h"

namespace qorvp {

// Turns an image clockwise by its parameter, 90, 180 or 270 degrees, into a destination of exactly the turned size that
// shares no byte with it. kErrorUnsupported for any other angle and for format 31 or one that is none; kErrorArgument
// for planes that are missing, rows longer than their stride or a destination of another size.
class CRotation : public ParameterStrategy<int32_t> {
  public:
    explicit CRotation(uint32_t features = processorFeatures());

    int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override;

  private:
    const TurnKernels m_turns;
};

}  // namespace qorvp
