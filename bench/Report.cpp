#include "bench/Report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace zelbench {

namespace {

void printHeading() {
    std::printf("%-35s %-4s %9s %9s   %9s %9s   %-22s %7s   %s\n", "", "", "ours", "", "theirs", "", "ours / theirs",
                "", "");
    std::printf("%-35s %-4s %9s %9s   %9s %9s   %-22s %7s   %s\n", "what", "unit", "p50", "p99", "p50", "p99",
                "[95 % interval]", "spread", "goal");
}

// A line of figures, and one that tells what they were held against.
void print(const Row& row) {
    const Comparison& figures = row.figures;
    const bool alone = row.against.empty();
    char theirs[64] = "        -         -", ratio[64] = "-";
    if (!alone) {
        std::snprintf(theirs, sizeof theirs, "%9.2f %9.2f", figures.theirsP50, figures.theirsP99);
        std::snprintf(ratio, sizeof ratio, "%.3f [%.3f %.3f]", figures.ratio, figures.ratioLow, figures.ratioHigh);
    }
    std::printf("%-35s %-4s %9.2f %9.2f   %s   %-22s %5.1f %%   %s\n", row.what.c_str(), row.unit.c_str(),
                figures.oursP50, figures.oursP99, theirs, ratio, figures.spread * 100,
                row.reached ? "reached" : "MISSED");
    std::printf("    %s%sgoal %s%s%s\n", alone ? "" : "against ", alone ? "" : (row.against + "; ").c_str(),
                row.goal.c_str(), row.note.empty() ? "" : "; ", row.note.c_str());
    std::fflush(stdout);
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\') result += '\\';
        result += letter;
    }
    return result + "\"";
}

}  // namespace

void Report::add(Row row) {
    if (mRows.empty()) printHeading();
    print(row);
    mRows.push_back(std::move(row));
}

bool Report::tellMissed() const {
    const auto isMissed = [](const Row& row) { return !row.reached; };
    const auto missed = std::count_if(mRows.begin(), mRows.end(), isMissed);
    std::printf("\n%zu of %zu rows reached their goal.\n", mRows.size() - static_cast<size_t>(missed), mRows.size());
    for (const Row& row : mRows)
        if (isMissed(row))
            std::printf("Missed: %s%s%s, goal %s.\n", row.what.c_str(), row.against.empty() ? "" : " against ",
                        row.against.c_str(), row.goal.c_str());
    return missed > 0;
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
            << ", \"spread\": " << figures.spread << ", \"goal\": " << quoted(row.goal)
            << ", \"reached\": " << (row.reached ? "true" : "false") << ", \"note\": " << quoted(row.note) << "}";
        separator = ",\n";
    }
    out << "\n]\n";
    if (!out.flush()) throw std::runtime_error("cannot write " + file);
}

}  // namespace zelbench
