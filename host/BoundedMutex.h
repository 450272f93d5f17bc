#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "platform/include/kernel_objects.h"

// A mutex whose lock can be given up after a time, so that a thread which must not be stalled by a deaf client (the
// heart beat, the shutdown) can pass by one that is. Not recursive. Any thread may call it.
class BoundedMutex {
  public:
    // Locks; false when it could not be had within timeoutMs. With 0 it waits for nothing at all.
    bool lockWithin(uint32_t timeoutMs) {
        std::unique_lock<std::mutex> guard(mGuard, std::defer_lock);
        if (timeoutMs != 0)
            guard.lock();
        else if (!guard.try_lock())
            return false;
        if (timeoutMs == platform::kInfinite)
            mFree.wait(guard, [this] { return !mHeld; });
        else if (!mFree.wait_for(guard, std::chrono::milliseconds(timeoutMs), [this] { return !mHeld; }))
            return false;
        mHeld = true;
        return true;
    }

    void unlock() {
        {
            const std::lock_guard<std::mutex> guard(mGuard);
            mHeld = false;
        }
        mFree.notify_one();
    }

  private:
    std::mutex mGuard;
    std::condition_variable mFree;
    bool mHeld = false;
};

// Holds a BoundedMutex for a scope if it could be had in time.
class BoundedLock {
  public:
    BoundedLock(BoundedMutex& mutex, uint32_t timeoutMs) : mMutex(mutex), mHeld(mutex.lockWithin(timeoutMs)) {}
    ~BoundedLock() {
        if (mHeld) mMutex.unlock();
    }
    BoundedLock(const BoundedLock&) = delete;
    BoundedLock& operator=(const BoundedLock&) = delete;
    explicit operator bool() const { return mHeld; }

  private:
    BoundedMutex& mMutex;
    const bool mHeld;
};
