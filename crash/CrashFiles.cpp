#include "crash/CrashFiles.h"

#include "ipc/crash_file_names.h"
#include "util/include/CmThread.h"

namespace {

// Never destroyed: static objects may fail as they go.
std::string& gClientProcessId = *new std::string;
std::string& gClientInstanceId = *new std::string;

CrashPath folderOfCrashFiles(CrashSystem& system) {
    CrashPath folder = system.temporaryFolder();
    if (folder.empty()) folder = system.moduleFolder();
    return folder;
}

}  // namespace

void setCrashFileIds(const std::string& clientProcessId, const std::string& clientInstanceId) {
    gClientProcessId = clientProcessId;
    gClientInstanceId = clientInstanceId;
}

CrashPath GetCrashFilePath(CrashSystem& system, std::string_view extension) {
    CrashPath path = folderOfCrashFiles(system);
    path += ipc::crashFileStem(gClientProcessId, gClientInstanceId, CmGetProcessID(), crashMemory());
    path += extension;
    return path;
}
