#include "bench/Report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace zelbench {

namespace {

void printHeading() {
    std::printf("%-34s %-30s %10s %10s %10s %10s  %-22s %7s  %s\n", "what", "against", "p50", "p99", "their p50",
                "their p99", "ratio [95 %]", "spread", "goal");
}

void print(const Row& row) {
    const Comparison& figures = row.figures;
    char ratio[64];
    std::snprintf(ratio, sizeof ratio, "%.3f [%.3f %.3f]", figures.ratio, figures.ratioLow, figures.ratioHigh);
    std::printf("%-34s %-30s %10.2f %10.2f %10.2f %10.2f  %-22s %6.1f%%  %s %s%s%s\n", row.what.c_str(),
                row.against.c_str(), figures.oursP50, figures.oursP99, figures.theirsP50, figures.theirsP99, ratio,
                figures.spread * 100, row.goal.c_str(), row.reached ? "reached" : "MISSED",
                row.note.empty() ? "" : "; ", row.note.c_str());
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

bool Report::allReached() const {
    return std::all_of(mRows.begin(), mRows.end(), [](const Row& row) { return row.reached; });
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
