#include "util/src/QueueThread.h"

#include <algorithm>
#include <exception>

#include "platform/include/exception_filter.h"
#include "platform/include/thread.h"

namespace cm {

namespace {

using std::chrono::hours;
using std::chrono::microseconds;

constexpr int64_t kLongestInterval = 100LL * 365 * 24 * 3600 * 1000000;  // microseconds

// No single wait is longer, which keeps every deadline within the range of the system's calls.
constexpr hours kLongestWait{1};

}  // namespace

SteadyTime nextTick(SteadyTime due, std::chrono::nanoseconds interval, SteadyTime now) {
    return due + ((now - due) / interval + 1) * interval;
}

std::shared_ptr<QueueThread> QueueThread::start(std::string name) {
    auto self = std::make_shared<QueueThread>(std::move(name));
    self->m_thread = std::thread([self] {
        platform::prepareThreadForFilter();
        self->run();
    });
    const LockGuard<Mutex> lock(self->m_mutex);
    while (!self->m_started) self->m_wake.wait(self->m_mutex);
    return self;
}

void QueueThread::finish() {
    {
        const LockGuard<Mutex> lock(m_mutex);
        m_stopped = true;
    }
    m_wake.notify_all();
    if (IsEqualCurrentThread(GetThreadId())) {
        m_thread.detach();
    } else {
        m_thread.join();
    }
}

int QueueThread::PostEvent(ICmEvent* event, unsigned long priority, unsigned long flags) {
    if (event == nullptr) return CM_ERROR_NULL_POINTER;
    int result = flags == 0 ? 0 : CM_ERROR_INVALID_ARGUMENT;
    if (result == 0) {
        const LockGuard<Mutex> lock(m_mutex);
        if (m_stopped) {
            result = CM_ERROR_THREAD_GONE;
        } else {
            m_events.emplace(priority, event);
        }
    }
    if (result == 0) {
        m_wake.notify_all();
    } else {
        event->OnDestorySelf();
    }
    return result;
}

int QueueThread::ScheduleTimer(ICmTimerHandler* handler, void* token, const CCmTimeValue& interval,
                               unsigned long count) {
    if (onOtherThread("ScheduleTimer")) return CM_ERROR_WRONG_THREAD;
    if (handler == nullptr) return CM_ERROR_NULL_POINTER;
    const int64_t length = interval.totalMicroseconds();
    if (length <= 0) {
        CM_ERROR("CCmQueueThread::ScheduleTimer, interval is not positive, us=" << std::to_string(length) << CM_THIS);
        return CM_ERROR_INVALID_ARGUMENT;
    }
    CancelTimer(handler);
    const microseconds period(std::min(length, kLongestInterval));
    m_timers.push_back({handler, token, interval, period, count, std::chrono::steady_clock::now() + period});
    return 0;
}

int QueueThread::CancelTimer(ICmTimerHandler* handler) {
    if (onOtherThread("CancelTimer")) return CM_ERROR_WRONG_THREAD;
    if (handler == nullptr) return CM_ERROR_NULL_POINTER;
    const auto timer = find(handler);
    if (timer != m_timers.end()) m_timers.erase(timer);
    return 0;
}

void QueueThread::run() {
    platform::setThreadName(m_name.c_str());
    const unsigned long id = platform::currentThreadId();
    setThreadId(id);
    registerThread(id, this);
    {
        const LockGuard<Mutex> lock(m_mutex);
        m_started = true;
    }
    m_wake.notify_all();
    while (waitForWork()) {
        runDueTimers();
        runOneEvent();
    }
    unregisterThread(id);
    discardEvents();
}

// Waits for an event, a due timer or the stop. False once stopped.
bool QueueThread::waitForWork() {
    const LockGuard<Mutex> lock(m_mutex);
    while (!m_stopped && m_events.empty()) {
        if (m_timers.empty()) {
            m_wake.wait(m_mutex);
            continue;
        }
        const SteadyTime now = std::chrono::steady_clock::now();
        const SteadyTime due = earliest()->due;
        if (due <= now) break;
        m_wake.wait_until(m_mutex, std::min<SteadyTime>(due, now + kLongestWait));
    }
    return !m_stopped;
}

// One tick for each timer that is due now, in the order of their times. A tick may arm and disarm timers.
void QueueThread::runDueTimers() {
    const SteadyTime now = std::chrono::steady_clock::now();
    while (!m_timers.empty() && earliest()->due <= now && !stopped()) {
        const auto next = earliest();
        const Timer timer = *next;
        if (timer.remaining == 1) {
            m_timers.erase(next);
        } else {
            if (timer.remaining != 0) --next->remaining;
            next->due = nextTick(timer.due, timer.period, now);
        }
        guarded("timer", [&] { timer.handler->OnTimeout(timer.interval, timer.token); });
    }
}

// One event only, so that a flood of events cannot hold up the timers.
void QueueThread::runOneEvent() {
    ICmEvent* event = nullptr;
    {
        const LockGuard<Mutex> lock(m_mutex);
        if (m_stopped || m_events.empty()) return;
        event = m_events.begin()->second;
        m_events.erase(m_events.begin());
    }
    guarded("event", [&] { event->OnFire(); });
    event->OnDestorySelf();
}

// None is added any more. They end outside the lock, since that may post again, to be refused.
void QueueThread::discardEvents() {
    std::multimap<unsigned long, ICmEvent*, std::greater<>> events;
    {
        const LockGuard<Mutex> lock(m_mutex);
        events.swap(m_events);
    }
    for (const auto& [priority, event] : events) event->OnDestorySelf();
}

bool QueueThread::stopped() {
    const LockGuard<Mutex> lock(m_mutex);
    return m_stopped;
}

bool QueueThread::onOtherThread(const char* operation) {
    if (IsEqualCurrentThread(GetThreadId())) return false;
    CM_ERROR("CCmQueueThread::" << operation << ", called on thread " << CmGetThreadID() << ", not on the queue's own "
                                << GetThreadId() << CM_THIS);
    return true;
}

QueueThread::Timers::iterator QueueThread::find(ICmTimerHandler* handler) {
    return std::find_if(m_timers.begin(), m_timers.end(), [&](const Timer& timer) { return timer.handler == handler; });
}

QueueThread::Timers::iterator QueueThread::earliest() {
    return std::min_element(m_timers.begin(), m_timers.end(),
                            [](const Timer& a, const Timer& b) { return a.due < b.due; });
}

template <class F>
void QueueThread::guarded(const char* what, F&& work) {
    try {
        work();
    } catch (const std::exception& error) {
        CM_ERROR("CCmQueueThread, " << what << " failed, thread=" << m_name << ", error=" << error.what() << CM_THIS);
    } catch (...) {
        CM_ERROR("CCmQueueThread, " << what << " failed, thread=" << m_name << ", error=unknown exception" << CM_THIS);
    }
}

}  // namespace cm
