#include "vp/src/ScaledRows.h"

#include <cstring>

namespace qorvp {

void ScaledRows::begin(const Plane& from, int width) {
    const bool same = from.width == m_axis.source() && width == m_axis.destination() && from.bytes == m_from.bytes;
    if (!same) {
        m_from = {};  // like no other, if there is no memory for the groups
        m_axis = ScaleAxis(from.width, width);
        if (m_kernels.groups) makeGroups(m_axis, from.bytes, m_groups);
    }
    m_from = from;
    m_bytes = static_cast<size_t>(width) * static_cast<size_t>(from.bytes);
    const size_t bytes =
        (static_cast<size_t>(width) + 31) / 32 * 32 * static_cast<size_t>(from.bytes) + BilinearGroups::kSlack;
    const size_t blocks = (bytes + sizeof(Block) - 1) / sizeof(Block);
    if (m_memory.size() < blocks * 2) m_memory.resize(blocks * 2);
    for (size_t i = 0; i < 2; ++i) {
        m_rows[i] = m_memory[blocks * i].bytes;
        m_kept[i] = -1;
    }
}

void ScaledRows::write(int y, int f, uint8_t* to) {
    if (f == 0) {
        std::memcpy(to, row(y), m_bytes);
        return;
    }
    const size_t done = blendGroups(y, f, to);
    const uint8_t* const upper = row(y);
    const uint8_t* const lower = row(y + 1);
    m_kernels.blendRows(upper + done, lower + done, f, to + done, m_bytes - done);
}

void ScaledRows::release() {
    m_from = {};
    m_groups = {};
    m_memory = {};
}

const uint8_t* ScaledRows::row(int y) {
    if (isKept(y)) return place(y);
    if (m_groups.samples > 0) m_kernels.groups(m_groups, m_from.row(y), place(y));
    finish(y);
    return place(y);
}

void ScaledRows::finish(int y) {
    if (m_groups.samples < m_axis.destination())
        bilinearRow(m_axis, m_from.bytes, m_from.row(y), place(y), m_groups.samples, m_axis.destination());
    m_kept[y & 1] = y;
}

size_t ScaledRows::blendGroups(int y, int f, uint8_t* to) {
    if (m_groups.samples == 0 || !m_groups.whole || isKept(y + 1)) return 0;
    const bool isThere = isKept(y);
    const RowPair rows = {isThere ? nullptr : m_from.row(y), m_from.row(y + 1), place(y), place(y + 1)};
    const size_t done = m_kernels.blendGroups(m_groups, rows, f, to);
    if (!isThere) finish(y);
    finish(y + 1);
    return done;
}

}  // namespace qorvp
