#include "vp/src/BilinearGroups.h"

#include <algorithm>

namespace qorvp {

namespace {

// Where a byte comes from, and the weights of the two.
struct Tap {
    int first;
    int second;
    int8_t firstWeight;
    int8_t secondWeight;
};

// A byte that is another's copy takes it twice, as a weight of 128 would not fit.
Tap tapOf(uint32_t position, int channels) {
    const int first = static_cast<int>(position >> 16) * channels;
    const int f = static_cast<int>(position >> 9 & 0x7F);
    if (f == 0) return {first, first, 127, 1};
    return {first, first + channels, static_cast<int8_t>(128 - f), static_cast<int8_t>(f)};
}

// Puts as many bytes into a part as it has room and window for.
class Cutter {
  public:
    Cutter(int sourceBytes, BilinearGroups& groups) : m_sourceBytes(sourceBytes), m_groups(groups) {}

    void add(const Tap& tap) {
        const int lowest = std::min(m_lowest, tap.first);
        const int highest = std::max(m_highest, tap.second);
        if (m_count == BilinearGroups::kPartBytes ||
            (m_count > 0 && highest - lowest >= BilinearGroups::kWindowBytes)) {
            close();
            add(tap);
            return;
        }
        m_lowest = m_count == 0 ? tap.first : lowest;
        m_highest = m_count == 0 ? tap.second : highest;
        m_taps[m_count++] = tap;
    }

    // What is left of the last four parts goes behind the row.
    void finish() {
        if (m_count > 0) close();
        for (; m_parts % 4 != 0; ++m_parts) m_groups.quads.back().to[m_parts % 4] = m_written;
    }

  private:
    void close() {
        const int part = m_parts++ % 4;
        if (part == 0) m_groups.quads.emplace_back();
        BilinearGroups::Quad& quad = m_groups.quads.back();
        const int base = std::min(m_lowest, m_sourceBytes - BilinearGroups::kWindowBytes);
        constexpr int kPlaces[] = {0, 2, 1, 3};
        uint8_t* const lookup = quad.lookup[kPlaces[part]];
        int8_t* const weights = quad.weights[kPlaces[part]];
        for (int i = 0; i < m_count; ++i) {
            lookup[i * 2] = static_cast<uint8_t>(m_taps[i].first - base);
            lookup[i * 2 + 1] = static_cast<uint8_t>(m_taps[i].second - base);
            weights[i * 2] = m_taps[i].firstWeight;
            weights[i * 2 + 1] = m_taps[i].secondWeight;
        }
        quad.base[part] = base;
        quad.to[part] = m_written;
        m_groups.whole = m_groups.whole && m_count == BilinearGroups::kPartBytes;
        m_written += m_count;
        m_count = 0;
    }

    const int m_sourceBytes;
    BilinearGroups& m_groups;
    Tap m_taps[BilinearGroups::kPartBytes] = {};
    int m_count = 0;
    int m_lowest = 0;  // byte of the source that the part's taps reach, as is m_highest
    int m_highest = 0;
    int m_parts = 0;
    int m_written = 0;
};

}  // namespace

void makeGroups(const ScaleAxis& axis, int channels, BilinearGroups& groups) {
    groups.quads.clear();
    groups.samples = 0;
    groups.bytes = 0;
    groups.whole = true;
    const int sourceBytes = axis.source() * channels;
    if (sourceBytes < BilinearGroups::kWindowBytes) return;
    groups.samples = axis.destination() / BilinearGroups::kSamples * BilinearGroups::kSamples;
    groups.bytes = static_cast<size_t>(groups.samples) * static_cast<size_t>(channels);
    Cutter cutter(sourceBytes, groups);
    for (int i = 0; i < groups.samples; ++i) {
        Tap tap = tapOf(axis.position(i), channels);
        for (int c = 0; c < channels; ++c, ++tap.first, ++tap.second) cutter.add(tap);
    }
    cutter.finish();
}

}  // namespace qorvp
