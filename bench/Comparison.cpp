#include "bench/Comparison.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>

namespace zelbench {

namespace {

constexpr double kSlow = 1.2;  // against the quickest block of theirs

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

// The pair to take again; null when the machine was fast enough in all of them.
Pair* slowest(std::vector<Pair>& pairs) {
    const auto byTheirs = [](const Pair& a, const Pair& b) { return a.theirsMedian < b.theirsMedian; };
    const auto [least, most] = std::minmax_element(pairs.begin(), pairs.end(), byTheirs);
    return most->theirsMedian > kSlow * least->theirsMedian ? &*most : nullptr;
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
}

}  // namespace

double percentile(Samples samples, double fraction) {
    const auto rank = static_cast<size_t>(std::lround(fraction * static_cast<double>(samples.size() - 1)));
    std::nth_element(samples.begin(), samples.begin() + static_cast<long>(rank), samples.end());
    return samples[rank];
}

Comparison compare(const Blocks& blocks, const std::function<void()>& ours, const std::function<void()>& theirs) {
    std::vector<Pair> pairs;
    int taken = 0;
    const auto take = [&] {
        const bool oursFirst = taken++ % 2 == 0;
        Pair pair;
        if (oursFirst) pair.ours = runBlock(blocks, ours);
        pair.theirs = runBlock(blocks, theirs);
        if (!oursFirst) pair.ours = runBlock(blocks, ours);
        pair.oursMedian = percentile(pair.ours, 0.5);
        pair.theirsMedian = percentile(pair.theirs, 0.5);
        return pair;
    };
    while (taken < blocks.repeats) pairs.push_back(take());
    Comparison result;
    for (Pair* slow = slowest(pairs); slow && result.takenAgain < blocks.repeats; slow = slowest(pairs)) {
        *slow = take();
        ++result.takenAgain;
    }
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
