#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "util/include/ThreadAnnotations.h"

// A mutex whose operations answer 0 on success and a positive error number otherwise, never an exception.
class ZEL_CAPABILITY("mutex") CCmMutexThreadBase {
  public:
    virtual int Lock() ZEL_ACQUIRE() = 0;
    virtual int UnLock() ZEL_RELEASE() = 0;

  protected:
    CCmMutexThreadBase() = default;
    virtual ~CCmMutexThreadBase() = default;
    CCmMutexThreadBase(const CCmMutexThreadBase&) = delete;
    CCmMutexThreadBase& operator=(const CCmMutexThreadBase&) = delete;
};

// The recursive mutex of the helpers. The thread that holds it may take it again and gives it back as often.
class ZEL_CAPABILITY("mutex") CCmMutexThreadRecursive : public CCmMutexThreadBase {
  public:
    CCmMutexThreadRecursive() = default;
    ~CCmMutexThreadRecursive() override = default;

    // Waits for the mutex. Fails with the system's error number when the depth of recursion is exhausted (EAGAIN).
    int Lock() override ZEL_ACQUIRE();
    // EPERM, and nothing changes, when the calling thread does not hold it.
    int UnLock() override ZEL_RELEASE();

  private:
    std::recursive_mutex m_mutex;
    std::atomic<std::thread::id> m_owner{};
    unsigned m_depth = 0;  // of the owner, which alone touches it
};

// Holds a mutex for a scope. A failed Lock is no error path: the guarded work runs either way, and only a mutex that
// was really taken is given back. The mutex must outlive the guard.
class ZEL_SCOPED_CAPABILITY CCmMutexGuard {
  public:
    explicit CCmMutexGuard(CCmMutexThreadBase& mutex) ZEL_ACQUIRE(mutex)
        : m_mutex(mutex), m_locked(mutex.Lock() == 0) {}
    ~CCmMutexGuard() ZEL_RELEASE() {
        if (m_locked) m_mutex.UnLock();
    }
    CCmMutexGuard(const CCmMutexGuard&) = delete;
    CCmMutexGuard& operator=(const CCmMutexGuard&) = delete;

    bool locked() const { return m_locked; }

  private:
    CCmMutexThreadBase& m_mutex;
    const bool m_locked;
};

namespace cm {

// The standard mutexes, known to the lock analysis. They throw std::system_error as the standard ones do.
class ZEL_CAPABILITY("mutex") Mutex {
  public:
    void lock() ZEL_ACQUIRE() { m_mutex.lock(); }
    bool try_lock() ZEL_TRY_ACQUIRE(true) { return m_mutex.try_lock(); }
    void unlock() ZEL_RELEASE() { m_mutex.unlock(); }

  private:
    friend class Condition;
    std::mutex m_mutex;
};

// The standard condition variable for a cm::Mutex, which the waiting thread holds before and after. Waits may end
// without a notification.
class Condition {
  public:
    void wait(Mutex& mutex) ZEL_REQUIRES(mutex) {
        Adopted lock(mutex.m_mutex);
        m_condition.wait(lock.held);
    }
    std::cv_status wait_until(Mutex& mutex, std::chrono::steady_clock::time_point end) ZEL_REQUIRES(mutex) {
        Adopted lock(mutex.m_mutex);
        return m_condition.wait_until(lock.held, end);
    }
    void notify_all() { m_condition.notify_all(); }

  private:
    // Locked by the caller, and left so.
    struct Adopted {
        explicit Adopted(std::mutex& mutex) : held(mutex, std::adopt_lock) {}
        ~Adopted() { held.release(); }
        Adopted(const Adopted&) = delete;
        Adopted& operator=(const Adopted&) = delete;
        std::unique_lock<std::mutex> held;
    };

    std::condition_variable m_condition;
};

class ZEL_CAPABILITY("mutex") RecursiveMutex {
  public:
    void lock() ZEL_ACQUIRE() { m_mutex.lock(); }
    bool try_lock() ZEL_TRY_ACQUIRE(true) { return m_mutex.try_lock(); }
    void unlock() ZEL_RELEASE() { m_mutex.unlock(); }

  private:
    std::recursive_mutex m_mutex;
};

// Holds a Mutex or RecursiveMutex for a scope.
template <class M>
class ZEL_SCOPED_CAPABILITY LockGuard {
  public:
    explicit LockGuard(M& mutex) ZEL_ACQUIRE(mutex) : m_mutex(mutex) { mutex.lock(); }
    ~LockGuard() ZEL_RELEASE() { m_mutex.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

  private:
    M& m_mutex;
};

}  // namespace cm
