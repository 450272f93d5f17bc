#pragma once

#include <cstdint>
#include <vector>

#include "vp/src/BilinearRow.h"
#include "vp/src/Planes.h"

namespace qorvp {

// Rows of a plane at another width. The last two are kept, so that going down the plane makes each of them once.
class ScaledRows {
  public:
    explicit ScaledRows(const BilinearKernels& kernels) : m_kernels(kernels) {}

    // Takes another plane, whose rows stay where they are while others are written, and a width in samples. What was
    // worked out for a plane and a width like the last ones holds for these.
    // std::bad_alloc when there is no memory.
    void begin(const Plane& from, int width);
    // What lies f of 256 between rows y and y + 1. With f 0 there need be no row y + 1.
    void write(int y, int f, uint8_t* to);
    // Gives the memory back. begin() comes before the next write.
    void release();

  private:
    struct alignas(64) Block {
        uint8_t bytes[64];
    };

    bool isKept(int y) const { return m_kept[y & 1] == y; }
    uint8_t* place(int y) const { return m_rows[y & 1]; }
    const uint8_t* row(int y);
    // What the groups do not make of a row.
    void finish(int y);
    // Rows y and y + 1 and what lies between. Returns how many bytes of that are there.
    size_t blendGroups(int y, int f, uint8_t* to);

    const BilinearKernels m_kernels;
    Plane m_from{};
    ScaleAxis m_axis{1, 1};
    BilinearGroups m_groups;
    size_t m_bytes = 0;  // of a row
    std::vector<Block> m_memory;
    uint8_t* m_rows[2] = {};
    int m_kept[2] = {};  // the row's number, -1 for none
};

}  // namespace qorvp
