#pragma once

#include <cstddef>
#include <cstdint>

#include "vp/src/BilinearGroups.h"
#include "vp/src/ScaleAxis.h"

// The two steps of bilinear scaling, along a row and between two. No row overlaps another.
namespace qorvp {

// `count` samples of `channels` bytes, 1 to 4, from positions of 16 fraction bits, each a step behind the one before:
// x0 + (((x1 - x0) * f + 0x40) >> 7), where x0 and x1 are the source's samples at the position's whole part and behind
// it and f is the 7 bits below the whole part.
void bilinearLine(const uint8_t* from, int channels, uint32_t position, uint32_t step, uint8_t* to, int count);

// The samples [begin, end) of a destination's row.
void bilinearRow(const ScaleAxis& axis, int channels, const uint8_t* from, uint8_t* to, int begin, int end);

// Two neighbouring rows of a source and where they go when they are scaled.
struct RowPair {
    const uint8_t* fromUpper;  // null when `upper` is there already
    const uint8_t* fromLower;
    uint8_t* upper;
    uint8_t* lower;
};

struct BilinearKernels {
    // All samples of the groups, which may be those of any row as wide as they were made for. Writes
    // BilinearGroups::kSlack bytes beyond them. Null when rows go by bilinearRow only, as they do without the word's
    // kAvx2.
    void (*groups)(const BilinearGroups& groups, const uint8_t* from, uint8_t* to);
    // The same for two rows, of groups whose parts are whole, and blendRows of what comes out, in one go. Returns how
    // many bytes are blended: those of whole quads. Null when `groups` is.
    size_t (*blendGroups)(const BilinearGroups& groups, const RowPair& rows, int f, uint8_t* to);
    // (upper * (256 - f) + lower * f) >> 8 of each byte; f is 1..255.
    void (*blendRows)(const uint8_t* upper, const uint8_t* lower, int f, uint8_t* to, size_t bytes);
};

BilinearKernels plainBilinear();

// The kernels for a feature word, all with the same results.
BilinearKernels bilinearKernels(uint32_t features);

}  // namespace qorvp
