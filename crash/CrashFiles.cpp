#include "crash/CrashFiles.h"

#include <charconv>

#include "util/include/CmThread.h"

namespace {

std::string gClientProcessId;
std::string gClientInstanceId;

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
    char id[16];
    char* const idEnd = std::to_chars(id, id + sizeof id, CmGetProcessID()).ptr;
    CrashPath path = folderOfCrashFiles(system);
    path += "zelhost_crash_";
    path += gClientProcessId;
    path += '_';
    path += gClientInstanceId;
    path += '_';
    path.append(id, idEnd);
    path += extension;
    return path;
}
