#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <opencv2/core.hpp>

#include "bench/Machine.h"
#include "bench/vp/Rows.h"
#include "bench/vp/Table.h"

namespace {

using zelbench::vp::PlannedRow;
using zelbench::vp::PlannedRows;

constexpr double kQuickSeconds = 0.3;

PlannedRows allRows() {
    PlannedRows rows;
    zelbench::vp::addConverterRows(rows);
    zelbench::vp::addChromaRows(rows);
    zelbench::vp::addBlendRows(rows);
    zelbench::vp::addBlurRows(rows);
    zelbench::vp::addRotationRows(rows);
    zelbench::vp::addScalerRows(rows);
    zelbench::vp::addNearestRows(rows);
    zelbench::vp::addHalfRows(rows);
    return rows;
}

// "convert, chroma, blend": what the names begin with.
std::string firstWords() {
    std::string words, last;
    for (const PlannedRow& row : allRows()) {
        const std::string word = row.name.substr(0, row.name.find(' '));
        if (word != last) words += (words.empty() ? "" : ", ") + word;
        last = word;
    }
    return words;
}

// The rows whose names contain one of the words; all without any.
PlannedRows rowsNamed(const std::vector<std::string>& words) {
    PlannedRows rows = allRows();
    std::erase_if(rows, [&words](const PlannedRow& row) {
        const auto named = [&row](const std::string& word) { return row.name.find(word) != std::string::npos; };
        return !words.empty() && std::none_of(words.begin(), words.end(), named);
    });
    return rows;
}

void measure(const PlannedRow& row, double seconds, zelbench::vp::Table& table) {
    try {
        const zelbench::vp::Contest contest = row.prepare();
        table.add(row.name, contest, zelbench::vp::hold(contest, seconds));
    } catch (const std::exception& failure) {
        table.addFailure(row.name, failure.what());
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Measures the image library against libyuv and OpenCV, one thread each, side by side in one run."};
    double seconds = 1.3;
    bool quick = false;
    std::string json;
    std::vector<std::string> words;
    app.add_option("--seconds", seconds, "for the timing of each row")
        ->check(CLI::Range(0.01, 600.0))
        ->capture_default_str();
    app.add_flag("--quick", quick, "as --seconds 0.3: wider intervals");
    app.add_option("--json", json, "also write the rows to this file; of several, to the last")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_option("rows", words, "words: the rows whose names contain one of them; all by default");
    app.footer("The rows' names begin with " + firstWords() + ".");
    CLI11_PARSE(app, argc, argv);
    const PlannedRows rows = rowsNamed(words);
    if (rows.empty()) {
        std::fprintf(stderr, "zelbench_vp: no row has such a name; they begin with %s\n", firstWords().c_str());
        return 2;
    }
    zelbench::warnWhenUnoptimised("zelbench_vp");
    zelbench::tellMachine();
    cv::setNumThreads(1);
    try {
        zelbench::vp::Table table;
        for (const PlannedRow& row : rows) measure(row, quick ? kQuickSeconds : seconds, table);
        table.tellMissed();
        if (!json.empty()) table.writeJson(json);
        return table.exitStatus();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zelbench_vp: %s\n", failure.what());
        return 2;
    }
}
