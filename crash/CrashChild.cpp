#include "crash/CrashChild.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

namespace crash_test {

namespace {

std::vector<std::string> linesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

std::string readIfThere(const std::string& path) {
    return std::filesystem::exists(path) ? platform::test::readFile(path) : "";
}

}  // namespace

platform::ProcessOptions withTemporaryFolder(const std::string& folder) {
    platform::ProcessOptions options;
    options.environment = {{"TMPDIR", folder}, {"TMP", folder}, {"TEMP", folder}, {"ZELHOST_CRASH_SECONDS", "300"}};
    return options;
}

Crash crash(const std::string& kind, const platform::test::TemporaryFolder& folder, const std::string& ids,
            const std::string& sink) {
    const platform::test::Outcome outcome = platform::test::runToEnd(platform::test::siblingProgram("crash_test_child"),
                                                                     {kind, sink}, withTemporaryFolder(folder.path()));
    Crash crash;
    crash.trace = linesOf(outcome.output);
    EXPECT_FALSE(crash.trace.empty()) << kind << ": " << outcome.error;
    if (crash.trace.empty()) return crash;
    std::istringstream words(crash.trace.front());
    words >> crash.announced.process >> crash.announced.thread >> crash.announced.offset >> crash.announced.line;
    crash.trace.erase(crash.trace.begin());
    crash.error = outcome.error;
    crash.exitCode = outcome.exitCode;
    const std::string stem = folder.path("zelhost_crash_" + ids + "_" + crash.announced.process);
    crash.dumpPath = stem + ".dmp";
    crash.dump = readIfThere(crash.dumpPath);
    crash.reportPath = stem + ".txt";
    crash.report = linesOf(readIfThere(crash.reportPath));
    return crash;
}

std::vector<size_t> ownOffsets(const std::string& stack) {
    const std::string module = platform::test::onWindows() ? "crash_test_child.exe+0x" : "crash_test_child+0x";
    std::vector<size_t> offsets;
    std::istringstream entries(stack);
    for (std::string entry; std::getline(entries, entry, ';');) {
        if (entry.starts_with(module)) offsets.push_back(std::stoul(entry.substr(module.size()), nullptr, 16));
    }
    return offsets;
}

}  // namespace crash_test
