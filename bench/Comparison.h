#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zelbench {

// Times of single operations, in microseconds.
using Samples = std::vector<double>;

double percentile(Samples samples, double fraction);

// What came of measuring two things in interleaved blocks, or one thing alone: its ratio and theirs are 0 then.
struct Comparison {
    double oursP50 = 0, oursP99 = 0;
    double theirsP50 = 0, theirsP99 = 0;
    double ratio = 0;                    // median over the blocks of ours / theirs
    double ratioLow = 0, ratioHigh = 0;  // 95 % interval of that median, by bootstrap over the blocks
    double difference = 0;               // median over the blocks of ours - theirs
    double spread = 0;                   // of our blocks' medians: (largest - smallest) / median
    int takenAgain = 0;                  // how often a pair was measured again because the machine had been slow
};

struct Blocks {
    int repeats = 61;     // pairs of blocks
    int operations = 50;  // timed in each block
    int warmUp = 10;      // not timed, before each block
};

// Times one operation at a time: ours and theirs in turn, block by block, the order changing from pair to pair. A pair
// in which theirs took a fifth longer than in its quickest block fell into a time in which the machine was slow: the
// slowest such pair is taken again, until there is none or as many were taken again as there are pairs. What ours took
// has no say in that.
Comparison compare(const Blocks& blocks, const std::function<void()>& ours, const std::function<void()>& theirs);

// Summarises single figures (a start, a size) taken in turn.
Comparison compareFigures(const std::vector<double>& ours, const std::vector<double>& theirs);
Comparison figuresAlone(const std::vector<double>& ours);

}  // namespace zelbench
