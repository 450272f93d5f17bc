#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

// Counts pieces of work under way (frames, background loads), so that a shutdown can wait for them.
class WorkCounter {
  public:
    // One piece of work, from construction to destruction.
    class Scope {
      public:
        explicit Scope(WorkCounter& counter) : mCounter(counter) { mCounter.add(1); }
        ~Scope() { mCounter.add(-1); }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

      private:
        WorkCounter& mCounter;
    };

    // Waits until no work is under way; false when some still is after timeoutMs.
    bool waitIdleFor(uint32_t timeoutMs) {
        std::unique_lock<std::mutex> guard(mMutex);
        return mChanged.wait_for(guard, std::chrono::milliseconds(timeoutMs), [this] { return mCount == 0; });
    }
    void waitIdle() {
        std::unique_lock<std::mutex> guard(mMutex);
        mChanged.wait(guard, [this] { return mCount == 0; });
    }

  private:
    void add(int change) {
        const std::lock_guard<std::mutex> guard(mMutex);
        mCount += change;
        mChanged.notify_all();
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    int mCount = 0;
};
