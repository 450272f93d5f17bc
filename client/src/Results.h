#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "client/include/zelclient.h"

namespace client {

// What a result points at. Moving it leaves every pointer good.
struct ResultData {
    std::vector<uint8_t> mask;
    std::vector<zelclient_box> boxes;
    std::vector<zelclient_point> points;
    std::vector<zelclient_face> faces;  // their points lie in `points`
    std::vector<float> lut;
    std::vector<float> lutVertices;
    std::optional<zelclient_ladon> ladon;  // points into the others
};

// One frame's result while the library owns it.
struct Result {
    uint64_t tag = 0;
    zelclient_kind kind = ZELCLIENT_KIND_MODEL;
    zelclient_status status = ZELCLIENT_FRAME_FAILED;
    uint32_t width = 0;  // pixels, the frame's
    uint32_t height = 0;
    ResultData data;  // what the status says; the rest is empty or of older results
    uint64_t roundTripUs = 0;
};

// Results on their way to the caller: by callback from deliver(), or kept for poll. Their memory goes round: a frame's
// mask costs no allocation once the queue has seen as many as it holds.
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

    // Data without meaning that may have capacity, for the next result. Any thread.
    ResultData spareData();

    bool hasCallback() const { return mCallback != nullptr; }
    // Results of a status that were put, and those that nobody polled in time.
    uint64_t count(zelclient_status status) const;
    uint64_t unread() const;

  private:
    bool take(Result& result);
    void recycle(ResultData&& data);

    const zelclient_on_result mCallback;
    void* const mUser;
    mutable std::mutex mMutex;
    std::mutex mDeliverMutex;  // held over a callback; taken before mMutex
    std::condition_variable mArrived;
    std::deque<Result> mQueue;
    std::vector<ResultData> mSpare;
    Result mShown;  // what the last poll handed out; the polling thread's
    std::array<uint64_t, ZELCLIENT_NO_RESULT + 1> mCounts{};
    uint64_t mUnread = 0;
    bool mFinished = false;
};

}  // namespace client
