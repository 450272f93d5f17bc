#pragma once

#include <cstdint>

namespace qorvp {

// Where the samples of a destination lie along a source that is scaled to it, centre on centre: positions of 16
// fraction bits that start at step / 2 - 0x8000 and go on by step = (source << 16) / destination, none below 0 or
// beyond the source's last sample. Sizes are 1..kLargestSide.
class ScaleAxis {
  public:
    ScaleAxis(int source, int destination);

    uint32_t position(int index) const;
    uint32_t step() const { return static_cast<uint32_t>(m_step); }
    int source() const { return m_source; }
    int destination() const { return m_destination; }

    // The destination's samples [innerBegin, innerEnd) lie between two neighbours of the source, at positions a step
    // apart. Those before are the source's first sample, those behind its last.
    int innerBegin() const { return m_innerBegin; }
    int innerEnd() const { return m_innerEnd; }

  private:
    // First of the destination's samples whose position, were it not bounded, is `position` or more.
    int firstAt(int64_t position) const;

    int m_source;
    int m_destination;
    int64_t m_step;
    int64_t m_start;
    int64_t m_last;
    int m_innerBegin;
    int m_innerEnd;
};

}  // namespace qorvp
