#include "ipc/crash_file_names.h"

#include <algorithm>
#include <charconv>

namespace ipc {

namespace {

constexpr std::string_view kBegin = "zelhost_crash_";

bool isDigit(char letter) {
    return letter >= '0' && letter <= '9';
}

std::optional<int> processIdIn(std::string_view text) {
    int id = 0;
    const bool digits = !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
    const bool padded = text.size() > 1 && text.front() == '0';
    if (!digits || padded || std::from_chars(text.data(), text.data() + text.size(), id).ec != std::errc())
        return std::nullopt;
    return id;
}

}  // namespace

std::pmr::string crashFileStem(std::string_view pid, std::string_view mid, int processId,
                               std::pmr::memory_resource* memory) {
    char digits[16];
    const char* const end = std::to_chars(digits, digits + sizeof digits, processId).ptr;
    const std::string_view id(digits, static_cast<size_t>(end - digits));
    std::pmr::string stem(memory);
    stem.reserve(kBegin.size() + pid.size() + mid.size() + id.size() + 2);
    stem.append(kBegin).append(pid).append("_").append(mid).append("_").append(id);
    return stem;
}

std::optional<CrashFileName> parseCrashFileName(std::string_view name) {
    if (!name.starts_with(kBegin)) return std::nullopt;
    const bool dump = name.ends_with(kCrashDumpExtension);
    if (!dump && !name.ends_with(kCrashReportExtension)) return std::nullopt;
    const std::string_view extension = dump ? kCrashDumpExtension : kCrashReportExtension;
    const std::string_view stem = name.substr(0, name.size() - extension.size());
    const std::string_view ids = stem.substr(kBegin.size());
    const size_t first = ids.find('_');
    const size_t last = ids.rfind('_');
    if (first == last) return std::nullopt;
    const std::optional<int> processId = processIdIn(ids.substr(last + 1));
    if (!processId) return std::nullopt;
    return CrashFileName{stem, extension, ids.substr(0, first), ids.substr(first + 1, last - first - 1), *processId};
}

}  // namespace ipc
