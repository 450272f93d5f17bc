#include "crash/CrashChild.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
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
    options.environment = platform::test::temporaryFolderIn(folder);
    options.environment.emplace_back("ZELHOST_CRASH_SECONDS", "300");
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

const Crash& crashOnce(const std::string& kind) {
    static const platform::test::TemporaryFolder folder;
    static std::map<std::string, Crash> crashes;
    const auto known = crashes.find(kind);
    return known != crashes.end() ? known->second : crashes.emplace(kind, crash(kind, folder)).first->second;
}

bool sanitizerKeeps(const std::string& kind) {
    const bool thread = platform::test::underThreadSanitizer();
    if (kind == "heap-corruption") return thread || platform::test::underAddressSanitizer();
    return thread && kind.starts_with("stack-overflow");
}

// Wine names a module without its extension.
std::vector<size_t> ownOffsets(const std::string& stack) {
    std::vector<size_t> offsets;
    std::istringstream entries(stack);
    for (std::string entry; std::getline(entries, entry, ';');) {
        const size_t plus = entry.rfind("+0x");
        const std::string module = entry.substr(0, plus);
        const bool own = module == "crash_test_child" || module == "crash_test_child.exe";
        if (own) offsets.push_back(std::stoul(entry.substr(plus + 3), nullptr, 16));
    }
    return offsets;
}

}  // namespace crash_test
