#include "bench/vp/Table.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "bench/JsonText.h"

namespace zelbench::vp {

namespace {

void printHeading() {
    std::printf("%-42s %8s %8s %8s %8s  %-20s\n", "", "ours", "", "libyuv", "OpenCV", "ours / the quicker");
    std::printf("%-42s %8s %8s %8s %8s  %-20s %6s %5s %5s  %s\n", "what, in us", "p50", "p99", "p50", "p50",
                "[95 % interval]", "spread", "GB/s", "copy", "goal");
}

double gigabytesPerSecond(size_t bytes, double microseconds) {
    return static_cast<double>(bytes) / 1000 / microseconds;
}

template <class... Values>
std::string formatted(const char* format, Values... values) {
    char text[128];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

// For JSON, which has no other word for what was not measured.
template <class Number>
std::string numberOrNull(bool known, Number value) {
    std::ostringstream out;
    out << value;
    return known ? out.str() : "null";
}

}  // namespace

// What a failed row's goal would have been is not known any more: that it cannot reach it, is.
bool Table::Row::hasGoal() const {
    return !failure.empty() || !rivals.empty() || goals.leastCopyShare > 0;
}

bool Table::Row::reached() const {
    const double ratio = figures.quickest.ratio;
    const bool quick = rivals.empty() || (ratio >= goals.leastRatio && ratio <= goals.mostRatio);
    return failure.empty() && quick && figures.copyShare >= goals.leastCopyShare;
}

const char* Table::Row::verdict() const {
    if (!failure.empty()) return "FAILED";
    if (!hasGoal()) return "-";
    return reached() ? "reached" : "MISSED";
}

std::string Table::Row::goal() const {
    std::string text;
    if (!rivals.empty() && goals.leastRatio > 0)
        text = formatted("%.2fx to %.2fx", goals.leastRatio, goals.mostRatio);
    else if (!rivals.empty())
        text = formatted("<= %.2fx", goals.mostRatio);
    if (goals.leastCopyShare > 0)
        text += (text.empty() ? "" : " and ") + formatted(">= %.0f %% of the copy's speed", goals.leastCopyShare * 100);
    return text;
}

// "against libyuv, 123.4 us: 1.070; goal <= 1.00x"
std::string Table::Row::explanation() const {
    if (!failure.empty()) return failure;
    std::string text;
    if (!rivals.empty())
        text = "against " + rivals[figures.quickestRival] +
               formatted(", %.1f us: %.3f; ", figures.quickest.theirsP50, figures.quickest.ratio);
    if (goals.leastCopyShare > 0) text += formatted("%.1f %% of the copy's speed; ", figures.copyShare * 100);
    return text + "goal " + goal();
}

std::string Table::Row::rivalP50(const char* name) const {
    for (size_t index = 0; index < rivals.size(); ++index)
        if (rivals[index] == name) return formatted("%.1f", figures.rivalP50[index]);
    return "-";
}

void Table::Row::print() const {
    const Comparison& quickest = figures.quickest;
    if (!failure.empty()) {
        std::printf("%-42s %s: %s\n", what.c_str(), verdict(), failure.c_str());
        return;
    }
    const std::string ratio =
        rivals.empty() ? "-" : formatted("%.3f [%.3f %.3f]", quickest.ratio, quickest.ratioLow, quickest.ratioHigh);
    std::printf("%-42s %8.1f %8.1f %8s %8s  %-20s %4.0f %% %5.1f %3.0f %%  %s\n", what.c_str(), quickest.oursP50,
                quickest.oursP99, rivalP50(kLibyuv).c_str(), rivalP50(kOpenCv).c_str(), ratio.c_str(),
                quickest.spread * 100, gigabytesPerSecond(bytes, quickest.oursP50), figures.copyShare * 100, verdict());
    const bool inColumn =
        rivals.empty() || rivals[figures.quickestRival] == kLibyuv || rivals[figures.quickestRival] == kOpenCv;
    if (!inColumn) std::printf("    %s\n", explanation().c_str());
}

std::string Table::Row::json() const {
    const Comparison& quickest = figures.quickest;
    const bool timed = failure.empty(), compared = timed && !rivals.empty();
    std::ostringstream out;
    out << "{\"what\": " << quoted(what) << ", \"unit\": \"us\", \"p50\": " << numberOrNull(timed, quickest.oursP50)
        << ", \"p99\": " << numberOrNull(timed, quickest.oursP99) << ", \"rivals\": {";
    for (size_t index = 0; index < figures.rivalP50.size(); ++index)
        out << (index == 0 ? "" : ", ") << quoted(rivals[index]) << ": " << figures.rivalP50[index];
    out << "}, \"ratio\": " << numberOrNull(compared, quickest.ratio)
        << ", \"ratioLow\": " << numberOrNull(compared, quickest.ratioLow)
        << ", \"ratioHigh\": " << numberOrNull(compared, quickest.ratioHigh)
        << ", \"spread\": " << numberOrNull(timed, quickest.spread) << ", \"bytes\": " << numberOrNull(timed, bytes)
        << ", \"gigabytesPerSecond\": " << numberOrNull(timed, gigabytesPerSecond(bytes, quickest.oursP50))
        << ", \"copyGigabytesPerSecond\": " << numberOrNull(timed, gigabytesPerSecond(bytes, figures.copyP50))
        << ", \"copyShare\": " << numberOrNull(timed, figures.copyShare) << ", \"goal\": " << quoted(goal())
        << ", \"reached\": "
        << (!hasGoal()  ? "null"
            : reached() ? "true"
                        : "false")
        << ", \"failure\": " << quoted(failure) << "}";
    return out.str();
}

void Table::add(Row row) {
    if (mRows.empty()) printHeading();
    row.print();
    std::fflush(stdout);
    mRows.push_back(std::move(row));
}

void Table::add(const std::string& what, const Contest& contest, const ContestFigures& figures) {
    Row row{what, {}, contest.goals, contest.bytes, figures, ""};
    for (const Rival& rival : contest.rivals) row.rivals.push_back(rival.name);
    add(std::move(row));
}

void Table::addFailure(const std::string& what, const std::string& why) {
    add(Row{what, {}, {}, 0, {}, why});
}

void Table::tellMissed() const {
    const auto count = [this](auto member) { return std::count_if(mRows.begin(), mRows.end(), member); };
    std::printf("\n%ld of %ld goals reached; %ld rows failed.\n",
                count([](const Row& row) { return row.hasGoal() && row.reached(); }),
                count([](const Row& row) { return row.hasGoal(); }),
                count([](const Row& row) { return !row.failure.empty(); }));
    for (const Row& row : mRows) {
        if (!row.failure.empty()) std::printf("Failed: %s: %s\n", row.what.c_str(), row.failure.c_str());
        if (row.failure.empty() && row.hasGoal() && !row.reached())
            std::printf("Missed: %s, %s\n", row.what.c_str(), row.explanation().c_str());
    }
}

int Table::exitStatus() const {
    int status = 0;
    for (const Row& row : mRows) {
        if (!row.failure.empty()) return 2;
        if (row.hasGoal() && !row.reached()) status = 1;
    }
    return status;
}

void Table::writeJson(const std::string& file) const {
    std::ofstream out(file);
    out << "[";
    const char* separator = "\n  ";
    for (const Row& row : mRows) {
        out << separator << row.json();
        separator = ",\n  ";
    }
    out << "\n]\n";
    if (!out.flush()) throw std::runtime_error("cannot write " + file);
}

}  // namespace zelbench::vp
