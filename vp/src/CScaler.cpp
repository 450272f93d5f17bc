#include "vp/src/CScaler.h"

#include "qorvp/Format.h"

namespace qorvp {

namespace {

bool isScaled(uint32_t format) {
    return isFormat(format) && formatOf(format) != kFormatRgb565;
}

bool isCropInside(const VpImage& image) {
    return image.cropX >= 0 && image.cropX < image.width && image.cropY >= 0 && image.cropY < image.height;
}

bool isEven(const VpImage& source, const VpImage& destination) {
    const int32_t all =
        source.width | source.height | source.cropX | source.cropY | destination.width | destination.height;
    return (all & 1) == 0;
}

// The planes from the crop on.
Planes regionOf(const VpImage& image, Planes planes) {
    for (int index = 0; index < planes.count; ++index) {
        Plane& plane = planes.plane[index];
        const int shift = index == 0 ? 0 : 1;
        const int left = image.cropX >> shift, top = image.cropY >> shift;
        plane.data = plane.row(top) + ptrdiff_t{left} * plane.bytes;
        plane.width -= left;
        plane.height -= top;
    }
    return planes;
}

}  // namespace

CScaler::CScaler(uint32_t features)
    : m_halveRows((features & kAvx2) != 0 ? halveKernels(features).bilinear : nullptr),
      m_kernels(bilinearKernels(features)),
      m_rows(m_kernels),
      m_chroma(m_kernels) {}

int32_t CScaler::Uninit(uint32_t) {
    m_rows.release();
    m_chroma.release();
    return kOk;
}

int32_t CScaler::Process(uint32_t, VpImage* source, VpImage* destination) {
    if (!source || !destination) return kErrorArgument;
    if (!isScaled(source->format)) return kErrorUnsupported;
    const bool fits = source->format == destination->format && isCropInside(*source) &&
                      (!hasHalfChroma(source->format) || isEven(*source, *destination));
    const std::optional<Planes> from = planesOf(*source);
    const std::optional<Planes> to = planesOf(*destination);
    if (!fits || !from || !to || shareBytes(*from, *to)) return kErrorArgument;
    const Planes region = regionOf(*source, *from);
    for (int index = 0; index < region.count; ++index)
        scalePlane(region.plane[index], to->plane[index], index == 0 ? m_rows : m_chroma);
    return kOk;
}

void CScaler::scalePlane(const Plane& from, const Plane& to, ScaledRows& rows) {
    if (m_halveRows && isHalf(from, to) && to.bytes != 3) {
        halvePlane(from, to, m_halveRows);
        return;
    }
    const ScaleAxis down(from.height, to.height);
    rows.begin(from, to.width);
    for (int y = 0; y < to.height; ++y) {
        const uint32_t position = down.position(y);
        rows.write(static_cast<int>(position >> 16), static_cast<int>(position >> 8 & 0xFF), to.row(y));
    }
}

}  // namespace qorvp
