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

SteppedFactors steppedFactors(int weight) {
    const auto low = static_cast<int8_t>(weight & 0xFF);
    const int high = (weight - low) / 256;
    return {{static_cast<int8_t>(high - 128), static_cast<int8_t>(-high)}, {static_cast<int8_t>(-1 - low), low}};
}

SteppedColumns SteppedColumns::nearest(const Plane& from, const Plane& to, int bits) {
    const SteppedPositions positions(from.width, to.width, bits);
    SteppedColumns columns;
    columns.at.resize(to.rowBytes());
    for (int x = 0, i = 0; x < to.width; ++x) {
        const int index = positions.nearest(x);
        for (int byte = 0; byte < to.bytes; ++byte, ++i) columns.at[i] = index * to.bytes + byte;
    }
    columns.findWindows(from);
    columns.findPlaces();
    return columns;
}

SteppedColumns SteppedColumns::weighted(const Plane& from, const Plane& to, int bits) {
    const SteppedPositions positions(from.width, to.width, bits);
    SteppedColumns columns;
    columns.next = from.width > 1 ? from.bytes : 0;
    columns.at.resize(to.rowBytes());
    columns.weight.resize(to.rowBytes());
    for (int x = 0, i = 0; x < to.width; ++x) {
        SteppedPosition position = positions.weighted(x);
        // The last sample is the second of a pair, so that each has one behind it.
        if (position.index > 0 && position.index == from.width - 1) position = {position.index - 1, kWholeWeight};
        for (int byte = 0; byte < to.bytes; ++byte, ++i) {
            columns.at[i] = position.index * to.bytes + byte;
            columns.weight[i] = static_cast<int16_t>(position.weight);
        }
    }
    columns.findWindows(from);
    columns.findPairs();
    return columns;
}

void SteppedColumns::findWindows(const Plane& from) {
    const int rowBytes = from.width * from.bytes;
    if (!findWindows(rowBytes, 16) && !findWindows(rowBytes, 32)) window.clear();
}

bool SteppedColumns::findWindows(int rowBytes, int bytes) {
    windowBytes = bytes;
    window.resize(size() / kGroup);
    for (size_t group = 0; group < window.size(); ++group) {
        const size_t first = group * kGroup;
        window[group] = std::min(at[first], rowBytes - bytes);
        if (window[group] < 0 || at[first + kGroup - 1] + next - window[group] >= bytes) return false;
    }
    return true;
}

void SteppedColumns::findPlaces() {
    lookup.resize(window.size() * kGroup);
    for (size_t i = 0; i < lookup.size(); ++i) lookup[i] = static_cast<uint8_t>(at[i] - window[i / kGroup]);
}

void SteppedColumns::findPairs() {
    const size_t count = window.size() * kGroup;
    lookup.resize(count * 2);
    negativeHigh.resize(count * 2);
    low.resize(count * 2);
    const auto second = static_cast<uint8_t>(next);
    uint8_t* place = lookup.data();
    int8_t *high = negativeHigh.data(), *rest = low.data();
    for (size_t i = 0; i < count; ++i, place += 2, high += 2, rest += 2) {
        place[0] = static_cast<uint8_t>(at[i] - window[i / kGroup]);
        place[1] = static_cast<uint8_t>(place[0] + second);
        const SteppedFactors factors = steppedFactors(weight[i]);
        std::copy_n(factors.negativeHigh, 2, high);
        std::copy_n(factors.low, 2, rest);
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
