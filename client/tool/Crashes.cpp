#include "client/tool/Crashes.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>

#include "client/tool/file_paths.h"
#include "ipc/crash_file_names.h"
#include "platform/include/module.h"
#include "platform/include/own_file.h"

namespace fs = std::filesystem;

namespace zeltool {

namespace {

constexpr size_t kReportRead = 4096;  // bytes; a report's first three lines have less than a hundred
constexpr size_t kLongestPart = 80;   // bytes
constexpr size_t kLongestName = 255;  // bytes
constexpr std::string_view kExceptionLine = "Exception Type: ";

// Cut, and each byte that is no printable ASCII a '?'.
std::string printable(std::string_view text, size_t most) {
    std::string result(text.substr(0, most));
    std::replace_if(
        result.begin(), result.end(), [](char letter) { return letter < 0x20 || letter > 0x7e; }, '?');
    return result;
}

// The folder is the user's own choice, the name may be anybody's.
std::string printablePath(const std::string& path) {
    const size_t name = path.find_last_of(std::string{'/', platform::pathSeparator()}) + 1;
    return path.substr(0, name) + printable(std::string_view(path).substr(name), kLongestName);
}

// Adds what lies in a folder. Files of one stem are one crash.
void addCrashes(const fs::path& folder, std::map<std::string, Crash>& crashes) {
    std::error_code failure;
    for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end; entry.increment(failure)) {
        const std::string name = utf8Of(entry->path().filename());
        const auto read = ipc::parseCrashFileName(name);
        if (!read) continue;
        const std::string path = utf8Of(entry->path());
        const std::optional<int64_t> at = platform::ownFileTime(path);
        if (!at) continue;
        const size_t stem = path.size() - read->extension.size();
        Crash& crash = crashes.try_emplace(path.substr(0, stem), Crash{*at, "", ""}).first->second;
        crash.at = std::max(crash.at, *at);
        (read->extension == ipc::kCrashDumpExtension ? crash.dump : crash.report) = path;
    }
}

std::string_view takeLine(std::string_view& text) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

std::string timeText(int64_t at) {
    using namespace std::chrono;
    const sys_seconds moment{seconds(at)};
    const auto day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss<seconds> time(moment - day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d UTC", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

}  // namespace

std::vector<Crash> findCrashes(const std::vector<std::string>& folders) {
    std::map<std::string, Crash> byStem;
    for (const std::string& folder : folders) addCrashes(pathOf(folder), byStem);
    std::vector<Crash> crashes;
    for (auto& [stem, crash] : byStem) crashes.push_back(std::move(crash));
    std::stable_sort(crashes.begin(), crashes.end(), [](const Crash& a, const Crash& b) { return a.at > b.at; });
    return crashes;
}

std::string failureOf(const std::optional<std::string>& report) {
    if (!report) return "its report cannot be read";
    std::string_view rest = *report;
    takeLine(rest);  // the version
    std::string_view exception = takeLine(rest);
    if (!exception.starts_with(kExceptionLine)) return "its report makes no sense";
    exception.remove_prefix(kExceptionLine.size());
    takeLine(rest);  // the thread
    const std::string_view stack = takeLine(rest);
    const std::string_view place = stack.substr(0, std::min(stack.find(';'), stack.size()));
    return printable(exception, kLongestPart) + " at " +
           (place.empty() ? "a place that it does not tell" : printable(place, kLongestPart));
}

std::string crashLine(const Crash& crash) {
    std::string line = timeText(crash.at) + "  ";
    line += crash.report.empty() ? "no report" : failureOf(platform::readOwnFile(crash.report, kReportRead));
    for (const std::string& path : {crash.report, crash.dump}) {
        if (!path.empty()) line += "  " + printablePath(path);
    }
    return line;
}

}  // namespace zeltool
