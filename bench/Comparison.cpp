#include "bench/Comparison.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>

namespace zelbench {

namespace {

constexpr size_t kQuickOneIn = 4;

Samples runBlock(const Blocks& blocks, const std::function<void()>& operation) {
    for (int count = 0; count < blocks.warmUp; ++count) operation();
    Samples samples;
    samples.reserve(blocks.operations);
    for (int count = 0; count < blocks.operations; ++count) {
        const auto start = std::chrono::steady_clock::now();
        operation();
        const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
        samples.push_back(elapsed.count());
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

struct Pair {
    Samples ours, theirs;
    double oursMedian, theirsMedian;
};

// Of the pairs in which theirs was quickest.
double quickDifference(std::vector<Pair> pairs) {
    std::sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) { return a.theirsMedian < b.theirsMedian; });
    pairs.resize((pairs.size() + kQuickOneIn - 1) / kQuickOneIn);
    Samples differences;
    for (const Pair& pair : pairs) differences.push_back(pair.oursMedian - pair.theirsMedian);
    return percentile(differences, 0.5);
}

void summarise(const std::vector<Pair>& pairs, Comparison& result) {
    Samples ours, theirs, ourMedians, theirMedians;
    for (const Pair& pair : pairs) {
        ours.insert(ours.end(), pair.ours.begin(), pair.ours.end());
        theirs.insert(theirs.end(), pair.theirs.begin(), pair.theirs.end());
        ourMedians.push_back(pair.oursMedian);
        theirMedians.push_back(pair.theirsMedian);
    }
    result.oursP50 = percentile(ours, 0.5);
    result.oursP99 = percentile(ours, 0.99);
    result.theirsP50 = percentile(theirs, 0.5);
    result.theirsP99 = percentile(theirs, 0.99);
    addRatio(result, ourMedians, theirMedians);
    result.difference = quickDifference(pairs);
}

}  // namespace

double percentile(Samples samples, double fraction) {
    const auto rank = static_cast<size_t>(std::lround(fraction * static_cast<double>(samples.size() - 1)));
    std::nth_element(samples.begin(), samples.begin() + static_cast<long>(rank), samples.end());
    return samples[rank];
}

Comparison compare(const Blocks& blocks, const std::function<void()>& ours, const std::function<void()>& theirs) {
    std::vector<Pair> pairs(static_cast<size_t>(blocks.repeats));
    bool oursFirst = true;
    for (Pair& pair : pairs) {
        if (oursFirst) pair.ours = runBlock(blocks, ours);
        pair.theirs = runBlock(blocks, theirs);
        if (!oursFirst) pair.ours = runBlock(blocks, ours);
        pair.oursMedian = percentile(pair.ours, 0.5);
        pair.theirsMedian = percentile(pair.theirs, 0.5);
        oursFirst = !oursFirst;
    }
    Comparison result;
    summarise(pairs, result);
    return result;
}

Comparison compareFigures(const std::vector<double>& ours, const std::vector<double>& theirs) {
    Comparison result;
    result.oursP50 = percentile(ours, 0.5);
    result.oursP99 = percentile(ours, 0.99);
    result.theirsP50 = percentile(theirs, 0.5);
    result.theirsP99 = percentile(theirs, 0.99);
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
