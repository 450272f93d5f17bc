#include "bench/Comparison.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <random>

namespace zelbench {

namespace {

constexpr size_t kQuickOneIn = 4;

double microsecondsOn(Clock clock) {
    if (clock == Clock::Wall) {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration<double, std::micro>(now).count();
    }
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

Samples runBlock(const Blocks& blocks, const Operation& operation) {
    for (int count = 0; count < blocks.warmUp; ++count) operation();
    Samples samples;
    samples.reserve(blocks.operations);
    for (int count = 0; count < blocks.operations; ++count) {
        const double start = microsecondsOn(blocks.clock);
        operation();
        samples.push_back(microsecondsOn(blocks.clock) - start);
    }
    return samples;
}

double spreadOf(const Samples& medians) {
    const auto [least, most] = std::minmax_element(medians.begin(), medians.end());
    return (*most - *least) / percentile(medians, 0.5);
}

void addRatio(Comparison& result, const Samples& ours, const Samples& theirs) {
    Samples ratios, differences;
    for (size_t block = 0; block < ours.size(); ++block) {
        ratios.push_back(ours[block] / theirs[block]);
        differences.push_back(ours[block] - theirs[block]);
    }
    result.ratio = percentile(ratios, 0.5);
    result.difference = percentile(differences, 0.5);
    result.spread = spreadOf(ours);
    std::mt19937 random(1);
    Samples medians;
    for (int draw = 0; draw < 2000; ++draw) {
        Samples drawn;
        for (size_t block = 0; block < ratios.size(); ++block) drawn.push_back(ratios[random() % ratios.size()]);
        medians.push_back(percentile(drawn, 0.5));
    }
    result.ratioLow = percentile(medians, 0.025);
    result.ratioHigh = percentile(medians, 0.975);
}

Comparison percentilesOf(const Samples& ours, const Samples& theirs) {
    Comparison result;
    result.oursP50 = percentile(ours, 0.5);
    result.oursP99 = percentile(ours, 0.99);
    result.theirsP50 = percentile(theirs, 0.5);
    result.theirsP99 = percentile(theirs, 0.99);
    return result;
}

// Of the pairs in which theirs was quickest.
double quickDifference(const Samples& ours, const Samples& theirs) {
    std::vector<std::pair<double, double>> pairs;
    for (size_t block = 0; block < ours.size(); ++block) pairs.emplace_back(theirs[block], ours[block]);
    std::sort(pairs.begin(), pairs.end());
    pairs.resize((pairs.size() + kQuickOneIn - 1) / kQuickOneIn);
    Samples differences;
    for (const auto& [theirMedian, ourMedian] : pairs) differences.push_back(ourMedian - theirMedian);
    return percentile(differences, 0.5);
}

Samples joined(const TimedBlocks& blocks) {
    Samples all;
    for (const Samples& block : blocks) all.insert(all.end(), block.begin(), block.end());
    return all;
}

Samples mediansOf(const TimedBlocks& blocks) {
    Samples medians;
    for (const Samples& block : blocks) medians.push_back(percentile(block, 0.5));
    return medians;
}

}  // namespace

double percentile(Samples samples, double fraction) {
    const auto rank = static_cast<size_t>(std::lround(fraction * static_cast<double>(samples.size() - 1)));
    std::nth_element(samples.begin(), samples.begin() + static_cast<long>(rank), samples.end());
    return samples[rank];
}

std::vector<TimedBlocks> timeInTurn(const Blocks& blocks, const std::vector<Operation>& operations) {
    std::vector<TimedBlocks> times(operations.size());
    for (int round = 0; round < blocks.repeats; ++round)
        for (size_t turn = 0; turn < operations.size(); ++turn) {
            const size_t index = round % 2 == 0 ? turn : operations.size() - 1 - turn;
            times[index].push_back(runBlock(blocks, operations[index]));
        }
    return times;
}

Comparison compareBlocks(const TimedBlocks& ours, const TimedBlocks& theirs) {
    const Samples ourMedians = mediansOf(ours), theirMedians = mediansOf(theirs);
    Comparison result = percentilesOf(joined(ours), joined(theirs));
    addRatio(result, ourMedians, theirMedians);
    result.difference = quickDifference(ourMedians, theirMedians);
    return result;
}

Comparison compare(const Blocks& blocks, const Operation& ours, const Operation& theirs) {
    const std::vector<TimedBlocks> times = timeInTurn(blocks, {ours, theirs});
    return compareBlocks(times[0], times[1]);
}

Comparison compareFigures(const std::vector<double>& ours, const std::vector<double>& theirs) {
    Comparison result = percentilesOf(ours, theirs);
    addRatio(result, ours, theirs);
    return result;
}

Comparison figuresAlone(const std::vector<double>& ours) {
    Comparison result;
    result.oursP50 = percentile(ours, 0.5);
    result.oursP99 = percentile(ours, 0.99);
    result.spread = spreadOf(ours);
    return result;
}

}  // namespace zelbench
