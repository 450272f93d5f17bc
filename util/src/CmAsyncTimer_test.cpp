#include "util/include/CmAsyncTimer.h"

#include <gtest/gtest.h>

#include <functional>

#include "platform/include/thread.h"
#include "tests/support/TraceCapture.h"
#include "util/src/fake_thread.h"
#include "util/src/queue_thread_fixture.h"

namespace {

using Line = zeltest::TraceCapture::Line;
using Lines = std::vector<Line>;
using Calls = std::vector<std::string>;

class Sink : public CCmAsyncTimerSink {
  public:
    explicit Sink(std::function<void(CCmAsyncTimer*)> work = {}) : m_work(std::move(work)) {}
    void OnTimer(CCmAsyncTimer* timer) override {
        ++ticks;
        if (m_work) m_work(timer);
    }

    std::atomic<int> ticks{0};

  private:
    std::function<void(CCmAsyncTimer*)> m_work;
};

std::shared_ptr<CCmAsyncTimer> makeTimer() {
    return std::make_shared<CCmAsyncTimer>();
}

void tick(CCmAsyncTimer& timer) {
    timer.OnTimeout(CCmTimeValue(1, 0), &timer);
}

constexpr int kNoTimerQueue = 0x46004133;
constexpr int kThreadGone = 0x46004143;
const CCmTimeValue kOneMillisecond(0, 1000);

// No thread of the system has the first id; the second one is the test's own.
struct CmAsyncTimerTest : testing::Test {
    static std::string notCancelled(const CCmAsyncTimer* timer) {
        return "CCmAsyncTimer::~CCmAsyncTimer, timer is not canceled" + zeltest::thisTail(timer);
    }

    FakeThread foreign{0xFFFFFFF0};
    FakeThread own{platform::currentThreadId()};
    Sink sink, other;
    std::shared_ptr<CCmAsyncTimer> timer = makeTimer();
    const zeltest::TraceCapture trace;
};

TEST_F(CmAsyncTimerTest, ScheduleNeedsAThread) {
    const unsigned long before = cm_assertion_count();
    EXPECT_EQ(timer->ScheduleInThread(nullptr, &sink, kOneMillisecond, 0), 0x46004003);
    EXPECT_EQ(trace.lines(), (Lines{{0, "CmAsyncTimer.h:71 Assert failed: pThread != NULL"}}));
    EXPECT_EQ(cm_assertion_count(), before + 1);
    tick(*timer);
    EXPECT_EQ(sink.ticks, 0);
}

TEST_F(CmAsyncTimerTest, ScheduleFromElsewhereNeedsATimerQueueThere) {
    const unsigned long before = cm_assertion_count();
    foreign.hasTimers = false;
    EXPECT_EQ(timer->ScheduleInThread(&foreign, &sink, kOneMillisecond, 0), kNoTimerQueue);
    EXPECT_EQ(trace.lines(), (Lines{{0, "CmAsyncTimer.h:84 Assert failed: pTimerQueue != NULL"}}));
    EXPECT_EQ(cm_assertion_count(), before + 1);
    EXPECT_TRUE(foreign.posted.empty());
}

TEST_F(CmAsyncTimerTest, ScheduleOnTheThreadWithoutTimerQueueWarns) {
    const unsigned long before = cm_assertion_count();
    own.hasTimers = false;
    EXPECT_EQ(timer->ScheduleInThread(&own, &sink, kOneMillisecond, 0), kNoTimerQueue);
    EXPECT_EQ(trace.lines(), (Lines{{1, "CCmAsyncTimer::Schedule_i, your thread doesn't support TP timer queue 2." +
                                            zeltest::thisTail(timer.get())}}));
    EXPECT_EQ(cm_assertion_count(), before);
}

TEST_F(CmAsyncTimerTest, CancelOfATimerNeverScheduledClearsTheSink) {
    foreign.postResult = 77;
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &sink, kOneMillisecond, 0), 77);
    tick(*timer);
    EXPECT_EQ(sink.ticks, 1);
    EXPECT_EQ(timer->Cancel(), 0);
    tick(*timer);
    EXPECT_EQ(sink.ticks, 1);
    EXPECT_TRUE(foreign.posted.empty());
}

TEST_F(CmAsyncTimerTest, ScheduleOnTheThreadItselfArmsAtOnce) {
    ASSERT_EQ(timer->ScheduleInThread(&own, &sink, CCmTimeValue(2, 5), 7), 0);
    EXPECT_TRUE(own.posted.empty());
    EXPECT_EQ(own.calls, Calls{"schedule"});
    EXPECT_EQ(own.lastHandler, timer.get());
    EXPECT_EQ(own.lastToken, timer.get());
    EXPECT_EQ(own.lastInterval, CCmTimeValue(2, 5));
    EXPECT_EQ(own.lastCount, 7u);
}

TEST_F(CmAsyncTimerTest, ScheduleFromElsewhereReturnsBeforeTheTimerIsArmed) {
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &sink, CCmTimeValue(1, 0), 0), 0);
    EXPECT_EQ(foreign.calls, Calls{});
    ASSERT_EQ(foreign.posted.size(), 1u);
    foreign.runPosted();
    EXPECT_EQ(foreign.calls, Calls{"schedule"});
    EXPECT_EQ(foreign.lastHandler, timer.get());
    EXPECT_EQ(foreign.lastInterval, CCmTimeValue(1, 0));
    EXPECT_EQ(foreign.lastCount, 0u);
}

TEST_F(CmAsyncTimerTest, FailedScheduleIsPassedOnAndLeavesTheTimerIdle) {
    own.scheduleResult = 55;
    EXPECT_EQ(timer->ScheduleInThread(&own, &sink, kOneMillisecond, 0), 55);
    EXPECT_EQ(timer->Cancel(), 0);
    EXPECT_EQ(own.calls, Calls{"schedule"});
}

TEST_F(CmAsyncTimerTest, SameSinkSchedulesAgainWithoutCancelling) {
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &sink, kOneMillisecond, 0), 0);
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &sink, kOneMillisecond, 0), 0);
    foreign.runPosted();
    EXPECT_EQ(foreign.calls, (Calls{"schedule", "schedule"}));
}

TEST_F(CmAsyncTimerTest, NewSinkCancelsTheOldScheduleFirst) {
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &sink, kOneMillisecond, 0), 0);
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &other, kOneMillisecond, 0), 0);
    foreign.runPosted();
    EXPECT_EQ(foreign.calls, (Calls{"schedule", "cancel", "schedule"}));
    tick(*timer);
    EXPECT_EQ(sink.ticks, 0);
    EXPECT_EQ(other.ticks, 1);
}

TEST_F(CmAsyncTimerTest, CancelFromElsewhereMakesTheTimerIdleAndPosts) {
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &sink, kOneMillisecond, 0), 0);
    EXPECT_EQ(timer->Cancel(), 0);
    tick(*timer);
    EXPECT_EQ(sink.ticks, 0);
    EXPECT_EQ(foreign.posted.size(), 2u);
    EXPECT_EQ(timer->Cancel(), 0);
    EXPECT_EQ(foreign.posted.size(), 2u);
    foreign.runPosted();
    EXPECT_EQ(foreign.calls, (Calls{"schedule", "cancel"}));
    EXPECT_EQ(foreign.lastHandler, timer.get());
    timer.reset();
    EXPECT_EQ(trace.lines(), Lines{});
}

TEST_F(CmAsyncTimerTest, CancelFromElsewhereIsOverEvenIfThePostFails) {
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &sink, kOneMillisecond, 0), 0);
    foreign.runPosted();
    foreign.postResult = 77;
    EXPECT_EQ(timer->Cancel(), 77);
    EXPECT_EQ(timer->Cancel(), 0);
}

TEST_F(CmAsyncTimerTest, CancelOnTheOwningThreadLeavesTheTimerScheduled) {
    ASSERT_EQ(timer->ScheduleInThread(&own, &sink, kOneMillisecond, 0), 0);
    own.cancelResult = 66;
    EXPECT_EQ(timer->Cancel(), 66);
    EXPECT_EQ(timer->Cancel(), 66);
    EXPECT_EQ(own.calls, (Calls{"schedule", "cancel", "cancel"}));
    tick(*timer);
    EXPECT_EQ(sink.ticks, 0);
    const std::string complaint = notCancelled(timer.get());
    timer.reset();
    EXPECT_EQ(trace.lines(), (Lines{{0, complaint}}));
}

TEST_F(CmAsyncTimerTest, CancelOnAThreadThatLostItsTimerQueueWarns) {
    ASSERT_EQ(timer->ScheduleInThread(&own, &sink, kOneMillisecond, 0), 0);
    own.hasTimers = false;
    EXPECT_EQ(timer->Cancel(), kNoTimerQueue);
    EXPECT_EQ(trace.lines(), (Lines{{1, "CCmAsyncTimer::Cancel_i, your thread doesn't support TP timer queue 2."}}));
}

TEST_F(CmAsyncTimerTest, PendingCancelKeepsTheTimerAliveAndAPendingScheduleDoesNot) {
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &sink, kOneMillisecond, 0), 0);
    EXPECT_EQ(timer.use_count(), 1);
    foreign.runPosted();
    ASSERT_EQ(timer->Cancel(), 0);
    EXPECT_EQ(timer.use_count(), 2);
    const std::weak_ptr<CCmAsyncTimer> watch = timer;
    timer.reset();
    EXPECT_FALSE(watch.expired());
    foreign.runPosted();
    EXPECT_TRUE(watch.expired());
}

TEST_F(CmAsyncTimerTest, TimerOutlivesATickThatDropsItsLastOwner) {
    bool aliveInTick = false;
    const std::weak_ptr<CCmAsyncTimer> watch = timer;
    Sink dropping([&](CCmAsyncTimer*) {
        timer.reset();
        aliveInTick = !watch.expired();
    });
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &dropping, kOneMillisecond, 0), 0);
    foreign.runPosted();
    tick(*timer);
    EXPECT_TRUE(aliveInTick);
    EXPECT_TRUE(watch.expired());
}

TEST_F(CmAsyncTimerTest, TickOfATimerWithoutOwnerThrows) {
    CCmAsyncTimer unowned;
    EXPECT_THROW(tick(unowned), std::bad_weak_ptr);
}

TEST_F(CmAsyncTimerTest, SinkThatThrowsLeavesTheLockFree) {
    Sink throwing([](CCmAsyncTimer*) { throw std::runtime_error("broke"); });
    ASSERT_EQ(timer->ScheduleInThread(&foreign, &throwing, kOneMillisecond, 0), 0);
    EXPECT_THROW(tick(*timer), std::runtime_error);
    EXPECT_EQ(std::async(std::launch::async, [&] { return timer->Cancel(); }).get(), 0);
}

TEST_F(CmAsyncTimerTest, DestroyingAnIdleTimerSaysNothing) {
    timer.reset();
    EXPECT_EQ(trace.lines(), Lines{});
}

class CmAsyncTimerOnThreadTest : public QueueThreadFixture {
  protected:
    std::shared_ptr<CCmAsyncTimer> m_timer = makeTimer();
    const zeltest::TraceCapture m_trace;
};

TEST_F(CmAsyncTimerOnThreadTest, TicksOnTheThreadUntilItIsCancelled) {
    std::atomic<int> elsewhere{0};
    Sink sink([&](CCmAsyncTimer* timer) {
        if (timer != m_timer.get() || !IsEqualCurrentThread(m_thread->GetThreadId())) ++elsewhere;
    });
    ASSERT_EQ(m_timer->ScheduleInThread(m_thread, &sink, kOneMillisecond, 0), 0);
    EXPECT_TRUE(eventually([&] { return sink.ticks >= 3; }));
    EXPECT_EQ(m_timer->Cancel(), 0);
    const int ticks = sink.ticks;
    EXPECT_EQ(onThread([] { return 0; }), 0);
    EXPECT_EQ(sink.ticks, ticks);
    EXPECT_EQ(elsewhere, 0);
    release();
    m_timer.reset();
    EXPECT_EQ(m_trace.lines(), Lines{});
}

TEST_F(CmAsyncTimerOnThreadTest, CancelFromElsewhereWaitsForARunningTick) {
    std::promise<void> entered, gate;
    std::atomic<bool> left{false};
    Sink sink([&](CCmAsyncTimer*) {
        entered.set_value();
        gate.get_future().wait();
        left = true;
    });
    ASSERT_EQ(m_timer->ScheduleInThread(m_thread, &sink, kOneMillisecond, 1), 0);
    entered.get_future().wait();
    auto cancelled = std::async(std::launch::async, [&] {
        const int result = m_timer->Cancel();
        EXPECT_TRUE(left);
        return result;
    });
    EXPECT_EQ(cancelled.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    gate.set_value();
    EXPECT_EQ(cancelled.get(), 0);
}

TEST_F(CmAsyncTimerOnThreadTest, CancelInsideATickEndsTheTicksAndKeepsTheThreadFields) {
    std::promise<int> result;
    Sink sink([&](CCmAsyncTimer* timer) { result.set_value(timer->Cancel()); });
    // Scheduled on the thread itself, so that the fields are stored before the first tick.
    ASSERT_EQ(onThread([&] { return m_timer->ScheduleInThread(m_thread, &sink, kOneMillisecond, 0); }), 0);
    EXPECT_EQ(result.get_future().get(), 0);
    Sink later;
    const auto second = makeTimer();
    ASSERT_EQ(second->ScheduleInThread(m_thread, &later, kOneMillisecond, 0), 0);
    EXPECT_TRUE(eventually([&] { return later.ticks >= 10; }));
    EXPECT_EQ(sink.ticks, 1);
    ASSERT_EQ(second->Cancel(), 0);
    release();
    EXPECT_EQ(m_timer->Cancel(), kThreadGone);
    const std::string complaint = CmAsyncTimerTest::notCancelled(m_timer.get());
    m_timer.reset();
    EXPECT_EQ(m_trace.lines(), (Lines{{0, complaint}}));
}

TEST_F(CmAsyncTimerOnThreadTest, CancelAfterTheThreadHasEndedTouchesNoQueue) {
    Sink sink;
    ASSERT_EQ(m_timer->ScheduleInThread(m_thread, &sink, CCmTimeValue(3600, 0), 0), 0);
    release();
    EXPECT_EQ(m_timer->Cancel(), kThreadGone);
    EXPECT_EQ(m_timer->Cancel(), kThreadGone);
    tick(*m_timer);
    EXPECT_EQ(sink.ticks, 0);
}

TEST_F(CmAsyncTimerOnThreadTest, CancelThenReleaseAsAHostDoes) {
    Sink sink;
    ASSERT_EQ(m_timer->ScheduleInThread(m_thread, &sink, kOneMillisecond, 0), 0);
    EXPECT_TRUE(eventually([&] { return sink.ticks >= 1; }));
    EXPECT_EQ(m_timer->Cancel(), 0);
    release();
    const int ticks = sink.ticks;
    m_timer.reset();
    EXPECT_EQ(sink.ticks, ticks);
    EXPECT_EQ(m_trace.lines(), Lines{});
}

// Schedules and cancels from one foreign thread while the ticks run as fast as they can.
TEST_F(CmAsyncTimerOnThreadTest, NoTickReachesTheSinkAfterACancelHasReturned) {
    for (int i = 0; i < 200; ++i) {
        auto sink = std::make_unique<Sink>();
        ASSERT_EQ(m_timer->ScheduleInThread(m_thread, sink.get(), CCmTimeValue(0, 20), 0), 0);
        if (i % 2 == 0) {
            EXPECT_TRUE(eventually([&] { return sink->ticks >= 1; }));
        }
        EXPECT_EQ(m_timer->Cancel(), 0);
        sink.reset();
    }
}

}  // namespace
