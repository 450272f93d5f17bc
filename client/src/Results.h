#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "client/include/zelclient.h"
#include "client/src/HostRecords.h"

namespace client {

// One frame's result while the library owns it.
struct Result {
    uint64_t tag = 0;
    zelclient_status status = ZELCLIENT_FRAME_FAILED;
    uint32_t width = 0;  // pixels, the frame's
    uint32_t height = 0;
    std::vector<uint8_t> mask;  // width * height bytes for ZELCLIENT_MASK, else empty
    uint64_t roundTripUs = 0;
};

// Results on their way to the caller: by callback from deliver(), or kept for poll. Mask buffers go round: a frame's
// result costs no allocation once the queue has seen as many as it holds.
class ResultQueue {
  public:
    // With a callback the queue keeps everything until deliver(); without one it keeps the newest kKept.
    ResultQueue(zelclient_on_result callback, void* user) : mCallback(callback), mUser(user) {}

    static constexpr size_t kKept = 16;

    // Any thread; never calls back.
    void put(Result&& result);
    // Hands what is queued at this moment to the callback, in order; nothing to do without one. For the library's own
    // threads; two of them never call back at once.
    void deliver();
    // The next result, valid until the next call. False when none came within timeoutMs, or when finish() was called.
    bool poll(uint32_t timeoutMs, zelclient_result& result);
    // No result will come any more (true), or some may again (false). Wakes a waiting poll.
    void finish(bool finished);

    // What the host's answer is for a frame of width x height pixels, at most ipc::kFrameBytes of them: its mask, or a
    // failed frame when the mask has another size. Tag and time are the caller's to fill in. Any thread.
    Result answer(const MaskView& mask, uint32_t width, uint32_t height);

    // An empty buffer that may have capacity, for a mask.
    std::vector<uint8_t> spareBuffer();

    bool hasCallback() const { return mCallback != nullptr; }
    // Results of a status that were put, and those that nobody polled in time.
    uint64_t count(zelclient_status status) const;
    uint64_t unread() const;

  private:
    bool take(Result& result);
    void recycle(std::vector<uint8_t>&& buffer);

    const zelclient_on_result mCallback;
    void* const mUser;
    mutable std::mutex mMutex;
    std::mutex mDeliverMutex;  // held over a callback; taken before mMutex
    std::condition_variable mArrived;
    std::deque<Result> mQueue;
    std::vector<std::vector<uint8_t>> mSpare;
    Result mShown;  // what the last poll handed out; the polling thread's
    std::array<uint64_t, 4> mCounts{};
    uint64_t mUnread = 0;
    bool mFinished = false;
};

}  // namespace client
