#include "bench/posix/FutexRoad.h"

#include <linux/futex.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace zelbench {

namespace {

void set(std::atomic<uint32_t>& word) {
    word.store(1);
    syscall(SYS_futex, &word, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

void wait(std::atomic<uint32_t>& word) {
    while (word.exchange(0) == 0) syscall(SYS_futex, &word, FUTEX_WAIT, 0, nullptr, nullptr, 0);
}

}  // namespace

FutexRoad::FutexRoad(size_t inBytes, size_t outBytes, uint8_t answer, size_t slots, size_t slotBytes)
    : mInBytes(inBytes), mOutBytes(outBytes), mSlots(slots), mSlotBytes(slotBytes) {
    void* memory = mmap(nullptr, mappingBytes(), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("cannot map shared memory");
    mWords = static_cast<Words*>(memory);
    mData = reinterpret_cast<uint8_t*>(mWords + 1);
    mChild = fork();
    if (mChild < 0) throw std::runtime_error("cannot fork");
    if (mChild == 0) serve(answer);
}

FutexRoad::~FutexRoad() {
    kill(mChild, SIGKILL);
    waitpid(mChild, nullptr, 0);
    munmap(mWords, mappingBytes());
}

void FutexRoad::serve(uint8_t answer) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::vector<uint8_t> out(mOutBytes, answer);
    while (true) {
        wait(mWords->request);
        std::memcpy(replySlot(), out.data(), mOutBytes);
        set(mWords->reply);
        mNext = (mNext + 1) % mSlots;
    }
}

void FutexRoad::exchange(const std::vector<uint8_t>& in, std::vector<uint8_t>& out) {
    std::memcpy(requestSlot(), in.data(), mInBytes);
    set(mWords->request);
    wait(mWords->reply);
    std::memcpy(out.data(), replySlot(), mOutBytes);
    mNext = (mNext + 1) % mSlots;
}

}  // namespace zelbench
