#include <atomic>

#include "platform/replaceable.h"

// Apart from the other services: whoever finds resources links a table of them.
namespace platform {

namespace {

std::atomic<Resource (*)(int)> gFindResource{nullptr};

}  // namespace

Resource findResource(int id) {
    const auto replacement = gFindResource.load();
    return replacement ? replacement(id) : systemResource(id);
}

void replaceResources(Resource (*find)(int id)) {
    gFindResource.store(find);
}

}  // namespace platform
