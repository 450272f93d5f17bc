#pragma once

#include "qorvp/Parameters.h"
#include "vp/src/BlendRow.h"
#include "vp/src/Features.h"
#include "vp/src/ParameterStrategy.h"
#include "vp/src/Planes.h"

namespace qorvp {

// Lays the source as foreground over the destination, in place, by the parameter's mask. All three have one size. One
// plane of bytes: formats 2, 5, 6, 7, 8 and 31, every channel alike; kErrorUnsupported for any other. kErrorArgument
// without a mask, for planes that are missing, rows longer than their stride, sizes that differ or planes that overlap.
class CBlend : public ParameterStrategy<BlendParameter> {
  public:
    explicit CBlend(uint32_t features = processorFeatures());

    int32_t Uninit(uint32_t number) override;
    int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override;

  private:
    void blendPlane(Plane foreground, Plane mask, Plane background) const;

    const BlendRow m_blendRow;
};

}  // namespace qorvp
