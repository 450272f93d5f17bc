#include "vp/src/CConverter.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "qorvp/Format.h"
#include "vp/src/Planes.h"

namespace qorvp {

namespace {

std::optional<ChromaLayout> chromaOf(uint32_t format) {
    switch (format) {
        case kFormatI420:
        case kFormatYv12:
            return ChromaLayout::kPlanar;
        case kFormatNv12:
            return ChromaLayout::kUv;
        case kFormatNv21:
            return ChromaLayout::kVu;
        default:
            return std::nullopt;
    }
}

std::optional<PixelLayout> pixelsOf(uint32_t format) {
    switch (format) {
        case kFormatRgb565:
            return PixelLayout::kRgb565;
        case kFormatBgr:
            return PixelLayout::kBgr;
        case kFormatBgra:
            return PixelLayout::kBgra;
        case kFormatRgba:
            return PixelLayout::kRgba;
        case kFormatArgb:
            return PixelLayout::kArgb;
        case kFormatAbgr:
            return PixelLayout::kAbgr;
        default:
            return std::nullopt;
    }
}

// Writes each row of `to` with `write(y)`, then turns it round if there is a way to.
template <class Write>
void writeRows(const Plane& to, int width, int height, RowMirror mirror, Write write) {
    for (int y = 0; y < height; ++y) {
        write(y);
        if (mirror) mirror(to.row(y), width, to.bytes);
    }
}

// From video whose planes are U before V to a destination of the same order.
class Conversion {
  public:
    Conversion(const Planes& from, ChromaLayout chroma, const Planes& to, RowMirror mirror)
        : m_from(from), m_to(to), m_chroma(chroma), m_mirror(mirror) {}

    void toPixels(PixelLayout layout, YuvKernels kernels) const {
        const YuvKernel convert = kernels(m_chroma, layout);
        const Plane &luma = m_from.plane[0], &u = m_from.plane[1], &v = m_from.plane[2], &to = m_to.plane[0];
        const bool planar = m_chroma == ChromaLayout::kPlanar;
        for (int y = 0; y < luma.height; y += 2) {
            convert({luma.row(y), luma.stride, u.row(y / 2), planar ? v.row(y / 2) : nullptr, to.row(y), to.stride,
                     luma.width});
            if (!m_mirror) continue;
            m_mirror(to.row(y), luma.width, to.bytes);
            m_mirror(to.row(y + 1), luma.width, to.bytes);
        }
    }

    void toVideo(ChromaLayout layout, const ChromaKernels& kernels) const {
        copy(0);
        if (layout == m_chroma)
            copyChroma();
        else if (m_chroma == ChromaLayout::kPlanar)
            interleave(layout, kernels);
        else if (layout == ChromaLayout::kPlanar)
            separate(kernels);
        else
            exchange(kernels);
    }

  private:
    void copy(int index) const {
        Plane from = m_from.plane[index], to = m_to.plane[index];
        if (!m_mirror) joinRows({&from, &to});
        writeRows(to, from.width, from.height, m_mirror,
                  [&](int y) { std::memcpy(to.row(y), from.row(y), from.rowBytes()); });
    }
    void copyChroma() const {
        for (int index = 1; index < m_from.count; ++index) copy(index);
    }
    void interleave(ChromaLayout layout, const ChromaKernels& kernels) const {
        Plane first = m_from.plane[1], second = m_from.plane[2], pairs = m_to.plane[1];
        if (layout == ChromaLayout::kVu) std::swap(first, second);
        if (!m_mirror) joinRows({&first, &second, &pairs});
        writeRows(pairs, first.width, first.height, m_mirror,
                  [&](int y) { kernels.interleaveRow(first.row(y), second.row(y), pairs.row(y), first.width); });
    }
    void separate(const ChromaKernels& kernels) const {
        Plane pairs = m_from.plane[1], first = m_to.plane[1], second = m_to.plane[2];
        if (m_chroma == ChromaLayout::kVu) std::swap(first, second);
        if (!m_mirror) joinRows({&pairs, &first, &second});
        for (int y = 0; y < pairs.height; ++y) {
            kernels.separateRow(pairs.row(y), first.row(y), second.row(y), pairs.width);
            if (!m_mirror) continue;
            m_mirror(first.row(y), pairs.width, 1);
            m_mirror(second.row(y), pairs.width, 1);
        }
    }
    void exchange(const ChromaKernels& kernels) const {
        Plane from = m_from.plane[1], to = m_to.plane[1];
        if (!m_mirror) joinRows({&from, &to});
        writeRows(to, from.width, from.height, m_mirror,
                  [&](int y) { kernels.exchangeRow(from.row(y), to.row(y), from.width); });
    }

    const Planes& m_from;
    const Planes& m_to;
    const ChromaLayout m_chroma;
    const RowMirror m_mirror;  // null for rows that stay as they are
};

// The planes of the first width x height pixels, rows as they lie in memory, U before V.
std::optional<Planes> uprightPlanes(VpImage image, int32_t width, int32_t height) {
    image.format = formatOf(image.format);
    image.width = width;
    image.height = height;
    if (image.format == kFormatYv12) std::swap(image.planes[1], image.planes[2]);
    return planesOf(image);
}

}  // namespace

CConverter::CConverter(uint32_t features)
    : m_yuvKernels(yuvKernels(features)), m_chroma(chromaKernels(features)), m_turns(turnKernels(features)) {}

int32_t CConverter::Process(uint32_t, VpImage* source, VpImage* destination) {
    if (!source || !destination) return kErrorArgument;
    for (VpImage* image : {source, destination}) {
        image->width &= ~1;
        image->height &= ~1;
    }
    const int32_t degrees = m_parameter;
    const uint32_t target = formatOf(destination->format);
    const std::optional<ChromaLayout> chroma = chromaOf(formatOf(source->format));
    const std::optional<ChromaLayout> video = chromaOf(target);
    const std::optional<PixelLayout> pixels = pixelsOf(target);
    if (!chroma || (!video && !pixels) || (degrees != 0 && degrees != 180)) return kErrorUnsupported;
    if (destination->width < source->width || destination->height < source->height) return kErrorArgument;
    std::optional<Planes> from = uprightPlanes(*source, source->width, source->height);
    const std::optional<Planes> to = uprightPlanes(*destination, source->width, source->height);
    if (!from || !to || shareBytes(*from, *to)) return kErrorArgument;

    const bool turned = degrees == 180;
    const bool flip = ((source->format ^ destination->format) & kBottomUp) != 0;
    if (flip != turned) std::transform(from->plane, from->plane + from->count, from->plane, flipped);
    const Conversion conversion(*from, *chroma, *to, turned ? m_turns.mirrorRow : nullptr);
    if (video)
        conversion.toVideo(*video, m_chroma);
    else
        conversion.toPixels(*pixels, m_yuvKernels);
    return kOk;
}

}  // namespace qorvp
