#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zelbench {

// The least that a blocking exchange between two processes can cost: two shared words to sleep on, and the same copies
// as over a channel: the request into shared memory, where it is used in place, the answer into it and out of it.
//
// A channel goes through its slots in turn. With as many slots of the same size here, both roads touch the same amount
// of memory between two uses of a slot, so that what differs is the channel's own work. With one slot everything stays
// in the nearest cache.
class FutexRoad {
  public:
    // Starts the other process, which answers every request of `inBytes` with `outBytes` of `answer`.
    FutexRoad(size_t inBytes, size_t outBytes, uint8_t answer, size_t slots, size_t slotBytes);
    ~FutexRoad();
    FutexRoad(const FutexRoad&) = delete;
    FutexRoad& operator=(const FutexRoad&) = delete;

    // `in` holds inBytes, `out` takes outBytes.
    void exchange(const std::vector<uint8_t>& in, std::vector<uint8_t>& out);
    int echoId() const { return mChild; }

  private:
    struct Words {
        alignas(64) std::atomic<uint32_t> request;
        alignas(64) std::atomic<uint32_t> reply;
    };
    [[noreturn]] void serve(uint8_t answer);
    size_t mappingBytes() const { return sizeof(Words) + 2 * mSlots * mSlotBytes; }
    uint8_t* requestSlot() const { return mData + mNext * mSlotBytes; }
    uint8_t* replySlot() const { return mData + (mSlots + mNext) * mSlotBytes; }

    const size_t mInBytes;
    const size_t mOutBytes;
    const size_t mSlots;
    const size_t mSlotBytes;
    size_t mNext = 0;  // slot of the next exchange; both sides count
    Words* mWords;
    uint8_t* mData;
    int mChild;
};

}  // namespace zelbench
