#include <algorithm>
#include <string>

#include "client/tool/Crashes.h"
#include "fuzz/Records.h"
#include "ipc/crash_file_names.h"

namespace {

constexpr size_t kMostTold = 256;  // bytes

void checkName(const std::string& name) {
    const auto read = ipc::parseCrashFileName(name);
    if (!read) return;
    fuzz::require(std::string(read->stem) + std::string(read->extension) == name);
    fuzz::require(ipc::crashFileStem(read->pid, read->mid, read->processId) == read->stem);
}

void checkReport(const std::string& report) {
    const std::string told = zeltool::failureOf(report);
    fuzz::require(!told.empty() && told.size() <= kMostTold);
    fuzz::require(std::all_of(told.begin(), told.end(), [](char letter) { return letter >= 0x20 && letter <= 0x7e; }));
}

}  // namespace

// What anybody may have put into the temporary folder: a file's name up to the first line's end, then a report.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const size_t end = std::min(bytes.find('\n'), bytes.size());
    checkName(bytes.substr(0, end));
    checkReport(bytes.substr(std::min(end + 1, bytes.size())));
    return 0;
}
