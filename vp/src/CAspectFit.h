#pragma once

#include "qorvp/Parameters.h"
#include "vp/src/ParameterStrategy.h"

namespace qorvp {

// Finds the region of a frame, the source at its whole size, that has the parameter's size or ratio, and writes it to
// the destination's record: cropX and cropY where it begins, width and height where it ends, as the scaler reads a
// region. It lies in the frame's middle; in 4:2:0 formats it begins at an even column and row, but a size that is odd
// stays so. A destination without a plane 0 also gets the source's planes, strides and format, a view of the region in
// the source's memory; the record's other fields stay. No pixel is read, and planes and formats are not looked at.
//
// A ratio's two values are exchanged when the frame is landscape, at least as wide as high, and the pair is not, or the
// other way round. kErrorFailed for a ratio with a 0 or one whose values exceed the frame; kErrorArgument for null, a
// frame without a size, a parameter below 0 or a target larger than the frame: its region would begin before the frame
// and end behind it, and a view of it leave the frame's memory.
class CAspectFit : public ParameterStrategy<AspectFitParameter> {
  public:
    int32_t Process(uint32_t number, VpImage* source, VpImage* destination) override;
};

}  // namespace qorvp
