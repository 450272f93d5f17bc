#include "platform/replaceable.h"

#include <atomic>

namespace platform {

namespace {

std::atomic<Folders*> gFolders{nullptr};
std::atomic<Machine*> gMachine{nullptr};
std::atomic<Resource (*)(int)> gFindResource{nullptr};

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

Resource findResource(int id) {
    const auto replacement = gFindResource.load();
    return replacement ? replacement(id) : systemResource(id);
}

void replaceResources(Resource (*find)(int id)) {
    gFindResource.store(find);
}

}  // namespace platform
