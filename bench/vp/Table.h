#pragma once

#include <string>
#include <vector>

#include "bench/vp/Contest.h"

namespace zelbench::vp {

// What came of the rows, all times in microseconds.
class Table {
  public:
    // Prints the row at once, 128 columns wide; the heading comes with the first.
    void add(const std::string& what, const Contest& contest, const ContestFigures& figures);
    // The row whose results were wrong or missing.
    void addFailure(const std::string& what, const std::string& why);
    // Prints how many rows reached their goal and which did not. A failed row counts among the latter.
    void tellMissed() const;
    // 2 when a row failed, else 1 when one missed its goal, else 0.
    int exitStatus() const;
    // What was not measured is null. Raises std::runtime_error when the file cannot be written.
    void writeJson(const std::string& file) const;

  private:
    struct Row {
        std::string what;
        std::vector<std::string> rivals;  // their names: the contest itself has the images
        Goals goals;
        size_t bytes = 0;
        ContestFigures figures;
        std::string failure;

        bool hasGoal() const;
        bool reached() const;
        const char* verdict() const;
        std::string goal() const;
        std::string explanation() const;
        std::string rivalP50(const char* name) const;
        void print() const;
        std::string json() const;
    };

    void add(Row row);

    std::vector<Row> mRows;
};

}  // namespace zelbench::vp
