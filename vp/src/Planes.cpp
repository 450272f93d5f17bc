#include "vp/src/Planes.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "qorvp/Format.h"

namespace qorvp {

namespace {

// How a plane lies beside the image: its samples' bytes, and by how many bits width and height are shifted.
struct PlaneLayout {
    int bytes;
    int shift;
};

struct Layout {
    int count;
    PlaneLayout plane[3];
};

constexpr Layout onePlane(int bytes) {
    return {1, {{bytes, 0}, {}, {}}};
}
constexpr Layout kPlanar = {3, {{1, 0}, {1, 1}, {1, 1}}};
constexpr Layout kInterleaved = {2, {{1, 0}, {2, 1}, {}}};

std::optional<Layout> layoutOf(uint32_t format) {
    switch (formatOf(format)) {
        case kFormatRgb565:
            return onePlane(2);
        case kFormatBgr:
            return onePlane(3);
        case kFormatBgra:
        case kFormatRgba:
        case kFormatArgb:
        case kFormatAbgr:
            return onePlane(4);
        case kFormatGrey:
            return onePlane(1);
        case kFormatI420:
        case kFormatYv12:
            return kPlanar;
        case kFormatNv12:
        case kFormatNv21:
            return kInterleaved;
        default:
            return std::nullopt;
    }
}

Plane planeOf(const VpImage& image, int index, const PlaneLayout& layout) {
    Plane plane = {image.planes[index], index == 0 ? image.stride0 : image.stride1, image.width >> layout.shift,
                   image.height >> layout.shift, layout.bytes};
    const bool bottomUp = (image.format & kBottomUp) != 0 && plane.height > 0;
    return bottomUp && plane.data ? flipped(plane) : plane;
}

bool isSound(const VpImage& image, int index, const Plane& plane) {
    const int32_t stride = index == 0 ? image.stride0 : image.stride1;
    return plane.data && stride >= int64_t{plane.width} * plane.bytes;
}

bool isSide(int32_t size) {
    return size >= 1 && size <= kLargestSide;
}

// The bytes from the first row's begin to the last row's end.
struct Span {
    const uint8_t* begin;
    const uint8_t* end;
};

ptrdiff_t rowBytes(const Plane& plane) {
    return static_cast<ptrdiff_t>(plane.rowBytes());
}

Span spanOf(const Plane& plane) {
    const uint8_t* const first = plane.row(0);
    const uint8_t* const last = plane.row(plane.height - 1);
    return {std::min(first, last), std::max(first, last) + rowBytes(plane)};
}

// Planes of one stride may lie side by side in the same rows of memory.
bool areRowsApart(const Plane& a, const Plane& b) {
    const ptrdiff_t stride = std::abs(a.stride);
    if (stride == 0 || stride != std::abs(b.stride)) return false;
    const ptrdiff_t distance = spanOf(b).begin - spanOf(a).begin;
    const ptrdiff_t column = ((distance % stride) + stride) % stride;
    return column >= rowBytes(a) && column + rowBytes(b) <= stride;
}

bool shareBytes(const Plane& a, const Plane& b) {
    if (a.width == 0 || a.height == 0 || b.width == 0 || b.height == 0) return false;
    const Span first = spanOf(a), second = spanOf(b);
    return first.begin < second.end && second.begin < first.end && !areRowsApart(a, b);
}

}  // namespace

Plane flipped(Plane plane) {
    plane.data = plane.row(plane.height - 1);
    plane.stride = -plane.stride;
    return plane;
}

std::optional<Planes> planesOf(const VpImage& image) {
    const std::optional<Layout> layout = layoutOf(image.format);
    if (!layout || !isSide(image.width) || !isSide(image.height)) return std::nullopt;
    Planes planes = {{}, layout->count};
    for (int index = 0; index < planes.count; ++index) {
        planes.plane[index] = planeOf(image, index, layout->plane[index]);
        if (!isSound(image, index, planes.plane[index])) return std::nullopt;
    }
    return planes;
}

void joinRows(std::initializer_list<Plane*> planes) {
    const bool joined = std::all_of(planes.begin(), planes.end(), [](const Plane* plane) {
        const int64_t samples = int64_t{plane->width} * plane->height;
        return plane->stride == rowBytes(*plane) && samples * plane->bytes <= std::numeric_limits<int>::max();
    });
    if (!joined) return;
    for (Plane* const plane : planes) {
        plane->width *= plane->height;
        plane->height = 1;
    }
}

bool isFormat(uint32_t format) {
    return layoutOf(format).has_value();
}

bool hasHalfChroma(uint32_t format) {
    const std::optional<Layout> layout = layoutOf(format);
    return layout && layout->count > 1;
}

bool hasChromaPairs(uint32_t format) {
    const std::optional<Layout> layout = layoutOf(format);
    return layout && layout->count == 2;
}

int sampleBytes(uint32_t format) {
    const std::optional<Layout> layout = layoutOf(format);
    return layout ? layout->plane[0].bytes : 0;
}

bool shareBytes(const Planes& from, const Planes& to) {
    for (int i = 0; i < from.count; ++i) {
        for (int k = 0; k < to.count; ++k) {
            if (shareBytes(from.plane[i], to.plane[k])) return true;
        }
    }
    return false;
}

bool overlapBadly(const Planes& from, const Planes& to) {
    for (int i = 0; i < from.count; ++i) {
        for (int k = 0; k < to.count; ++k) {
            const Plane &a = from.plane[i], &b = to.plane[k];
            const bool same = i == k && a.data == b.data && a.stride == b.stride;
            if (!same && shareBytes(a, b)) return true;
        }
    }
    return false;
}

}  // namespace qorvp
