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
    const PlaneTurn turn = turnOf(m_degrees);
    const bool turned = isFormat(source->format) && formatOf(source->format) != kFormatGrey;
    if (!turn || !turned) return kErrorUnsupported;
    const bool across = m_degrees != 180;
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

int32_t CRotation::SetParam(uint32_t, const void* value) {
    if (!value) return kErrorArgument;
    m_degrees = *static_cast<const int32_t*>(value);
    return kOk;
}

int32_t CRotation::GetParam(uint32_t, void* value) {
    if (!value) return kErrorArgument;
    *static_cast<int32_t*>(value) = m_degrees;
    return kOk;
}

}  // namespace qorvp
