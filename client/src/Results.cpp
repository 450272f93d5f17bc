#include "client/src/Results.h"

#include <chrono>
#include <utility>

namespace client {

namespace {

zelclient_result view(const Result& result) {
    zelclient_result out{};
    out.tag = result.tag;
    out.status = result.status;
    out.width = result.width;
    out.height = result.height;
    out.mask = result.status == ZELCLIENT_MASK ? result.mask.data() : nullptr;
    out.round_trip_us = result.roundTripUs;
    return out;
}

}  // namespace

void ResultQueue::put(Result&& result) {
    {
        std::lock_guard lock(mMutex);
        ++mCounts[result.status];
        if (!mCallback && mQueue.size() == kKept) {
            recycle(std::move(mQueue.front().mask));
            mQueue.pop_front();
            ++mUnread;
        }
        mQueue.push_back(std::move(result));
    }
    mArrived.notify_one();
}

void ResultQueue::deliver() {
    if (!mCallback) return;
    std::lock_guard delivering(mDeliverMutex);
    // A callback that submits may put a result each time; those wait for the next delivery.
    size_t due;
    {
        std::lock_guard lock(mMutex);
        due = mQueue.size();
    }
    for (; due > 0; --due) {
        Result result;
        {
            std::lock_guard lock(mMutex);
            take(result);
        }
        const zelclient_result shown = view(result);
        mCallback(mUser, &shown);
        std::lock_guard lock(mMutex);
        recycle(std::move(result.mask));
    }
}

bool ResultQueue::poll(uint32_t timeoutMs, zelclient_result& result) {
    std::unique_lock lock(mMutex);
    mArrived.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return !mQueue.empty() || mFinished; });
    if (mQueue.empty()) return false;
    recycle(std::move(mShown.mask));
    take(mShown);
    result = view(mShown);
    return true;
}

void ResultQueue::finish(bool finished) {
    {
        std::lock_guard lock(mMutex);
        mFinished = finished;
    }
    mArrived.notify_all();
}

Result ResultQueue::answer(const MaskView& mask, uint32_t width, uint32_t height) {
    Result result;
    result.width = width;
    result.height = height;
    const uint32_t bytes = width * height;
    if (mask.width == width && mask.height == height && mask.size == bytes) {
        result.status = ZELCLIENT_MASK;
        result.mask = spareBuffer();
        result.mask.assign(mask.bytes, mask.bytes + bytes);
    }
    return result;
}

std::vector<uint8_t> ResultQueue::spareBuffer() {
    std::lock_guard lock(mMutex);
    if (mSpare.empty()) return {};
    std::vector<uint8_t> buffer = std::move(mSpare.back());
    mSpare.pop_back();
    buffer.clear();
    return buffer;
}

uint64_t ResultQueue::count(zelclient_status status) const {
    std::lock_guard lock(mMutex);
    return mCounts[status];
}

uint64_t ResultQueue::unread() const {
    std::lock_guard lock(mMutex);
    return mUnread;
}

bool ResultQueue::take(Result& result) {
    if (mQueue.empty()) return false;
    result = std::move(mQueue.front());
    mQueue.pop_front();
    return true;
}

void ResultQueue::recycle(std::vector<uint8_t>&& buffer) {
    if (buffer.capacity() > 0 && mSpare.size() < kKept) mSpare.push_back(std::move(buffer));
}

}  // namespace client
