#include "util/src/QueueThread.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "tests/support/TraceCapture.h"
#include "util/src/queue_thread_fixture.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

TEST(NextTickTest, KeepsToTheGrid) {
    const cm::SteadyTime start{};
    EXPECT_EQ(cm::nextTick(start, milliseconds(10), start), start + milliseconds(10));
    EXPECT_EQ(cm::nextTick(start, milliseconds(10), start + milliseconds(3)), start + milliseconds(10));
    EXPECT_EQ(cm::nextTick(start, milliseconds(10), start + nanoseconds(9999999)), start + milliseconds(10));
}

TEST(NextTickTest, LeavesOutTheTicksOfAStall) {
    const cm::SteadyTime start{};
    EXPECT_EQ(cm::nextTick(start, milliseconds(10), start + milliseconds(10)), start + milliseconds(20));
    EXPECT_EQ(cm::nextTick(start, milliseconds(10), start + milliseconds(57)), start + milliseconds(60));
}

TEST(NextTickTest, DoesNotDriftOverManyLateTicks) {
    const cm::SteadyTime start{};
    cm::SteadyTime due = start;
    for (int i = 1; i <= 1000; ++i) {
        due = cm::nextTick(due, milliseconds(10), due + milliseconds(i % 10));
        ASSERT_EQ(due, start + i * milliseconds(10));
    }
}

class Handler : public ICmTimerHandler {
  public:
    explicit Handler(std::function<void(void*)> work = {}) : m_work(std::move(work)) {}
    ~Handler() override = default;
    void OnTimeout(const CCmTimeValue& interval, void* token) override {
        lastInterval = interval;
        lastThread = CmGetThreadID();
        ++ticks;
        if (m_work) m_work(token);
    }

    std::atomic<int> ticks{0};
    CCmTimeValue lastInterval;
    int lastThread = 0;

  private:
    std::function<void(void*)> m_work;
};

class QueueTimerTest : public QueueThreadFixture {
  protected:
    int schedule(Handler& handler, long microseconds, unsigned long count, void* token = nullptr) {
        return onThread([&, microseconds, count, token] {
            return m_thread->GetTimerQueue()->ScheduleTimer(&handler, token, CCmTimeValue(0, microseconds), count);
        });
    }
    int cancel(Handler& handler) {
        return onThread([&] { return m_thread->GetTimerQueue()->CancelTimer(&handler); });
    }
    // Both are due, in that order, before the thread is back at its queue.
    void makeBothDue(Handler& first, Handler& second) {
        onThread([&] {
            ICmTimerQueue* const queue = m_thread->GetTimerQueue();
            EXPECT_EQ(queue->ScheduleTimer(&first, nullptr, CCmTimeValue(0, 1000), 1), 0);
            EXPECT_EQ(queue->ScheduleTimer(&second, nullptr, CCmTimeValue(0, 1001), 1), 0);
            const auto until = std::chrono::steady_clock::now() + milliseconds(3);
            while (std::chrono::steady_clock::now() < until) {
            }
            return 0;
        });
    }
    // Waits until a timer as fast as the tested ones has ticked often enough to show that those stay silent.
    void letOthersTick() {
        Handler other;
        ASSERT_EQ(schedule(other, 1000, 0), 0);
        EXPECT_TRUE(eventually([&] { return other.ticks >= 10; }));
        ASSERT_EQ(cancel(other), 0);
    }
};

TEST_F(QueueTimerTest, TicksOnItsThreadUntilItIsCancelled) {
    Handler handler;
    ASSERT_EQ(schedule(handler, 1000, 0), 0);
    EXPECT_TRUE(eventually([&] { return handler.ticks >= 5; }));
    ASSERT_EQ(cancel(handler), 0);
    const int ticks = handler.ticks;
    EXPECT_EQ(handler.lastThread, static_cast<int>(m_thread->GetThreadId()));
    EXPECT_EQ(handler.lastInterval, CCmTimeValue(0, 1000));
    letOthersTick();
    EXPECT_EQ(handler.ticks, ticks);
}

TEST_F(QueueTimerTest, EndsAfterItsCount) {
    Handler once, thrice;
    ASSERT_EQ(schedule(once, 1000, 1), 0);
    ASSERT_EQ(schedule(thrice, 1000, 3), 0);
    EXPECT_TRUE(eventually([&] { return once.ticks == 1 && thrice.ticks == 3; }));
    letOthersTick();
    EXPECT_EQ(once.ticks, 1);
    EXPECT_EQ(thrice.ticks, 3);
    EXPECT_EQ(cancel(once), 0);
}

TEST_F(QueueTimerTest, SecondScheduleReplacesTheFirst) {
    std::vector<void*> tokens;
    int first = 0, second = 0;
    Handler handler([&](void* token) { tokens.push_back(token); });
    onThread([&] {
        EXPECT_EQ(m_thread->GetTimerQueue()->ScheduleTimer(&handler, &first, CCmTimeValue(0, 1000), 0), 0);
        EXPECT_EQ(m_thread->GetTimerQueue()->ScheduleTimer(&handler, &second, CCmTimeValue(0, 1000), 2), 0);
        return 0;
    });
    EXPECT_TRUE(eventually([&] { return handler.ticks == 2; }));
    letOthersTick();
    EXPECT_EQ(onThread([&] { return tokens; }), (std::vector<void*>{&second, &second}));
}

TEST_F(QueueTimerTest, MayBeCancelledInsideItsOwnTick) {
    Handler handler([&](void*) { EXPECT_EQ(m_thread->GetTimerQueue()->CancelTimer(&handler), 0); });
    ASSERT_EQ(schedule(handler, 1000, 0), 0);
    EXPECT_TRUE(eventually([&] { return handler.ticks == 1; }));
    letOthersTick();
    EXPECT_EQ(handler.ticks, 1);
}

TEST_F(QueueTimerTest, TickThatIsDueMayBeCancelledByAnotherTick) {
    Handler victim;
    Handler first([&](void*) { m_thread->GetTimerQueue()->CancelTimer(&victim); });
    makeBothDue(first, victim);
    EXPECT_TRUE(eventually([&] { return first.ticks == 1; }));
    letOthersTick();
    EXPECT_EQ(victim.ticks, 0);
}

TEST_F(QueueTimerTest, OnlyItsOwnThreadTouchesTheQueue) {
    const zeltest::TraceCapture trace(0);
    Handler handler;
    ICmTimerQueue* const queue = m_thread->GetTimerQueue();
    EXPECT_EQ(queue->ScheduleTimer(&handler, nullptr, CCmTimeValue(0, 1000), 0), CM_ERROR_WRONG_THREAD);
    EXPECT_EQ(queue->CancelTimer(&handler), CM_ERROR_WRONG_THREAD);
    EXPECT_EQ(trace.count(0, "CCmQueueThread::ScheduleTimer, called on thread "), 1);
    EXPECT_EQ(trace.count(0, "CCmQueueThread::CancelTimer, called on thread "), 1);
    letOthersTick();
    EXPECT_EQ(handler.ticks, 0);
}

TEST_F(QueueTimerTest, RefusesAnIntervalThatIsNotPositiveAndAMissingHandler) {
    const zeltest::TraceCapture trace(0);
    Handler handler;
    EXPECT_EQ(schedule(handler, 0, 0), CM_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(schedule(handler, -5, 0), CM_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(trace.count(0, "interval is not positive, us=-5"), 1);
    EXPECT_EQ(
        onThread([&] { return m_thread->GetTimerQueue()->ScheduleTimer(nullptr, nullptr, CCmTimeValue(1, 0), 0); }),
        CM_ERROR_NULL_POINTER);
    EXPECT_EQ(onThread([&] { return m_thread->GetTimerQueue()->CancelTimer(nullptr); }), CM_ERROR_NULL_POINTER);
    EXPECT_EQ(cancel(handler), 0);
}

TEST_F(QueueTimerTest, TakesTheLongestInterval) {
    Handler handler;
    EXPECT_EQ(onThread([&] {
                  return m_thread->GetTimerQueue()->ScheduleTimer(&handler, nullptr,
                                                                  CCmTimeValue(std::numeric_limits<long>::max(), 0), 0);
              }),
              0);
    letOthersTick();
    EXPECT_EQ(handler.ticks, 0);
}

TEST_F(QueueTimerTest, ExceptionOfATickIsTracedAndTheTicksGoOn) {
    const zeltest::TraceCapture trace(0);
    Handler handler([](void*) { throw std::runtime_error("tick broke"); });
    ASSERT_EQ(schedule(handler, 1000, 3), 0);
    EXPECT_TRUE(eventually(
        [&] { return trace.count(0, "CCmQueueThread, timer failed, thread=utest-disp, error=tick broke") == 3; }));
}

// Each event posts the next, so that the queue is never empty.
TEST_F(QueueTimerTest, FloodOfEventsDoesNotHoldUpTheTimers) {
    std::atomic<bool> stop{false};
    std::function<void()> flood = [&] {
        if (!stop) post(flood);
    };
    ASSERT_EQ(post(flood), 0);
    Handler handler;
    ASSERT_EQ(schedule(handler, 1000, 0), 0);
    EXPECT_TRUE(eventually([&] { return handler.ticks >= 3; }));
    stop = true;
    ASSERT_EQ(cancel(handler), 0);
}

TEST_F(QueueTimerTest, TimersOverdueAllTheTimeDoNotHoldUpEvents) {
    Handler handler;
    ASSERT_EQ(schedule(handler, 1, 0), 0);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(onThread([i] { return i; }), i);
    ASSERT_EQ(cancel(handler), 0);
}

TEST_F(QueueTimerTest, ArmedTimerDoesNotHoldUpTheStop) {
    Handler handler;
    ASSERT_EQ(schedule(handler, 3600L * 500000, 0), 0);
    release();
    EXPECT_EQ(handler.ticks, 0);
}

TEST_F(QueueTimerTest, NoTickBeginsAfterAReleaseInsideATick) {
    const unsigned long id = m_thread->GetThreadId();
    Handler handler([&](void*) { release(); });
    Handler dueToo;
    makeBothDue(handler, dueToo);
    EXPECT_TRUE(eventually([&] { return GetThreadById(id) == nullptr; }));
    EXPECT_EQ(handler.ticks, 1);
    EXPECT_EQ(dueToo.ticks, 0);
}

}  // namespace
