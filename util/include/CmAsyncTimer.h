#pragma once

#include <atomic>
#include <memory>

#include "util/include/CmMutex.h"
#include "util/include/CmThread.h"

class CCmAsyncTimer;

// Receives the ticks of timers, on the thread that each is scheduled in.
class CCmAsyncTimerSink {
  public:
    virtual void OnTimer(CCmAsyncTimer* timer) = 0;
    virtual ~CCmAsyncTimerSink() = default;
};

// A timer that any thread may schedule and cancel, though a timer queue may be touched by its own thread only: requests
// from elsewhere travel to that thread as events.
//
// Owned by a std::shared_ptr. A pending cancel keeps the timer alive, a pending schedule and an armed queue do not: who
// has scheduled it keeps it until it has been cancelled and the thread has run the cancel, or has ended.
// ScheduleInThread and Cancel of one timer must not race each other.
class CCmAsyncTimer : public ICmTimerHandler, public std::enable_shared_from_this<CCmAsyncTimer> {
  public:
    CCmAsyncTimer() = default;

    // A tick of the queue; calls the sink with m_sinkLock held.
    void OnTimeout(const CCmTimeValue& interval, void* token) override;
    // Complains at level 0 about a timer that is not idle, and forgets the sink; nothing is cancelled on the queue.
    ~CCmAsyncTimer() override;

    // Ticks on `sink` each `interval`, `count` times, 0 for no limit. From a foreign thread it returns once the request
    // is posted. Another sink than before cancels the old schedule first. Errors: CM_ERROR_NULL_POINTER without a
    // thread, CM_ERROR_NO_TIMER_QUEUE, or what the queue answers.
    int ScheduleInThread(ACmThread* thread, CCmAsyncTimerSink* sink, const CCmTimeValue& interval, unsigned long count);

    // After a cancel from a foreign thread no tick reaches the sink any more; it waits for one that is running. After
    // one on the owning thread the timer still counts as scheduled. CM_ERROR_THREAD_GONE when the thread has ended.
    int Cancel();

  private:
    int Schedule_i(ACmThread* thread, const CCmTimeValue& interval, unsigned long count);
    int Cancel_i(ACmThread* thread);
    void clearSinkLocked();

    // Atomic because the owning thread and the scheduling one may both touch them without the lock.
    std::atomic<CCmAsyncTimerSink*> m_pSink{nullptr};  // null: ticks are dropped
    cm::RecursiveMutex m_sinkLock;                     // recursive: a sink may cancel from inside its tick
    std::atomic<ACmThread*> m_pThread{nullptr};        // null: idle
    std::atomic<unsigned long> m_threadId{0};          // kept apart because the thread may die
    std::atomic<bool> m_threadKnown{false};            // whether GetThreadById knew it when scheduled
};

inline void CCmAsyncTimer::OnTimeout(const CCmTimeValue&, void*) {
    // The timer must outlive the callback even if its last owner lets go inside it.
    const std::shared_ptr<CCmAsyncTimer> self = shared_from_this();
    const cm::LockGuard<cm::RecursiveMutex> lock(m_sinkLock);
    if (CCmAsyncTimerSink* const sink = m_pSink) sink->OnTimer(this);
}

inline CCmAsyncTimer::~CCmAsyncTimer() {
    if (m_pThread.load() == nullptr) return;
    CM_ERROR("CCmAsyncTimer::~CCmAsyncTimer, timer is not canceled" << CM_THIS);
    clearSinkLocked();
}

inline int CCmAsyncTimer::ScheduleInThread(ACmThread* thread, CCmAsyncTimerSink* sink, const CCmTimeValue& interval,
                                           unsigned long count) {
    CM_ASSERTE_RETURN(thread != nullptr, "pThread != NULL", "CmAsyncTimer.h", 71, CM_ERROR_NULL_POINTER);
    if (m_pSink.load() != sink) {
        Cancel();
        m_pSink = sink;
    }
    int result = 0;
    if (IsEqualCurrentThread(thread->GetThreadId())) {
        result = Schedule_i(thread, interval, count);
    } else {
        // Asked here only so that a thread without timers is noticed by the caller and not on the far side alone.
        CM_ASSERTE_RETURN(thread->GetTimerQueue() != nullptr, "pTimerQueue != NULL", "CmAsyncTimer.h", 84,
                          CM_ERROR_NO_TIMER_QUEUE);
        result = InvokeInThread(thread, [this, thread, interval, count] { Schedule_i(thread, interval, count); });
    }
    if (result != 0) return result;
    m_pThread = thread;
    m_threadId = thread->GetThreadId();
    m_threadKnown = GetThreadById(m_threadId) != nullptr;
    return 0;
}

inline int CCmAsyncTimer::Cancel() {
    ACmThread* const thread = m_pThread;
    if (thread == nullptr) {
        m_pSink = nullptr;
        return 0;
    }
    if (m_threadKnown && GetThreadById(m_threadId) == nullptr) {
        m_pSink = nullptr;
        return CM_ERROR_THREAD_GONE;
    }
    if (IsEqualCurrentThread(m_threadId)) {
        m_pSink = nullptr;
        return Cancel_i(thread);
    }
    clearSinkLocked();
    const int result = InvokeInThread(thread, [self = shared_from_this(), thread] { self->Cancel_i(thread); });
    m_pThread = nullptr;
    m_threadId = 0;
    m_threadKnown = false;
    return result;
}

inline int CCmAsyncTimer::Schedule_i(ACmThread* thread, const CCmTimeValue& interval, unsigned long count) {
    ICmTimerQueue* const queue = thread->GetTimerQueue();
    if (queue == nullptr) {
        CM_WARNING("CCmAsyncTimer::Schedule_i, your thread doesn't support TP timer queue 2." << CM_THIS);
        return CM_ERROR_NO_TIMER_QUEUE;
    }
    return queue->ScheduleTimer(this, this, interval, count);
}

inline int CCmAsyncTimer::Cancel_i(ACmThread* thread) {
    ICmTimerQueue* const queue = thread->GetTimerQueue();
    if (queue == nullptr) {
        CM_WARNING("CCmAsyncTimer::Cancel_i, your thread doesn't support TP timer queue 2.");
        return CM_ERROR_NO_TIMER_QUEUE;
    }
    return queue->CancelTimer(this);
}

inline void CCmAsyncTimer::clearSinkLocked() {
    const cm::LockGuard<cm::RecursiveMutex> lock(m_sinkLock);
    m_pSink = nullptr;
}
