#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/Comparison.h"

namespace zelbench::vp {

inline constexpr const char* kLibyuv = "libyuv";
inline constexpr const char* kOpenCv = "OpenCV";

struct Rival {
    std::string name;
    Operation operation;
};

struct Goals {
    // Of our time to the quickest rival's.
    double leastRatio = 0;
    double mostRatio = 1;
    // Of the speed at which memory is copied; 0 for no such goal.
    double leastCopyShare = 0;
};

// The ways of doing one job, which were found to do the same.
struct Contest {
    Operation ours;
    std::vector<Rival> rivals;
    size_t bytes = 0;  // that the job reads and writes at least
    Goals goals;

    // Runs the rival once and lets it in when `check` does not raise: it looks at the result.
    void admit(const Rival& rival, const Operation& check);
};

// A row of the table: its images are made and its results checked when its turn comes. What fails raises
// std::runtime_error.
struct PlannedRow {
    std::string name;
    std::function<Contest()> prepare;
};
using PlannedRows = std::vector<PlannedRow>;

struct ContestFigures {
    Comparison quickest;           // ours against the quickest rival; of ours alone without one
    std::vector<double> rivalP50;  // in the rivals' order
    size_t quickestRival = 0;
    double copyP50 = 0;    // of copying within as many bytes: half of them to the other half
    double copyShare = 0;  // our speed in bytes read and written to the copy's
};

// Times all sides and the copy in turn, for about so many seconds.
ContestFigures hold(const Contest& contest, double seconds);

}  // namespace zelbench::vp
