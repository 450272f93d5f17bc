#pragma once

#include <string>
#include <vector>

#include "util/include/CmThread.h"

// For tests: a thread whose queues write down what they are asked, run nothing of their own and can be made to fail or
// be absent. It is not known to GetThreadById.
class FakeThread : public ACmThread, public ICmEventQueue, public ICmTimerQueue {
  public:
    explicit FakeThread(unsigned long id) { setThreadId(id); }
    ~FakeThread() override {
        for (ICmEvent* event : posted) event->OnDestorySelf();
    }

    ICmEventQueue* GetEventQueue() override { return hasEvents ? this : nullptr; }
    ICmTimerQueue* GetTimerQueue() override { return hasTimers ? this : nullptr; }

    int PostEvent(ICmEvent* event, unsigned long priority, unsigned long flags) override {
        lastPriority = priority;
        lastFlags = flags;
        if (postResult == 0) {
            posted.push_back(event);
        } else {
            event->OnDestorySelf();
        }
        return postResult;
    }
    int ScheduleTimer(ICmTimerHandler* handler, void* token, const CCmTimeValue& interval,
                      unsigned long count) override {
        calls.push_back("schedule");
        lastHandler = handler;
        lastToken = token;
        lastInterval = interval;
        lastCount = count;
        return scheduleResult;
    }
    int CancelTimer(ICmTimerHandler* handler) override {
        calls.push_back("cancel");
        lastHandler = handler;
        return cancelResult;
    }

    void runPosted() {
        std::vector<ICmEvent*> events;
        events.swap(posted);
        for (ICmEvent* event : events) {
            event->OnFire();
            event->OnDestorySelf();
        }
    }

    bool hasEvents = true;
    bool hasTimers = true;
    int postResult = 0;
    int scheduleResult = 0;
    int cancelResult = 0;
    std::vector<ICmEvent*> posted;
    std::vector<std::string> calls;
    unsigned long lastPriority = 0;
    unsigned long lastFlags = 99;
    ICmTimerHandler* lastHandler = nullptr;
    void* lastToken = nullptr;
    CCmTimeValue lastInterval;
    unsigned long lastCount = 99;
};
