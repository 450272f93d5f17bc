#pragma once

#include <memory>
#include <string>
#include <thread>

#include "plugins/xnn/xnn.h"

namespace xnn {

// Brings lines to the caller's callback on a thread of its own, which holds no lock meanwhile. The thread starts with
// the first callback. Lines wait while there is no callback or it is slow; beyond kLongest the oldest are lost, and a
// line tells how many.
class LogThread {
  public:
    static constexpr size_t kLongest = 256;  // lines

    LogThread();
    // Ends the thread without bringing what still waits. Waits for a call under way, unless it is part of it.
    ~LogThread();
    LogThread(const LogThread&) = delete;
    LogThread& operator=(const LogThread&) = delete;

    // Any thread; never waits for a callback.
    void write(std::string line);

    // Null to stop. Waits for a call to the callback before, unless it is part of it.
    void setCallback(XnnLogCallback callback);

  private:
    class Queue;

    bool isThisThread() const { return mThread.get_id() == std::this_thread::get_id(); }

    std::shared_ptr<Queue> mQueue;  // the thread's too, which may outlive this object
    std::thread mThread;
};

}  // namespace xnn
