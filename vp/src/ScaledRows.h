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

    // Takes another plane, whose rows stay where they are while rows are asked for, and a width in samples. What was
    // worked out for a plane and a width like the last ones holds for these.
    // std::bad_alloc when there is no memory.
    void begin(const Plane& from, int width);
    // Row y, or row y + 1 beside it, stays as it is while no other is asked for.
    const uint8_t* row(int y);
    // Gives the memory back. begin() comes before the next row.
    void release();

  private:
    struct alignas(64) Block {
        uint8_t bytes[64];
    };

    void scale(const uint8_t* from, uint8_t* to) const;

    const BilinearKernels m_kernels;
    Plane m_from{};
    ScaleAxis m_axis{1, 1};
    BilinearGroups m_groups;
    std::vector<Block> m_memory;
    uint8_t* m_rows[2] = {};
    int m_kept[2] = {};  // the row's number, -1 for none
};

}  // namespace qorvp
