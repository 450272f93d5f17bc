#include "bench/posix/FutexRoad.h"

#include <linux/futex.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <stdexcept>

namespace zelbench {

struct FutexRoad::Shared {
    alignas(64) std::atomic<uint32_t> request;
    alignas(64) std::atomic<uint32_t> reply;
    alignas(64) uint8_t bytes[1];
};

namespace {

void set(std::atomic<uint32_t>& word) {
    word.store(1);
    syscall(SYS_futex, &word, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

void wait(std::atomic<uint32_t>& word) {
    while (word.exchange(0) == 0) syscall(SYS_futex, &word, FUTEX_WAIT, 0, nullptr, nullptr, 0);
}

}  // namespace

FutexRoad::FutexRoad(size_t inBytes, size_t outBytes) : mInBytes(inBytes), mOutBytes(outBytes) {
    void* memory =
        mmap(nullptr, sizeof(Shared) + inBytes + outBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("cannot map shared memory");
    mShared = static_cast<Shared*>(memory);
    mChild = fork();
    if (mChild < 0) throw std::runtime_error("cannot fork");
    if (mChild == 0) serve();
}

FutexRoad::~FutexRoad() {
    kill(mChild, SIGKILL);
    waitpid(mChild, nullptr, 0);
    munmap(mShared, sizeof(Shared) + mInBytes + mOutBytes);
}

void FutexRoad::serve() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::vector<uint8_t> out(mOutBytes, 7);
    while (true) {
        wait(mShared->request);
        std::memcpy(mShared->bytes + mInBytes, out.data(), mOutBytes);
        set(mShared->reply);
    }
}

void FutexRoad::exchange(const std::vector<uint8_t>& in, std::vector<uint8_t>& out) {
    std::memcpy(mShared->bytes, in.data(), mInBytes);
    set(mShared->request);
    wait(mShared->reply);
    std::memcpy(out.data(), mShared->bytes + mInBytes, mOutBytes);
}

}  // namespace zelbench
