#pragma once

#include <string>
#include <vector>

#include "bench/Comparison.h"

namespace zelbench {

// One line of the table: what was measured against what, and the goal.
struct Row {
    std::string what;
    std::string against;  // "" for figures that stand alone
    std::string unit;     // of the figures: "us", "ms", "MiB", "%"
    Comparison figures;
    std::string goal;  // "" for a row that only explains another
    bool reached = false;
    std::string note;
};

class Report {
  public:
    // Prints the row at once, 120 columns wide; the heading comes with the first.
    void add(Row row);
    // A frame's way through a host against the bare inference, both in microseconds; reached up to that ratio.
    void addInference(const std::string& what, const Comparison& figures, double goal);
    // Prints how many rows reached their goal and which did not. True when one did not.
    bool tellMissed() const;
    void writeJson(const std::string& file) const;

  private:
    std::vector<Row> mRows;
};

}  // namespace zelbench
