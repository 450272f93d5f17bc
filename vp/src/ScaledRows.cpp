#include "vp/src/ScaledRows.h"

namespace qorvp {

void ScaledRows::begin(const Plane& from, int width) {
    const bool same = from.width == m_axis.source() && width == m_axis.destination() && from.bytes == m_from.bytes;
    if (!same) {
        m_from = {};  // like no other, if there is no memory for the groups
        m_axis = ScaleAxis(from.width, width);
        if (m_kernels.groups) makeGroups(m_axis, from.bytes, m_groups);
    }
    m_from = from;
    const size_t bytes =
        (static_cast<size_t>(width) + 31) / 32 * 32 * static_cast<size_t>(from.bytes) + BilinearGroups::kSlack;
    const size_t blocks = (bytes + sizeof(Block) - 1) / sizeof(Block);
    if (m_memory.size() < blocks * 2) m_memory.resize(blocks * 2);
    for (size_t i = 0; i < 2; ++i) {
        m_rows[i] = m_memory[blocks * i].bytes;
        m_kept[i] = -1;
    }
}

const uint8_t* ScaledRows::row(int y) {
    const int place = y & 1;
    if (m_kept[place] != y) scale(m_from.row(y), m_rows[place]);
    m_kept[place] = y;
    return m_rows[place];
}

void ScaledRows::release() {
    m_from = {};
    m_groups = {};
    m_memory = {};
}

void ScaledRows::scale(const uint8_t* from, uint8_t* to) const {
    const int grouped = m_groups.samples;
    if (grouped > 0) m_kernels.groups(m_groups, from, to);
    if (grouped < m_axis.destination()) bilinearRow(m_axis, m_from.bytes, from, to, grouped, m_axis.destination());
}

}  // namespace qorvp
