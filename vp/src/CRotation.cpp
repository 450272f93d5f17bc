#include "vp/src/CRotation.h"

#include "qorvp/Format.h"
#include "vp/src/Planes.h"

namespace qorvp {

namespace {

PlaneTurn turnBy(int32_t degrees, const TurnKernels& turns) {
    switch (degrees) {
        case 90:
            return turns.by90;
        case 180:
            return turns.by180;
        case 270:
            return turns.by270;
        default:
            return nullptr;
    }
}

}  // namespace

CRotation::CRotation(uint32_t features) : m_turns(turnKernels(features)) {}

int32_t CRotation::Process(uint32_t, VpImage* source, VpImage* destination) {
    if (!source || !destination) return kErrorArgument;
    const int32_t degrees = m_parameter;
    const PlaneTurn turn = turnBy(degrees, m_turns);
    const bool turned = isFormat(source->format) && formatOf(source->format) != kFormatGrey;
    if (!turn || !turned) return kErrorUnsupported;
    const bool across = degrees != 180;
    const int32_t width = across ? source->height : source->width;
    const int32_t height = across ? source->width : source->height;
    const bool fits =
        source->format == destination->format && destination->width == width && destination->height == height;
    const std::optional<Planes> from = planesOf(*source);
    const std::optional<Planes> to = planesOf(*destination);
    if (!fits || !from || !to || shareBytes(*from, *to)) return kErrorArgument;
    for (int index = 0; index < from->count; ++index) turn(from->plane[index], to->plane[index]);
    return kOk;
}

}  // namespace qorvp
