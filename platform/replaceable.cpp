#include "platform/replaceable.h"

#include <atomic>

namespace platform {

namespace {

std::atomic<Folders*> gFolders{nullptr};
std::atomic<Machine*> gMachine{nullptr};

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

}  // namespace platform
