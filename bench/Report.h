#pragma once

#include <string>
#include <vector>

#include "bench/Comparison.h"

namespace zelbench {

// One line of the table: what was measured against what, and the goal.
struct Row {
    std::string what;
    std::string against;
    std::string unit;  // of the figures: "us", "ms", "MiB", "% of a core"
    Comparison figures;
    std::string goal;
    bool reached = false;
    std::string note;
};

class Report {
  public:
    // Prints the row at once; the heading comes with the first.
    void add(Row row);
    bool allReached() const;
    void writeJson(const std::string& file) const;

  private:
    std::vector<Row> mRows;
};

}  // namespace zelbench
