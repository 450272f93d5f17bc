#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "util/include/CmMutex.h"
#include "util/include/CmThread.h"

namespace cm {

using SteadyTime = std::chrono::steady_clock::time_point;

// The first of the times due, due + interval, due + 2 * interval, ... that lies after now. `due` is not after `now`.
SteadyTime nextTick(SteadyTime due, std::chrono::nanoseconds interval, SteadyTime now);

// The thread behind ACmThreadSingletonFactory: runs events and ticks in turn until it is stopped. The running thread
// shares the ownership of its object.
class QueueThread final : public ACmThread, public ICmEventQueue, public ICmTimerQueue {
  public:
    // Throws std::system_error when the system gives no thread.
    static std::shared_ptr<QueueThread> start(std::string name);
    explicit QueueThread(std::string name) : m_name(std::move(name)) {}
    ~QueueThread() override = default;

    // Stops the thread and waits for its end; on the thread itself it lets it go without waiting. Called once.
    void finish();

    ICmEventQueue* GetEventQueue() override { return this; }
    ICmTimerQueue* GetTimerQueue() override { return this; }

    int PostEvent(ICmEvent* event, unsigned long priority, unsigned long flags) override;
    int ScheduleTimer(ICmTimerHandler* handler, void* token, const CCmTimeValue& interval,
                      unsigned long count) override;
    int CancelTimer(ICmTimerHandler* handler) override;

  private:
    struct Timer {
        ICmTimerHandler* handler;
        void* token;
        CCmTimeValue interval;
        std::chrono::nanoseconds period;
        unsigned long remaining;  // 0: no limit
        SteadyTime due;
    };
    using Timers = std::vector<Timer>;

    void run();
    bool waitForWork();
    void runDueTimers();
    void runOneEvent();
    void discardEvents();
    bool stopped();
    bool onOtherThread(const char* operation);
    Timers::iterator find(ICmTimerHandler* handler);
    Timers::iterator earliest();
    template <class F>
    void guarded(const char* what, F&& work);

    const std::string m_name;
    std::thread m_thread;
    Timers m_timers;  // touched by the thread itself only

    Mutex m_mutex;
    Condition m_wake;
    bool m_started ZEL_GUARDED_BY(m_mutex) = false;
    bool m_stopped ZEL_GUARDED_BY(m_mutex) = false;
    std::multimap<unsigned long, ICmEvent*, std::greater<>> m_events ZEL_GUARDED_BY(m_mutex);  // by priority
};

// What GetThreadById knows.
void registerThread(unsigned long id, ACmThread* thread);
void unregisterThread(unsigned long id);

}  // namespace cm
