#include "vp/src/SteppedRows.h"

#include <algorithm>

#include "qorvp/Parameters.h"
#include "vp/src/Features.h"

namespace qorvp {

namespace {

constexpr int kNearestColumnBits = 16;
constexpr int kHalfWeight = 1 << (kWeightBits - 1);

int64_t stepOf(int from, int to, int bits) {
    const float ratio = static_cast<float>(from) / static_cast<float>(to);
    return static_cast<int64_t>(ratio * static_cast<float>(1 << bits));
}

uint8_t mixed(int a, int b, int weight) {
    return static_cast<uint8_t>((a * (kWholeWeight - weight) + b * weight + kHalfWeight) >> kWeightBits);
}

void nearestRow(const uint8_t* row, const SteppedColumns& columns, uint8_t* to) {
    takeNearest(row, columns, 0, to);
}

void weightedRow(const uint8_t* row, const SteppedColumns& columns, uint8_t* to) {
    takeWeighted(row, columns, 0, to);
}

void mix(const uint8_t* above, const uint8_t* below, int weight, size_t bytes, uint8_t* to) {
    for (size_t i = 0; i < bytes; ++i) to[i] = mixed(above[i], below[i], weight);
}

}  // namespace

SteppedPositions::SteppedPositions(int from, int to, int bits)
    : m_bits(bits), m_last(from - 1), m_step(stepOf(from, to, bits)) {}

SteppedPosition SteppedPositions::weighted(int i) const {
    const int64_t half = int64_t{1} << (m_bits - 1);
    const int64_t place = std::clamp<int64_t>(m_step / 2 - half + i * m_step, 0, int64_t{m_last} << m_bits);
    return {static_cast<int>(place >> m_bits), static_cast<int>(place & kWholeWeight)};
}

int SteppedPositions::nearest(int i) const {
    return static_cast<int>(std::min<int64_t>((m_step / 2 + i * m_step) >> m_bits, m_last));
}

SteppedColumns SteppedColumns::nearest(const Plane& from, const Plane& to, int bits) {
    const SteppedPositions positions(from.width, to.width, bits);
    SteppedColumns columns;
    columns.at.reserve(static_cast<size_t>(to.width) * static_cast<size_t>(to.bytes));
    for (int x = 0; x < to.width; ++x) {
        const int index = positions.nearest(x);
        for (int byte = 0; byte < to.bytes; ++byte) columns.at.push_back(index * to.bytes + byte);
    }
    columns.findWindows(from);
    return columns;
}

SteppedColumns SteppedColumns::weighted(const Plane& from, const Plane& to, int bits) {
    const SteppedPositions positions(from.width, to.width, bits);
    SteppedColumns columns;
    columns.next = from.width > 1 ? from.bytes : 0;
    columns.at.reserve(static_cast<size_t>(to.width) * static_cast<size_t>(to.bytes));
    columns.weight.reserve(columns.at.capacity());
    for (int x = 0; x < to.width; ++x) {
        SteppedPosition position = positions.weighted(x);
        // The last sample is the second of a pair, so that each has one behind it.
        if (position.index > 0 && position.index == from.width - 1) position = {position.index - 1, kWholeWeight};
        for (int byte = 0; byte < to.bytes; ++byte) {
            columns.at.push_back(position.index * to.bytes + byte);
            columns.weight.push_back(static_cast<int16_t>(position.weight));
        }
    }
    columns.findWindows(from);
    return columns;
}

void SteppedColumns::findWindows(const Plane& from) {
    const int last = from.width * from.bytes - static_cast<int>(kWindow) - next;
    if (last < 0) return;
    for (size_t begin = 0; begin + kGroup <= size(); begin += kGroup) {
        const int base = std::min(at[begin], last);
        if (at[begin + kGroup - 1] - base >= static_cast<int>(kWindow)) {
            window.clear();
            return;
        }
        window.push_back(base);
        for (size_t i = begin; i < begin + kGroup; ++i)
            lookup.push_back(static_cast<uint16_t>(0x8000 | (at[i] - base)));
    }
}

void takeNearest(const uint8_t* row, const SteppedColumns& columns, size_t begin, uint8_t* to) {
    for (size_t i = begin; i < columns.size(); ++i) to[i] = row[columns.at[i]];
}

void takeWeighted(const uint8_t* row, const SteppedColumns& columns, size_t begin, uint8_t* to) {
    for (size_t i = begin; i < columns.size(); ++i) {
        const uint8_t* const pair = row + columns.at[i];
        to[i] = mixed(pair[0], pair[columns.next], columns.weight[i]);
    }
}

SteppedForms plainSteppedForms() {
    return {nearestRow, weightedRow, mix};
}

std::optional<SteppedKernels> steppedKernels(uint8_t mode, uint32_t features) {
    const SteppedForms plain = plainSteppedForms(), vector = vectorSteppedForms(features);
    const SteppedForms& across = (features & kSse4) != 0 ? vector : plain;
    const SteppedForms& down = (features & kSsse3) != 0 ? vector : plain;
    switch (mode) {
        case kScaleWeighted:
            return SteppedKernels{kWeightBits, across.weightedRow, down.mix};
        case kScaleNearest:
            return SteppedKernels{kNearestColumnBits, across.nearestRow, nullptr};
        default:
            return std::nullopt;
    }
}

}  // namespace qorvp
