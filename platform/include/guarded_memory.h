#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// For tests: memory whose last byte lies right before a page that cannot be touched, or whose first byte lies right
// behind one, so that the first byte read or written beyond it ends the process. Zeroed. Throws std::bad_alloc.
class GuardedMemory {
  public:
    enum class Guard { kBehind, kBefore };

    explicit GuardedMemory(size_t bytes, Guard guard = Guard::kBehind);
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    uint8_t* data() const { return mData; }
    size_t size() const { return mSize; }
    uint8_t* begin() const { return mData; }
    uint8_t* end() const { return mData + mSize; }

  private:
    void* mPages;
    size_t mReserved;
    uint8_t* mData;
    size_t mSize;
};

}  // namespace platform
