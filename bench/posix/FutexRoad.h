#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zelbench {

// The least that a blocking exchange between two processes can cost: two shared words to sleep on, and the same copies
// as over a channel: the request into shared memory, where it is used in place, the answer into it and out of it.
class FutexRoad {
  public:
    // Starts the other process, which answers every request of `inBytes` with `outBytes`.
    FutexRoad(size_t inBytes, size_t outBytes);
    ~FutexRoad();
    FutexRoad(const FutexRoad&) = delete;
    FutexRoad& operator=(const FutexRoad&) = delete;

    // `in` holds inBytes, `out` takes outBytes.
    void exchange(const std::vector<uint8_t>& in, std::vector<uint8_t>& out);

  private:
    struct Shared;
    void serve();

    const size_t mInBytes;
    const size_t mOutBytes;
    Shared* mShared;
    int mChild;
};

}  // namespace zelbench
