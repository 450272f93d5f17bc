#include "plugins/qorml/Resizer.h"

#include <algorithm>
#include <cmath>

namespace qorml {

namespace {

constexpr float kRound = 0.5f;
constexpr float kWhite = 255.0f;

// Whether both are one and the same old pixel.
bool isOne(const LineScale::Part& a, const LineScale::Part& b) {
    return a.count == 1 && b.count == 1 && a.first == b.first;
}

}  // namespace

LineScale::LineScale(size_t from, size_t to) : mFirst(to), mStart(to + 1) {
    const double scale = static_cast<double>(from) / static_cast<double>(to);
    const double reach = std::max(scale, 1.0);
    for (size_t i = 0; i < to; ++i) {
        const double middle = (static_cast<double>(i) + 0.5) * scale - 0.5;
        const auto lowest = static_cast<size_t>(std::max(std::ceil(middle - reach), 0.0));
        const size_t highest = std::min(static_cast<size_t>(std::max(middle + reach, 0.0)), from - 1);
        double sum = 0;
        mFirst[i] = highest;
        for (size_t old = lowest; old <= highest; ++old) {
            const double weight = reach - std::abs(static_cast<double>(old) - middle);
            if (weight <= 0) continue;
            mFirst[i] = std::min(mFirst[i], old);
            mWeights.push_back(static_cast<float>(weight));
            sum += weight;
        }
        for (size_t at = mStart[i]; at < mWeights.size(); ++at) mWeights[at] /= static_cast<float>(sum);
        mStart[i + 1] = mWeights.size();
    }
}

Resizer::Resizer(Size from, Size to)
    : mFrom(from),
      mTo(to),
      mAcross(from.width, to.width),
      mDown(from.height, to.height),
      mMixed(from.width),
      mRow(to.width) {}

void Resizer::toFloats(const uint8_t* from, size_t step, float* to) {
    for (size_t y = 0; y < mTo.height; ++y) {
        const std::vector<float>& line = row(y, from, step);
        std::copy(line.begin(), line.end(), to + y * mTo.width);
    }
}

void Resizer::toBytes(const uint8_t* from, uint8_t* to) {
    for (size_t y = 0; y < mTo.height; ++y) {
        const std::vector<float>& line = row(y, from, 1);
        std::transform(line.begin(), line.end(), to + y * mTo.width,
                       [](float value) { return static_cast<uint8_t>(std::min(value + kRound, kWhite)); });
    }
}

// Down first, so that no more than a line of the old size is kept. Rows are asked for in their order: a very wide
// picture of few rows gives the same one again and again.
const std::vector<float>& Resizer::row(size_t y, const uint8_t* from, size_t step) {
    const LineScale::Part down = mDown.part(y);
    if (y > 0 && isOne(down, mDown.part(y - 1))) return mRow;
    std::fill(mMixed.begin(), mMixed.end(), 0.0f);
    for (size_t i = 0; i < down.count; ++i) {
        const uint8_t* line = from + (down.first + i) * mFrom.width * step;
        for (size_t x = 0; x < mFrom.width; ++x) mMixed[x] += down.weights[i] * static_cast<float>(line[x * step]);
    }
    for (size_t x = 0; x < mTo.width; ++x) {
        const LineScale::Part across = mAcross.part(x);
        float sum = 0;
        for (size_t i = 0; i < across.count; ++i) sum += across.weights[i] * mMixed[across.first + i];
        mRow[x] = sum;
    }
    return mRow;
}

}  // namespace qorml
