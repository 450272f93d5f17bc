#pragma once

// While one exists on a thread, log lines of that thread wait only briefly for a client that does not read.
class LogWaitBound {
  public:
    LogWaitBound() : mOuter(inForce()) { inForce() = true; }
    ~LogWaitBound() { inForce() = mOuter; }
    LogWaitBound(const LogWaitBound&) = delete;
    LogWaitBound& operator=(const LogWaitBound&) = delete;

    static bool& inForce() {
        thread_local bool bounded = false;
        return bounded;
    }

  private:
    const bool mOuter;
};
