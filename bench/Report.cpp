#include "bench/Report.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "bench/JsonText.h"

namespace zelbench {

namespace {

void printHeading() {
    std::printf("%-34s %-4s %8s %8s  %8s %8s  %-20s\n", "", "", "ours", "", "theirs", "", "ours / theirs");
    std::printf("%-34s %-4s %8s %8s  %8s %8s  %-20s %7s  %s\n", "what", "unit", "p50", "p99", "p50", "p99",
                "[95 % interval]", "spread", "goal");
}

const char* verdict(const Row& row) {
    if (row.goal.empty()) return "-";
    return row.reached ? "reached" : "MISSED";
}

// "against a bare futex; goal <= 1.3x; CPU time 8 us"
std::string explanation(const Row& row) {
    std::string text;
    const auto append = [&text](const char* word, const std::string& part) {
        if (!part.empty()) text += (text.empty() ? "" : "; ") + (word + part);
    };
    append("against ", row.against);
    append("goal ", row.goal);
    append("", row.note);
    return text;
}

void print(const Row& row) {
    const Comparison& figures = row.figures;
    char theirs[64] = "       -        -", ratio[64] = "-";
    if (!row.against.empty()) {
        std::snprintf(theirs, sizeof theirs, "%8.2f %8.2f", figures.theirsP50, figures.theirsP99);
        std::snprintf(ratio, sizeof ratio, "%.3f [%.3f %.3f]", figures.ratio, figures.ratioLow, figures.ratioHigh);
    }
    std::printf("%-34s %-4s %8.2f %8.2f  %s  %-20s %5.1f %%  %s\n    %s\n", row.what.c_str(), row.unit.c_str(),
                figures.oursP50, figures.oursP99, theirs, ratio, figures.spread * 100, verdict(row),
                explanation(row).c_str());
    std::fflush(stdout);
}

}  // namespace

void Report::add(Row row) {
    if (mRows.empty()) printHeading();
    print(row);
    mRows.push_back(std::move(row));
}

void Report::addInference(const std::string& what, const Comparison& figures, double goal) {
    char goalText[32], note[64];
    std::snprintf(goalText, sizeof goalText, "<= %.2fx", goal);
    std::snprintf(note, sizeof note, "%+.0f us a frame", figures.difference);
    add({what, "the bare inference", "us", figures, goalText, figures.ratio <= goal, note});
}

bool Report::tellMissed() const {
    size_t goals = 0, reached = 0;
    std::string missed;
    for (const Row& row : mRows) {
        if (row.goal.empty()) continue;
        ++goals;
        if (row.reached) ++reached;
        if (!row.reached) missed += "Missed: " + row.what + ", " + explanation(row) + "\n";
    }
    std::printf("\n%zu of %zu goals reached.\n%s", reached, goals, missed.c_str());
    return reached < goals;
}

void Report::writeJson(const std::string& file) const {
    std::ofstream out(file);
    out << "[";
    const char* separator = "\n";
    for (const Row& row : mRows) {
        const Comparison& figures = row.figures;
        out << separator << "  {\"what\": " << quoted(row.what) << ", \"against\": " << quoted(row.against)
            << ", \"unit\": " << quoted(row.unit) << ", \"p50\": " << figures.oursP50
            << ", \"p99\": " << figures.oursP99 << ", \"theirP50\": " << figures.theirsP50
            << ", \"theirP99\": " << figures.theirsP99 << ", \"ratio\": " << figures.ratio
            << ", \"ratioLow\": " << figures.ratioLow << ", \"ratioHigh\": " << figures.ratioHigh
            << ", \"spread\": " << figures.spread << ", \"goal\": " << quoted(row.goal) << ", \"reached\": "
            << (row.goal.empty() ? "null"
                : row.reached    ? "true"
                                 : "false")
            << ", \"note\": " << quoted(row.note) << "}";
        separator = ",\n";
    }
    out << "\n]\n";
    if (!out.flush()) throw std::runtime_error("cannot write " + file);
}

}  // namespace zelbench
