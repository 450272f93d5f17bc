#include "client/src/Results.h"

#include <chrono>
#include <utility>

namespace client {

namespace {

zelclient_result view(const Result& result) {
    zelclient_result out{};
    const ResultData& data = result.data;
    out.tag = result.tag;
    out.status = result.status;
    out.width = result.width;
    out.height = result.height;
    out.round_trip_us = result.roundTripUs;
    out.kind = result.kind;
    if (result.status == ZELCLIENT_MASK) {
        out.mask = data.mask.data();
        out.ladon = data.ladon ? &*data.ladon : nullptr;
    } else if (result.status == ZELCLIENT_BOXES && !data.boxes.empty()) {
        out.boxes = data.boxes.data();
        out.box_count = static_cast<uint32_t>(data.boxes.size());
    }
    return out;
}

}  // namespace

void ResultQueue::put(Result&& result) {
    {
        std::lock_guard lock(mMutex);
        if (!mCallback && mQueue.size() == kKept) {
            recycle(std::move(mQueue.front().data));
            mQueue.pop_front();
            ++mUnread;
        }
        mQueue.push_back(std::move(result));
        ++mCounts[mQueue.back().status];
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
        recycle(std::move(result.data));
    }
}

bool ResultQueue::poll(uint32_t timeoutMs, zelclient_result& result) {
    std::unique_lock lock(mMutex);
    mArrived.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return !mQueue.empty() || mFinished; });
    if (mQueue.empty()) return false;
    recycle(std::move(mShown.data));
    take(mShown);
    result = view(mShown);
    return true;
}

void ResultQueue::finish(bool finished) {
    {
        std::lock_guard lock(mMutex);
        mFinished = finished;
    }
    if (finished) mArrived.notify_all();
}

ResultData ResultQueue::spareData() {
    std::lock_guard lock(mMutex);
    if (mSpare.empty()) return {};
    ResultData data = std::move(mSpare.back());
    mSpare.pop_back();
    data.ladon.reset();
    return data;
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

void ResultQueue::recycle(ResultData&& data) {
    const bool hasMemory = data.mask.capacity() > 0 || data.boxes.capacity() > 0;
    if (hasMemory && mSpare.size() < kKept) mSpare.push_back(std::move(data));
}

}  // namespace client
