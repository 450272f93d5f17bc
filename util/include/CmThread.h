#pragma once

#include <atomic>
#include <type_traits>
#include <utility>

#include "util/include/CmTime.h"
#include "util/include/CmTrace.h"

// Threads with an event queue and a timer queue. Status integers are 0 for success.

inline constexpr int CM_ERROR_NULL_POINTER = 0x46004003;      // a required pointer was null
inline constexpr int CM_ERROR_INVALID_ARGUMENT = 0x46004008;  // a value that the operation does not take
inline constexpr int CM_ERROR_WRONG_THREAD = 0x46004010;      // only the queue's own thread may do this
inline constexpr int CM_ERROR_THREAD_START = 0x46004020;      // the system gave no thread
inline constexpr int CM_ERROR_NO_TIMER_QUEUE = 0x46004133;    // the thread has no timer queue
inline constexpr int CM_ERROR_THREAD_GONE = 0x46004143;       // the thread has ended or is stopping

// Anything posted to an event queue. Made with new; the queue owns it from the moment it is posted and ends it with
// OnDestorySelf, whether it ran or not.
class ICmEvent {
  public:
    // `type` is the poster's own mark; the queue does not read it.
    explicit ICmEvent(unsigned long type) : m_type(type) {}
    ICmEvent(const ICmEvent&) = delete;
    ICmEvent& operator=(const ICmEvent&) = delete;

    // Runs the event, on the queue's thread.
    virtual void OnFire() = 0;
    // Ends the event: deletes it.
    virtual void OnDestorySelf();

    unsigned long type() const { return m_type; }

  protected:
    virtual ~ICmEvent() = default;

  private:
    const unsigned long m_type;
};

// Anything scheduled on a timer queue, which does not own it: it must live until it is disarmed.
class ICmTimerHandler {
  public:
    // A tick, on the queue's thread: the interval that it was armed with, and the token.
    virtual void OnTimeout(const CCmTimeValue& interval, void* token) = 0;

  protected:
    ICmTimerHandler() = default;
    virtual ~ICmTimerHandler() = default;
};

inline constexpr unsigned long CM_EVENT_PRIORITY_NORMAL = 128;

class ICmEventQueue {
  public:
    // Takes the event and runs it on the queue's thread; never inline. Any thread. Events of one priority run in the
    // order of posting, higher ones before lower ones; 128 is the normal one. `flags` must be 0. After a refusal (the
    // thread is stopping or gone, an unknown flag) the event has been ended with OnDestorySelf and will not run.
    virtual int PostEvent(ICmEvent* event, unsigned long priority, unsigned long flags) = 0;

  protected:
    virtual ~ICmEventQueue() = default;
};

// Only the queue's own thread may call these; any other gets CM_ERROR_WRONG_THREAD and nothing changes.
class ICmTimerQueue {
  public:
    // Arms the handler: a tick each `interval`, `count` times, 0 for no limit. An armed handler is armed anew. Ticks
    // keep to the grid of the first one, without drift; those that a busy thread missed are made up for by one. An
    // interval of 0 or less is refused; one of more than 100 years is 100 years.
    virtual int ScheduleTimer(ICmTimerHandler* handler, void* token, const CCmTimeValue& interval,
                              unsigned long count) = 0;
    // Disarms it; 0 also if it was not armed. Allowed from inside its own tick.
    virtual int CancelTimer(ICmTimerHandler* handler) = 0;

  protected:
    virtual ~ICmTimerQueue() = default;
};

class ACmThread {
  public:
    // Null when the thread has none. The queues live as long as the thread object.
    virtual ICmEventQueue* GetEventQueue() = 0;
    virtual ICmTimerQueue* GetTimerQueue() = 0;

    // The kernel's id of the thread.
    unsigned long GetThreadId() const { return m_threadId.load(std::memory_order_acquire); }

    ACmThread(const ACmThread&) = delete;
    ACmThread& operator=(const ACmThread&) = delete;

  protected:
    ACmThread() = default;
    virtual ~ACmThread() = default;
    void setThreadId(unsigned long id) { m_threadId.store(id, std::memory_order_release); }

  private:
    std::atomic<unsigned long> m_threadId{0};
};

// Threads by name, each with both queues. Any thread may call it.
//
// An exception that leaves an event or a timer's tick is traced at level 0 and the thread goes on.
class ACmThreadSingletonFactory {
  public:
    static ACmThreadSingletonFactory& Instance();

    // The thread of that name, started at the first call, with the name set, its id published and known to
    // GetThreadById. Null in `thread` on failure. Each success is answered by one ResleseSingletonThread.
    int GetSingletonThread(const char* name, ACmThread*& thread);

    // Gives the thread back. The last one stops it: the event or tick that is running finishes, later ones are not
    // begun, queued events are ended unrun, and it is joined; the object is gone when this returns. Called on the
    // thread itself it does not wait: the thread stops after the event or tick that made the call and takes itself away
    // then. A name that is not in use or names another thread is refused.
    int ResleseSingletonThread(const char* name, ACmThread* thread);

  private:
    ACmThreadSingletonFactory() = default;
};

// The thread of this library that runs under that kernel id, null when none does. The pointer is good as long as the
// caller knows that nobody releases the thread.
ACmThread* GetThreadById(unsigned long id);

// Non-zero when the caller runs on the thread of that id.
int IsEqualCurrentThread(unsigned long id);

// The kernel's ids of the calling thread and of this process.
int CmGetThreadID();
int CmGetProcessID();

// Names the calling thread; 0 on success. A null name is CM_ERROR_NULL_POINTER.
int kmo_set_thread_name(const char* name);

// An event around a callable, which it holds by value.
template <class F>
class CCmInvokeEvent : public ICmEvent {
  public:
    explicit CCmInvokeEvent(F callable) : ICmEvent(0), m_callable(std::move(callable)) {}

    void OnFire() override { m_callable(); }

  protected:
    ~CCmInvokeEvent() override = default;

  private:
    F m_callable;
};

// Posts the callable to the thread, also when called on it: it never runs inline, and its result is dropped.
template <class F>
int InvokeInThread(ACmThread* thread, F&& callable) {
    CM_ASSERTE_RETURN(thread != nullptr, "pThread != NULL", "CmThread.h", 174, CM_ERROR_NULL_POINTER);
    ICmEventQueue* const queue = thread->GetEventQueue();
    CM_ASSERTE_RETURN(queue != nullptr, "pEventQueue != NULL", "CmThread.h", 176, CM_ERROR_NULL_POINTER);
    auto* const event = new CCmInvokeEvent<std::decay_t<F>>(std::forward<F>(callable));
    return queue->PostEvent(event, CM_EVENT_PRIORITY_NORMAL, 0);
}
