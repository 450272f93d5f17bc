#include "platform/include/guarded_memory.h"

#include <windows.h>

#include <new>

namespace platform {

GuardedMemory::GuardedMemory(size_t bytes, Guard guard) : mSize(bytes) {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    const size_t page = system.dwPageSize;
    const size_t usable = (bytes + page - 1) / page * page;
    mReserved = usable + page;
    mPages = VirtualAlloc(nullptr, mReserved, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (!mPages) throw std::bad_alloc();
    uint8_t* const pages = static_cast<uint8_t*>(mPages);
    const bool behind = guard == Guard::kBehind;
    DWORD before = 0;
    if (!VirtualProtect(behind ? pages + usable : pages, page, PAGE_NOACCESS, &before)) throw std::bad_alloc();
    mData = behind ? pages + usable - bytes : pages + page;
}

GuardedMemory::~GuardedMemory() {
    VirtualFree(mPages, 0, MEM_RELEASE);
}

}  // namespace platform
