#include "bench/vp/Contest.h"

#include <algorithm>
#include <cstring>

#include "bench/vp/Image.h"

namespace zelbench::vp {

namespace {

constexpr double kBlockMicroseconds = 2000;  // of the slowest side
constexpr int kLeastOperations = 3;
constexpr int kMostOperations = 21;
constexpr int kLeastRounds = 15;
constexpr int kMostRounds = 201;

double microsecondsOf(const Operation& operation) {
    const Blocks once{1, kLeastOperations, 1, Clock::Thread};
    return percentile(timeInTurn(once, {operation})[0][0], 0.5);
}

Blocks blocksFor(const std::vector<Operation>& operations, double seconds) {
    double round = 0, slowest = 0;
    for (const Operation& operation : operations) {
        const double once = microsecondsOf(operation);
        round += once;
        slowest = std::max(slowest, once);
    }
    const double operationsOfBlock =
        std::clamp<double>(kBlockMicroseconds / slowest, kLeastOperations, kMostOperations);
    // An odd number has a median.
    Blocks blocks{0, static_cast<int>(operationsOfBlock) | 1, 1, Clock::Thread};
    const double rounds = seconds * 1e6 / (round * (blocks.warmUp + blocks.operations));
    blocks.repeats = static_cast<int>(std::clamp<double>(rounds, kLeastRounds, kMostRounds));
    return blocks;
}

size_t quickestOf(const std::vector<double>& times) {
    return static_cast<size_t>(std::min_element(times.begin(), times.end()) - times.begin());
}

}  // namespace

void Contest::admit(const Rival& rival, const Operation& check) {
    rival.operation();
    check();
    rivals.push_back(rival);
}

ContestFigures hold(const Contest& contest, double seconds) {
    const size_t half = contest.bytes / 2;
    const AlignedBytes source = alignedBytes(half), copy = alignedBytes(half);
    std::vector<Operation> operations = {contest.ours, [&] { std::memcpy(copy.get(), source.get(), half); }};
    for (const Rival& rival : contest.rivals) operations.push_back(rival.operation);

    const std::vector<TimedBlocks> times = timeInTurn(blocksFor(operations, seconds), operations);
    const Comparison toCopy = compareBlocks(times[0], times[1]);
    ContestFigures figures{toCopy, {}, 0, toCopy.theirsP50, 1 / toCopy.ratio};
    std::vector<Comparison> toRivals;
    for (size_t index = 2; index < times.size(); ++index) {
        toRivals.push_back(compareBlocks(times[0], times[index]));
        figures.rivalP50.push_back(toRivals.back().theirsP50);
    }
    if (toRivals.empty()) {
        figures.quickest.ratio = figures.quickest.ratioLow = figures.quickest.ratioHigh = 0;
        return figures;
    }
    figures.quickestRival = quickestOf(figures.rivalP50);
    figures.quickest = toRivals[figures.quickestRival];
    return figures;
}

}  // namespace zelbench::vp
