#include "client/src/CrashFiles.h"

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

std::string ifThere(const std::string& path) {
    return platform::ownFileTime(path) ? path : "";
}

}  // namespace

std::vector<std::string> crashFolders(const std::string& hostProgram) {
    std::vector<std::string> folders;
    for (const std::string& folder : {platform::folders().temporary(), folderOf(hostProgram)}) {
        if (!folder.empty()) folders.push_back(folder);
    }
    return folders;
}

CrashFiles findCrashFiles(const std::vector<std::string>& folders, const std::string& pid, const std::string& mid,
                          int processId) {
    const std::string stem(ipc::crashFileStem(pid, mid, processId));
    CrashFiles files;
    for (const std::string& folder : folders) {
        files.report = ifThere(folder + stem + std::string(ipc::kCrashReportExtension));
        files.dump = ifThere(folder + stem + std::string(ipc::kCrashDumpExtension));
        if (files.any()) break;
    }
    return files;
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
