#include "vp/src/CBlend.h"

#include "qorvp/Format.h"

namespace qorvp {

namespace {

bool isBlended(uint32_t format) {
    return isFormat(format) && !hasHalfChroma(format) && formatOf(format) != kFormatRgb565;
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
    blendPlane(foreground->plane[0], weights->plane[0], background->plane[0]);
    return kOk;
}

void CBlend::blendPlane(Plane foreground, Plane mask, Plane background) const {
    joinRows({&foreground, &mask, &background});
    for (int y = 0; y < background.height; ++y)
        m_blendRow(foreground.row(y), mask.row(y), background.row(y), background.width, background.bytes);
}

}  // namespace qorvp
