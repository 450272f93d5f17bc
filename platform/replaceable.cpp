#include "platform/replaceable.h"

#include <atomic>
#include <mutex>

#include "platform/include/module.h"

namespace platform {

namespace {

std::atomic<Folders*> gFolders{nullptr};
std::atomic<Machine*> gMachine{nullptr};
std::mutex gDirectoryMutex;

// Under gDirectoryMutex; made at first use, since static initialisation of others may ask.
std::string& replacedDirectory() {
    static std::string directory;
    return directory;
}

}  // namespace

Folders& folders() {
    Folders* replacement = gFolders.load();
    return replacement ? *replacement : systemFolders();
}

void replaceFolders(Folders* replacement) {
    gFolders.store(replacement);
}

Machine& machine() {
    Machine* replacement = gMachine.load();
    return replacement ? *replacement : systemMachine();
}

void replaceMachine(Machine* replacement) {
    gMachine.store(replacement);
}

std::string executableDirectory() {
    {
        const std::lock_guard<std::mutex> lock(gDirectoryMutex);
        if (!replacedDirectory().empty()) return replacedDirectory();
    }
    return systemExecutableDirectory();
}

void replaceExecutableDirectory(const std::string& directory) {
    const std::lock_guard<std::mutex> lock(gDirectoryMutex);
    replacedDirectory() = directory;
}

}  // namespace platform
