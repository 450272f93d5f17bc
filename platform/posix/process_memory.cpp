#include "platform/posix/process_memory.h"

#include <sys/uio.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr uint64_t kPage = 4096;

size_t readRange(uint64_t address, void* target, size_t size) {
    const iovec local = {target, size};
    const iovec remote = {reinterpret_cast<void*>(address), size};
    const ssize_t done = process_vm_readv(gettid(), &local, 1, &remote, 1, 0);
    return done < 0 ? 0 : static_cast<size_t>(done);
}

}  // namespace

// The system is free to read nothing of a range that cannot be read whole, so what it stopped at is tried by pages.
size_t readProcessMemory(uint64_t address, void* target, size_t size) {
    size_t done = readRange(address, target, size);
    while (done < size) {
        const uint64_t at = address + done;
        const uint64_t toPageEnd = kPage - at % kPage;
        const size_t piece = size - done < toPageEnd ? size - done : toPageEnd;
        const size_t got = readRange(at, static_cast<char*>(target) + done, piece);
        done += got;
        if (got < piece) break;
    }
    return done;
}

}  // namespace platform
