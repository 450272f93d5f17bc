#pragma once

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ipc/packet.h"

namespace fuzz {

// Ends the run as a finding.
inline void require(bool holds) {
    if (!holds) std::abort();
}

// The bytes of an input, front to back; zeros behind its end.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : mData(data), mSize(size) {}

    bool empty() const { return mSize == 0; }

    uint8_t byte() {
        if (mSize == 0) return 0;
        --mSize;
        return *mData++;
    }
    uint32_t word16() {
        const uint32_t low = byte();
        return low | static_cast<uint32_t>(byte()) << 8;
    }
    uint32_t word32() {
        const uint32_t low = word16();
        return low | word16() << 16;
    }

    // Up to so many bytes, from the front.
    size_t bytes(void* to, size_t most) {
        const size_t count = std::min(most, mSize);
        std::memcpy(to, mData, count);
        mData += count;
        mSize -= count;
        return count;
    }

  private:
    const uint8_t* mData;
    size_t mSize;
};

// Where the records of an input lie, one after the other: a heap block of exactly a slot's size, so that the address
// sanitizer sees every access outside it. The header, which nobody may touch, is closed too.
template <class Record>
class Slot {
  public:
    Slot() { ASAN_POISON_MEMORY_REGION(mPacket->header, sizeof mPacket->header); }

    // Lays the next record: two bytes of length and so many of the record's first bytes, those behind them zero.
    ipc::packet<Record>& next(Input& input) {
        Record& record = mPacket->record;
        std::memset(&record, 0, mLaid);
        const size_t length = input.word16();
        mLaid = input.bytes(&record, std::min(length, sizeof record));
        return *mPacket;
    }

  private:
    std::unique_ptr<ipc::packet<Record>> mPacket = std::make_unique<ipc::packet<Record>>();
    size_t mLaid = 0;  // bytes that may be other than zero
};

}  // namespace fuzz
