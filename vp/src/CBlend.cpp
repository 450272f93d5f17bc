#include "vp/src/CBlend.h"

#include "qorvp/Format.h"
#include "vp/src/Planes.h"

namespace qorvp {

namespace {

bool isBlended(uint32_t format) {
    switch (formatOf(format)) {
        case kFormatBgra:
        case kFormatBgr:
        case kFormatRgba:
        case kFormatArgb:
        case kFormatAbgr:
        case kFormatGrey:
            return true;
        default:
            return false;
    }
}

bool haveOneSize(const VpImage& a, const VpImage& b) {
    return a.width == b.width && a.height == b.height;
}

}  // namespace

CBlend::CBlend(uint32_t features) : m_blendRow(blendRowFor(features)) {}

int32_t CBlend::Uninit(uint32_t) {
    m_parameter = {};
    return kOk;
}

int32_t CBlend::Process(uint32_t, VpImage* source, VpImage* destination) {
    if (!source || !destination) return kErrorArgument;
    if (!isBlended(source->format)) return kErrorUnsupported;
    const VpImage& mask = m_parameter.mask;
    const bool fits = source->format == destination->format && formatOf(mask.format) == kFormatGrey &&
                      haveOneSize(*source, *destination) && haveOneSize(*source, mask);
    const std::optional<Planes> foreground = planesOf(*source);
    const std::optional<Planes> background = planesOf(*destination);
    const std::optional<Planes> weights = planesOf(mask);
    if (!fits || !foreground || !background || !weights) return kErrorArgument;
    if (overlapBadly(*foreground, *background) || shareBytes(*weights, *background)) return kErrorArgument;
    const Plane& to = background->plane[0];
    for (int y = 0; y < to.height; ++y)
        m_blendRow(foreground->plane[0].row(y), weights->plane[0].row(y), to.row(y), to.width, to.bytes);
    return kOk;
}

}  // namespace qorvp
