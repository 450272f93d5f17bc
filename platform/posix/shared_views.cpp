#include "platform/posix/shared_views.h"

#include <sys/mman.h>

#if defined(__SANITIZE_THREAD__)
#define ZEL_ONE_VIEW_PER_FILE
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZEL_ONE_VIEW_PER_FILE
#endif
#endif

#ifdef ZEL_ONE_VIEW_PER_FILE
#include <sys/stat.h>

#include <algorithm>
#include <mutex>
#include <vector>
#endif

namespace platform {
namespace {

void* map(int descriptor, size_t size) {
    void* view = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    return view == MAP_FAILED ? nullptr : view;
}

}  // namespace

#ifndef ZEL_ONE_VIEW_PER_FILE

void* mapShared(int descriptor, size_t size) {
    return map(descriptor, size);
}

void unmapShared(void* view, size_t size) {
    munmap(view, size);
}

#else

// The thread sanitizer knows memory by its address. Where a writer and a reader of one file live in one process, as in
// many tests, it sees that they use the same words, and how these order what else the two do, only through one view.
namespace {

struct SharedView {
    dev_t device;
    ino_t file;
    size_t size;
    void* address;
    unsigned users;
};

std::mutex viewsMutex;

// Never destroyed: objects with static lifetime unmap their views at exit.
std::vector<SharedView>& views() {
    static auto& all = *new std::vector<SharedView>;
    return all;
}

}  // namespace

void* mapShared(int descriptor, size_t size) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) return nullptr;
    const std::lock_guard lock(viewsMutex);
    const auto found = std::find_if(views().begin(), views().end(), [&](const SharedView& view) {
        return view.device == status.st_dev && view.file == status.st_ino && view.size == size;
    });
    if (found != views().end()) {
        ++found->users;
        return found->address;
    }
    void* const address = map(descriptor, size);
    if (address) views().push_back({status.st_dev, status.st_ino, size, address, 1});
    return address;
}

void unmapShared(void* view, size_t size) {
    const std::lock_guard lock(viewsMutex);
    const auto found =
        std::find_if(views().begin(), views().end(), [&](const SharedView& known) { return known.address == view; });
    if (found == views().end() || --found->users != 0) return;
    views().erase(found);
    munmap(view, size);
}

#endif

}  // namespace platform
