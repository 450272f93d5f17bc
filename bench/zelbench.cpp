#include <CLI/CLI.hpp>
#include <cstdio>

#include "bench/Machine.h"
#include "bench/Rows.h"
#include "ipc/channel.h"

namespace {

int runEcho(const std::vector<std::string>& echo) {
    if (echo[0] == "channel") zelbench::serveChannelEcho(echo[1]);
    if (echo[0] == "zeromq") zelbench::serveZeroMqEcho(echo[1]);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Measures what the host costs over the bare network, channel and program, side by side in one run."};
    zelbench::Settings settings;
    settings.picture = ZELBENCH_PICTURE;
    std::string json;
    const std::vector<std::string> known = {"frames",   "detections", "library",  "channels",     "process",
                                            "recovery", "crash",      "switches", "switch-memory"};
    std::vector<std::string> rows = known;
    std::vector<std::string> echo;
    app.add_option("--picture", settings.picture, "photograph of a person, PNG")->capture_default_str();
    app.add_option("--repeats", settings.blocks.repeats, "pairs of blocks")
        ->check(CLI::Range(5, 1000))
        ->capture_default_str();
    app.add_option("--operations", settings.blocks.operations, "timed in each block")
        ->check(CLI::Range(10, 1000000))
        ->capture_default_str();
    app.add_option("--starts", settings.starts, "process starts of each kind")
        ->check(CLI::Range(5, 1000))
        ->capture_default_str();
    app.add_option("--switches", settings.switches, "of engines, over which memory must not grow")
        ->check(CLI::Range(120, 100000))
        ->capture_default_str();
    app.add_option("--switch-pairs", settings.switchPairs, "pairs of blocks of one switch each")
        ->check(CLI::Range(5, 1000))
        ->capture_default_str();
    app.add_option("--json", json, "also write the rows to this file; of several, to the last")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_option("rows", rows, "all by default")->check(CLI::IsMember(known));
    app.add_option("--echo", echo)->expected(2)->group("");
    CLI11_PARSE(app, argc, argv);
    ipc::printOpenErrors(false);
    if (!echo.empty()) return runEcho(echo);
    zelbench::warnWhenUnoptimised("zelbench");
    zelbench::tellMachine();
    try {
        zelbench::Report report;
        for (const std::string& row : rows) {
            if (row == "frames") zelbench::measureFrames(settings, report);
            if (row == "detections") zelbench::measureDetections(settings, report);
            if (row == "library") zelbench::measureLibrary(settings, report);
            if (row == "channels") zelbench::measureChannels(settings, report);
            if (row == "process") zelbench::measureProcess(settings, report);
            if (row == "recovery") zelbench::measureRecovery(settings, report);
            if (row == "crash") zelbench::measureCrash(settings, report);
            if (row == "switches") zelbench::measureSwitchFrames(settings, report);
            if (row == "switch-memory") zelbench::measureSwitchMemory(settings, report);
        }
        if (!json.empty()) report.writeJson(json);
        return report.tellMissed() ? 1 : 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zelbench: %s\n", failure.what());
        return 2;
    }
}
