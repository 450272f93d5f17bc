#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>

#include "qorvp/VpImage.h"

namespace qorvp {

// One plane of an image, top row first: for rows that lie bottom-up the data begin with the last row and the stride is
// negative.
struct Plane {
    uint8_t* data;
    ptrdiff_t stride;  // bytes
    int width;         // samples, each of `bytes`
    int height;
    int bytes;  // of a sample: 1, 2 for a pair of chroma values, 2 to 4 for a pixel

    uint8_t* row(int y) const { return data + y * stride; }
    size_t rowBytes() const { return static_cast<size_t>(width) * static_cast<size_t>(bytes); }
};

// The same rows in the opposite order.
Plane flipped(Plane plane);

struct Planes {
    Plane plane[3];
    int count;
};

// The planes of an image by its format, at its whole size. Nothing for a format that has no planes here, a plane that
// is missing, a size outside 1..kLargestSide, or a row that is longer than its stride.
std::optional<Planes> planesOf(const VpImage& image);

// Makes each of the planes, which have one width and height, a single row when the rows of all follow each other
// without a gap: kernels of rows are the faster the longer these are.
void joinRows(std::initializer_list<Plane*> planes);

// Whether the number, bottom-up or not, is a format of Format.h.
bool isFormat(uint32_t format);

// Whether the number, bottom-up or not, is a 4:2:0 format: planes of chroma at half the width and height.
bool hasHalfChroma(uint32_t format);

// Whether it is one whose chroma lies in pairs, in one plane.
bool hasChromaPairs(uint32_t format);

// Bytes of a sample of plane 0; 0 for a number that is no format.
int sampleBytes(uint32_t format);

// Whether planes of the two have bytes in common.
bool shareBytes(const Planes& from, const Planes& to);

// Whether writing to one set of planes changes another in a way that working in place does not: planes that share
// bytes, but for one with itself.
bool overlapBadly(const Planes& from, const Planes& to);

}  // namespace qorvp
