#include "platform/include/guarded_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <new>

namespace platform {

GuardedMemory::GuardedMemory(size_t bytes, Guard guard) : mSize(bytes) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t usable = (bytes + page - 1) / page * page;
    mReserved = usable + page;
    mPages = mmap(nullptr, mReserved, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mPages == MAP_FAILED) throw std::bad_alloc();
    uint8_t* const pages = static_cast<uint8_t*>(mPages);
    const bool behind = guard == Guard::kBehind;
    if (mprotect(behind ? pages + usable : pages, page, PROT_NONE) != 0) throw std::bad_alloc();
    mData = behind ? pages + usable - bytes : pages + page;
}

GuardedMemory::~GuardedMemory() {
    munmap(mPages, mReserved);
}

}  // namespace platform
