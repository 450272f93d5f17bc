#include "vp/src/CRotation.h"

#include "qorvp/Format.h"
#include "vp/src/Planes.h"
#include "vp/src/Turn.h"

namespace qorvp {

namespace {

using PlaneTurn = void (*)(const Plane& from, const Plane& to);

PlaneTurn turnOf(int32_t degrees) {
    switch (degrees) {
        case 90:
            return turn90;
        case 180:
            return turn180;
        case 270:
            return turn270;
        default:
            return nullptr;
    }
}

}  // namespace

int32_t CRotation::Process(uint32_t, VpImage* source, VpImage* destination) {
    if (!source || !destination) return kErrorArgument;
    const int32_t degrees = m_parameter;
    const PlaneTurn turn = turnOf(degrees);
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
