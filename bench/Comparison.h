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
    double difference = 0;               // median of ours - theirs; see below over which blocks
    double spread = 0;                   // of our blocks' medians: (largest - smallest) / median
};

// Time as it passes, or the calling thread's time on a processor: the turns of others do not count in that.
enum class Clock { Wall, Thread };

// Many short blocks: a shared machine changes its speed within tenths of a second, and the two blocks of a pair are to
// find it alike.
struct Blocks {
    int repeats = 201;    // pairs of blocks
    int operations = 12;  // timed in each block
    int warmUp = 4;       // not timed, before each block
    Clock clock = Clock::Wall;

    // The same for operations of microseconds: blocks of some milliseconds again.
    Blocks ofExchanges() const { return {repeats, operations * 5, warmUp * 5, clock}; }
    // And for operations of tens of milliseconds.
    Blocks ofLongOperations() const { return {repeats / 3, operations / 3, warmUp / 4, clock}; }
};

using Operation = std::function<void()>;

// What an operation took, block by block.
using TimedBlocks = std::vector<Samples>;

// Times one operation at a time: a block of each in turn, the order changing from round to round. Of each operation as
// many blocks as are asked for.
std::vector<TimedBlocks> timeInTurn(const Blocks& blocks, const std::vector<Operation>& operations);

// Two that were timed in turn. The difference is that of the quarter of the pairs in which theirs was quickest: a
// machine at half its speed doubles it.
Comparison compareBlocks(const TimedBlocks& ours, const TimedBlocks& theirs);
Comparison compare(const Blocks& blocks, const Operation& ours, const Operation& theirs);

// Summarises single figures (a start, a size) taken in turn; the difference is that of all of them.
Comparison compareFigures(const std::vector<double>& ours, const std::vector<double>& theirs);
Comparison figuresAlone(const std::vector<double>& ours);

}  // namespace zelbench
