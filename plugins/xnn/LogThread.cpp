#include "plugins/xnn/LogThread.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <utility>

namespace xnn {

// The lines and the state of the thread that brings them. mMutex guards all fields and is never held during a call.
class LogThread::Queue {
  public:
    void write(std::string line) {
        const std::lock_guard lock(mMutex);
        mLines.push_back(std::move(line));
        if (mLines.size() > kLongest) {
            mLines.pop_front();
            ++mLost;
        }
        mChanged.notify_all();
    }

    void setCallback(XnnLogCallback callback, bool wait) {
        std::unique_lock lock(mMutex);
        mCallback = callback;
        mChanged.notify_all();
        const uint64_t before = mCalls;
        if (wait) mChanged.wait(lock, [&] { return !mCalling || mCalls != before; });
    }

    void stop() {
        const std::lock_guard lock(mMutex);
        mStop = true;
        mChanged.notify_all();
    }

    void run() {
        std::unique_lock lock(mMutex);
        while (true) {
            mChanged.wait(lock, [&] { return mStop || (mCallback != nullptr && !mLines.empty()); });
            if (mStop) return;
            bring(lock);
        }
    }

  private:
    void bring(std::unique_lock<std::mutex>& lock) {
        const std::string line = takeLine();
        const XnnLogCallback callback = mCallback;
        mCalling = true;
        ++mCalls;
        lock.unlock();
        callSafely(callback, line.c_str());
        lock.lock();
        mCalling = false;
        mChanged.notify_all();
    }

    std::string takeLine() {
        if (mLost != 0) return std::to_string(std::exchange(mLost, 0)) + " lines of this log were lost";
        std::string line = std::move(mLines.front());
        mLines.pop_front();
        return line;
    }

    // A callback has nobody to throw to.
    static void callSafely(XnnLogCallback callback, const char* line) {
        try {
            callback(line);
        } catch (...) {
            return;
        }
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::deque<std::string> mLines;
    uint64_t mLost = 0;
    XnnLogCallback mCallback = nullptr;
    bool mCalling = false;
    uint64_t mCalls = 0;  // begun so far: between two calls the thread may not let others in
    bool mStop = false;
};

LogThread::LogThread() : mQueue(std::make_shared<Queue>()) {}

LogThread::~LogThread() {
    mQueue->stop();
    if (isThisThread()) {
        mThread.detach();
    } else if (mThread.joinable()) {
        mThread.join();
    }
}

void LogThread::write(std::string line) {
    mQueue->write(std::move(line));
}

void LogThread::setCallback(XnnLogCallback callback) {
    if (callback != nullptr && !mThread.joinable()) mThread = std::thread([queue = mQueue] { queue->run(); });
    mQueue->setCallback(callback, !isThisThread());
}

}  // namespace xnn
