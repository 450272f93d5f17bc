#include "client/src/CrashFiles.h"

#include <optional>

#include "ipc/crash_file_names.h"
#include "platform/include/folders.h"
#include "platform/include/module.h"
#include "platform/include/own_file.h"

namespace client {

namespace {

std::string folderOf(const std::string& program) {
    const size_t cut = program.find_last_of(std::string{'/', platform::pathSeparator()});
    return cut == std::string::npos ? "" : program.substr(0, cut + 1);
}

// The clock of a file system may lag behind.
constexpr int64_t kClockGap = 2;  // seconds

std::string ifThere(const std::string& path, int64_t since) {
    const std::optional<int64_t> at = platform::ownFileTime(path);
    return at && *at + kClockGap >= since ? path : "";
}

CrashFiles filesOf(const std::string& stem, int64_t since) {
    return {ifThere(stem + std::string(ipc::kCrashReportExtension), since),
            ifThere(stem + std::string(ipc::kCrashDumpExtension), since)};
}

}  // namespace

std::vector<std::string> crashFolders(const std::string& hostProgram) {
    std::vector<std::string> folders;
    for (const std::string& folder : {platform::folders().temporary(), folderOf(hostProgram)}) {
        if (!folder.empty()) folders.push_back(folder);
    }
    return folders;
}

CrashFiles findCrashFiles(const std::vector<std::string>& folders, const HostIdentity& host) {
    const std::string stems[] = {std::string(ipc::crashFileStem(host.pid, host.mid, host.processId)),
                                 std::string(ipc::crashFileStem("", "", host.processId))};
    for (const std::string& stem : stems) {
        for (const std::string& folder : folders) {
            CrashFiles files = filesOf(folder + stem, host.startedAt);
            if (files.any()) return files;
        }
    }
    return {};
}

std::string crashFilesText(const CrashFiles& files) {
    if (!files.any()) return "";
    std::string text = "; it left ";
    if (!files.report.empty()) text += "the report " + files.report;
    if (!files.report.empty() && !files.dump.empty()) text += " and ";
    if (!files.dump.empty()) text += "the dump " + files.dump;
    return text;
}

}  // namespace client
