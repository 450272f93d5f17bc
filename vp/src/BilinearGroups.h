#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vp/src/ScaleAxis.h"

namespace qorvp {

// How the bytes of a scaled row are made of its source's, for vectors of 16 bytes: a row is cut into parts of up to 8
// bytes, each from 16 bytes of the source, and four parts are made at a time.
struct BilinearGroups {
    static constexpr int kSamples = 16;      // of a group; the rest of a row is in none
    static constexpr size_t kSlack = 32;     // bytes that are written beyond those of the groups
    static constexpr int kPartBytes = 8;     // of a row, at most
    static constexpr int kWindowBytes = 16;  // of a source

    // The parts are in the order 0, 2, 1, 3, so that two vectors of 32 bytes packed block by block have all in theirs.
    // Byte i of a part is (a * weights[2i] + b * weights[2i + 1] + 64) >> 7, a and b being the source's bytes
    // lookup[2i] and lookup[2i + 1] behind the part's base. The two weights' sum is 128.
    struct alignas(32) Quad {
        uint8_t lookup[4][kWindowBytes];
        int8_t weights[4][kWindowBytes];
        int32_t base[4];  // of the parts in their own order, as is `to`
        int32_t to[4];    // byte of the row where the part goes, over what the one before has left there
    };

    std::vector<Quad> quads;
    int samples = 0;     // of the row that are in groups
    size_t bytes = 0;    // of these samples
    bool whole = false;  // all parts have 8 bytes, so that a quad goes to 32
};

// Those of a row of samples of so many bytes: all whole groups of it, but none for rows of a source that is narrower
// than a vector. Keeps the memory of those before. std::bad_alloc when there is no more.
void makeGroups(const ScaleAxis& axis, int channels, BilinearGroups& groups);

}  // namespace qorvp
