#include "vp/src/ScaleAxis.h"

#include <algorithm>

namespace qorvp {

ScaleAxis::ScaleAxis(int source, int destination)
    : m_source(source),
      m_destination(destination),
      m_step((int64_t{source} << 16) / destination),
      m_start(m_step / 2 - 0x8000),
      m_last((int64_t{source} - 1) << 16),
      m_innerBegin(firstAt(0)),
      m_innerEnd(std::max(m_innerBegin, firstAt(m_last))) {}

uint32_t ScaleAxis::position(int index) const {
    return static_cast<uint32_t>(std::clamp<int64_t>(m_start + index * m_step, 0, m_last));
}

int ScaleAxis::firstAt(int64_t position) const {
    const int64_t index = (position - m_start + m_step - 1) / m_step;
    return static_cast<int>(std::clamp<int64_t>(index, 0, m_destination));
}

}  // namespace qorvp
