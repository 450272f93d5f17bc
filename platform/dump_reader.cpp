#include "platform/dump_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "platform/linux_program.h"

namespace platform::test {

namespace {

uint64_t hexadecimal(const std::string& digits) {
    return std::stoull(digits, nullptr, 16);
}

std::string buildIdOf(std::string uuid) {
    std::erase(uuid, '-');
    std::transform(uuid.begin(), uuid.end(), uuid.begin(), [](unsigned char digit) { return std::tolower(digit); });
    return uuid;
}

// "* thread #1: tid = 19731, 0x0000559797b79625 program`main, stop reason = signal SIGSEGV"; of Windows "tid = 0x4d13"
// "     rip = 0x0000559797b79625  program`main + 281"
// "[  0] 77B4D14B-665C-B879-2DFC-233C67553850-7880E4FA 0x0000559797b77000 /path"
void readLldbLine(const std::string& line, DumpSummary& summary) {
    static const std::regex thread(R"(^(\*?) +thread #\d+: tid = (0x[0-9a-f]+|\d+),.*)");
    static const std::regex stop(R"(.*, stop reason = (.*)$)");
    static const std::regex reg(R"(^ +(rip|rsp) = (0x[0-9a-f]+).*)");
    static const std::regex module(R"(^\[ *\d+\] ([0-9A-F-]*) +(0x[0-9a-f]+) (.*[^ ]) *$)");
    std::smatch match;
    if (std::regex_match(line, match, thread)) {
        ++summary.threads;
        if (match[1] == "*") summary.thread = static_cast<uint32_t>(std::stoul(match[2], nullptr, 0));
        if (match[1] == "*" && std::regex_match(line, match, stop)) summary.stop = match[1];
    } else if (std::regex_match(line, match, reg)) {
        (match[1] == "rip" ? summary.instructionPointer : summary.stackPointer) = hexadecimal(match[2]);
    } else if (std::regex_match(line, match, module)) {
        summary.modules.push_back({match[3], buildIdOf(match[1]), hexadecimal(match[2])});
    }
}

// What read_minidump.py prints: a word, then its values.
void readSummaryLine(const std::string& line, DumpSummary& summary) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word == "exception") words >> summary.stop >> summary.thread;
    if (word == "threads") words >> summary.threads;
    if (word == "registers") words >> std::hex >> summary.instructionPointer >> summary.stackPointer;
    if (word == "module") {
        DumpSummary::Module module;
        words >> std::hex >> module.base >> std::ws;
        std::getline(words, module.path);
        summary.modules.push_back(module);
    }
}

DumpSummary summaryOf(const Outcome& outcome, void (*readLine)(const std::string&, DumpSummary&)) {
    DumpSummary summary;
    summary.text = outcome.output + outcome.error;
    EXPECT_EQ(outcome.exitCode, 0) << summary.text;
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);) readLine(line, summary);
    return summary;
}

}  // namespace

DumpSummary readWithLldb(const std::string& path) {
    const std::vector<std::string> arguments = {"--batch",
                                                "--no-lldbinit",
                                                "--script-language",
                                                "none",
                                                "--one-line-before-file",
                                                "settings set target.preload-symbols false",
                                                "--one-line-before-file",
                                                "settings set symbols.enable-external-lookup false",
                                                "--core",
                                                linuxPath(path),
                                                "--one-line",
                                                "thread list",
                                                "--one-line",
                                                "register read rip rsp",
                                                "--one-line",
                                                "image list --uuid --header --fullpath"};
    return summaryOf(runLinuxProgram("/usr/bin/lldb-14", arguments), readLldbLine);
}

DumpSummary readWithMinidumpReader(const std::string& path) {
    return summaryOf(runLinuxProgram("/usr/bin/python3", {READ_MINIDUMP, ZELHOST_MINIDUMP_DIR, linuxPath(path)}),
                     readSummaryLine);
}

}  // namespace platform::test
