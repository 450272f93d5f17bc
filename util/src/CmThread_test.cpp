#include "util/include/CmThread.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <vector>

#include "platform/include/thread.h"
#include "tests/support/TraceCapture.h"
#include "util/src/fake_thread.h"
#include "util/src/queue_thread_fixture.h"

namespace {

ACmThreadSingletonFactory& factory() {
    return ACmThreadSingletonFactory::Instance();
}

class CountedEvent : public ICmEvent {
  public:
    CountedEvent(std::atomic<int>& fired, std::atomic<int>& destroyed)
        : ICmEvent(0), m_fired(fired), m_destroyed(destroyed) {}
    void OnFire() override { ++m_fired; }

  protected:
    ~CountedEvent() override { ++m_destroyed; }

  private:
    std::atomic<int>& m_fired;
    std::atomic<int>& m_destroyed;
};

TEST(CmThreadTest, IdsAreThoseOfTheSystem) {
    EXPECT_EQ(CmGetProcessID(), platform::currentProcessId());
    EXPECT_EQ(CmGetThreadID(), static_cast<int>(platform::currentThreadId()));
    EXPECT_NE(std::async(std::launch::async, CmGetThreadID).get(), CmGetThreadID());
}

TEST(CmThreadTest, IsEqualCurrentThreadKnowsTheCaller) {
    EXPECT_NE(IsEqualCurrentThread(platform::currentThreadId()), 0);
    EXPECT_EQ(std::async(std::launch::async, IsEqualCurrentThread, platform::currentThreadId()).get(), 0);
}

TEST(CmThreadTest, NamesTheCallingThread) {
    std::async(std::launch::async, [] {
        EXPECT_EQ(kmo_set_thread_name("scn-ipc"), 0);
        EXPECT_EQ(kmo_set_thread_name(nullptr), CM_ERROR_NULL_POINTER);
    }).get();
}

TEST(CmThreadTest, ThreadThatIsNotOfTheFactoryIsUnknown) {
    EXPECT_EQ(GetThreadById(platform::currentThreadId()), nullptr);
    EXPECT_EQ(GetThreadById(0), nullptr);
}

TEST(CmThreadTest, InvokeInThreadNeedsAThread) {
    const zeltest::TraceCapture trace;
    const unsigned long before = cm_assertion_count();
    EXPECT_EQ(InvokeInThread(nullptr, [] {}), 0x46004003);
    EXPECT_EQ(trace.lines(),
              (std::vector<zeltest::TraceCapture::Line>{{0, "CmThread.h:174 Assert failed: pThread != NULL"}}));
    EXPECT_EQ(cm_assertion_count(), before + 1);
}

TEST(CmThreadTest, InvokeInThreadNeedsAnEventQueue) {
    const zeltest::TraceCapture trace;
    const unsigned long before = cm_assertion_count();
    FakeThread thread(1);
    thread.hasEvents = false;
    EXPECT_EQ(InvokeInThread(&thread, [] {}), 0x46004003);
    EXPECT_EQ(trace.lines(),
              (std::vector<zeltest::TraceCapture::Line>{{0, "CmThread.h:176 Assert failed: pEventQueue != NULL"}}));
    EXPECT_EQ(cm_assertion_count(), before + 1);
}

TEST(CmThreadTest, InvokeInThreadPostsAndNeverRunsInline) {
    FakeThread thread(platform::currentThreadId());
    int runs = 0;
    EXPECT_EQ(InvokeInThread(&thread, [&] { ++runs; }), 0);
    EXPECT_EQ(runs, 0);
    ASSERT_EQ(thread.posted.size(), 1u);
    EXPECT_EQ(thread.lastPriority, 128u);
    EXPECT_EQ(thread.lastFlags, 0u);
    EXPECT_EQ(thread.posted[0]->type(), 0u);
    thread.runPosted();
    EXPECT_EQ(runs, 1);
}

TEST(CmThreadTest, InvokeInThreadPassesOnWhatTheQueueAnswers) {
    FakeThread thread(1);
    thread.postResult = 77;
    EXPECT_EQ(InvokeInThread(&thread, [] {}), 77);
}

TEST(CmThreadTest, InvokeEventDestroysItsCallable) {
    FakeThread thread(1);
    const auto held = std::make_shared<int>(1);
    ASSERT_EQ(InvokeInThread(&thread, [held] {}), 0);
    EXPECT_EQ(held.use_count(), 2);
    thread.runPosted();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(CmThreadTest, InvokeInThreadTakesACallableThatOnlyMoves) {
    FakeThread thread(1);
    int seen = 0;
    ASSERT_EQ(InvokeInThread(&thread, [&seen, value = std::make_unique<int>(5)] { seen = *value; }), 0);
    thread.runPosted();
    EXPECT_EQ(seen, 5);
}

TEST(CmThreadTest, FactoryNeedsAName) {
    FakeThread other(1);
    ACmThread* thread = &other;
    EXPECT_EQ(factory().GetSingletonThread(nullptr, thread), CM_ERROR_NULL_POINTER);
    EXPECT_EQ(thread, nullptr);
    EXPECT_EQ(factory().ResleseSingletonThread(nullptr, &other), CM_ERROR_NULL_POINTER);
}

using FactoryThreadTest = QueueThreadFixture;

TEST_F(FactoryThreadTest, IdIsPublishedAndKnownAtOnce) {
    ASSERT_NE(m_thread->GetThreadId(), 0u);
    EXPECT_EQ(GetThreadById(m_thread->GetThreadId()), m_thread);
    EXPECT_EQ(onThread(CmGetThreadID), static_cast<int>(m_thread->GetThreadId()));
    EXPECT_NE(m_thread->GetEventQueue(), nullptr);
    EXPECT_NE(m_thread->GetTimerQueue(), nullptr);
}

// Only Linux shows a thread's name as a file.
TEST_F(FactoryThreadTest, CarriesItsName) {
    std::ifstream comm("/proc/self/task/" + std::to_string(m_thread->GetThreadId()) + "/comm");
    if (!comm) GTEST_SKIP() << "this system does not show thread names";
    std::string name;
    std::getline(comm, name);
    EXPECT_EQ(name, m_name);
}

TEST_F(FactoryThreadTest, OneNameIsOneThreadUntilTheLastRelease) {
    ACmThread* again = nullptr;
    ASSERT_EQ(factory().GetSingletonThread(m_name.c_str(), again), 0);
    EXPECT_EQ(again, m_thread);
    EXPECT_EQ(factory().ResleseSingletonThread(m_name.c_str(), again), 0);
    EXPECT_EQ(onThread([] { return 3; }), 3);
}

TEST_F(FactoryThreadTest, OtherNameIsAnotherThread) {
    ACmThread* other = nullptr;
    ASSERT_EQ(factory().GetSingletonThread("utest-other", other), 0);
    EXPECT_NE(other, m_thread);
    EXPECT_EQ(factory().ResleseSingletonThread("utest-other", other), 0);
}

TEST_F(FactoryThreadTest, ReleaseOfAnUnknownNameOrAnotherThreadIsRefused) {
    FakeThread other(1);
    EXPECT_EQ(factory().ResleseSingletonThread("utest-nobody", m_thread), CM_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(factory().ResleseSingletonThread(m_name.c_str(), &other), CM_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(factory().ResleseSingletonThread(m_name.c_str(), nullptr), CM_ERROR_NULL_POINTER);
    EXPECT_EQ(onThread([] { return 3; }), 3);
}

TEST_F(FactoryThreadTest, ReleasedThreadIsUnknownAndItsNameIsFree) {
    const unsigned long id = m_thread->GetThreadId();
    release();
    EXPECT_EQ(GetThreadById(id), nullptr);
    ASSERT_EQ(factory().GetSingletonThread(m_name.c_str(), m_thread), 0);
    EXPECT_EQ(onThread([] { return 3; }), 3);
}

TEST_F(FactoryThreadTest, EventsRunInTheOrderOfPosting) {
    std::vector<int> order;
    for (int i = 0; i < 100; ++i) ASSERT_EQ(post([&order, i] { order.push_back(i); }), 0);
    onThread([] { return 0; });
    ASSERT_EQ(order.size(), 100u);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(order[i], i);
}

TEST_F(FactoryThreadTest, HigherPriorityRunsBeforeLower) {
    std::promise<void> gate;
    std::vector<char> order;
    hold(gate.get_future().share());
    ICmEventQueue* const queue = m_thread->GetEventQueue();
    const auto add = [&](char mark, unsigned long priority) {
        auto work = [&order, mark] { order.push_back(mark); };
        ASSERT_EQ(queue->PostEvent(new CCmInvokeEvent<decltype(work)>(work), priority, 0), 0);
    };
    add('c', 128);
    add('e', 0);
    add('a', 255);
    add('d', 128);
    add('b', 129);
    gate.set_value();
    EXPECT_TRUE(eventually([&] { return onThread([&] { return order.size(); }) == 5; }));
    EXPECT_EQ(std::string(order.begin(), order.end()), "abcde");
}

TEST_F(FactoryThreadTest, EventThatRanIsDestroyedOnce) {
    std::atomic<int> fired{0}, destroyed{0};
    ASSERT_EQ(m_thread->GetEventQueue()->PostEvent(new CountedEvent(fired, destroyed), 128, 0), 0);
    onThread([] { return 0; });
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(destroyed, 1);
}

TEST_F(FactoryThreadTest, UnknownFlagAndMissingEventAreRefused) {
    std::atomic<int> fired{0}, destroyed{0};
    EXPECT_EQ(m_thread->GetEventQueue()->PostEvent(new CountedEvent(fired, destroyed), 128, 1),
              CM_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(m_thread->GetEventQueue()->PostEvent(nullptr, 128, 0), CM_ERROR_NULL_POINTER);
    onThread([] { return 0; });
    EXPECT_EQ(fired, 0);
}

TEST_F(FactoryThreadTest, ExceptionOfAnEventIsTracedAndTheThreadGoesOn) {
    const zeltest::TraceCapture trace(0);
    ASSERT_EQ(post([] { throw std::runtime_error("no such mask"); }), 0);
    ASSERT_EQ(post([] { throw 5; }), 0);
    EXPECT_EQ(onThread([] { return 3; }), 3);
    EXPECT_EQ(trace.count(0, "CCmQueueThread, event failed, thread=utest-disp, error=no such mask" +
                                 zeltest::thisTail(m_thread)),
              1);
    EXPECT_EQ(trace.count(0, "error=unknown exception"), 1);
}

// While the thread is held inside an event, another one stops it: what was queued before and what is posted after the
// stop ends unrun, each exactly once.
TEST_F(FactoryThreadTest, EventsLeftAtTheStopAreDestroyedUnrun) {
    std::promise<void> gate;
    std::atomic<int> fired{0}, destroyed{0};
    hold(gate.get_future().share());
    ICmEventQueue* const queue = m_thread->GetEventQueue();
    int posted = 0;
    for (; posted < 3; ++posted) ASSERT_EQ(queue->PostEvent(new CountedEvent(fired, destroyed), 128, 0), 0);
    auto released = std::async(std::launch::async, [this] { release(); });
    int refusal = 0;
    EXPECT_TRUE(eventually([&] {
        ++posted;
        refusal = queue->PostEvent(new CountedEvent(fired, destroyed), 128, 0);
        return refusal != 0;
    }));
    EXPECT_EQ(refusal, CM_ERROR_THREAD_GONE);
    EXPECT_EQ(destroyed, 1);
    gate.set_value();
    released.get();
    EXPECT_EQ(fired, 0);
    EXPECT_EQ(destroyed, posted);
}

// Its destruction posts to the queue that is being emptied.
struct PostsWhenDestroyed {
    PostsWhenDestroyed(ICmEventQueue* queue, std::atomic<int>& fired, std::atomic<int>& destroyed)
        : queue(queue), fired(fired), destroyed(destroyed) {}
    ~PostsWhenDestroyed() { queue->PostEvent(new CountedEvent(fired, destroyed), 128, 0); }
    ICmEventQueue* queue;
    std::atomic<int>& fired;
    std::atomic<int>& destroyed;
};

TEST_F(FactoryThreadTest, EventMayPostFromItsDestructionAtTheStop) {
    std::promise<void> gate;
    std::atomic<int> fired{0}, destroyed{0};
    ICmEventQueue* const queue = m_thread->GetEventQueue();
    hold(gate.get_future().share());
    ASSERT_EQ(post([poster = std::make_shared<PostsWhenDestroyed>(queue, fired, destroyed)] {}), 0);
    auto released = std::async(std::launch::async, [this] { release(); });
    std::atomic<int> ignored{0};
    EXPECT_TRUE(eventually([&] { return queue->PostEvent(new CountedEvent(ignored, ignored), 128, 0) != 0; }));
    gate.set_value();
    released.get();
    EXPECT_EQ(fired, 0);
    EXPECT_EQ(destroyed, 1);
}

TEST_F(FactoryThreadTest, ReleaseOnTheThreadItselfDoesNotWaitForItself) {
    const unsigned long id = m_thread->GetThreadId();
    std::promise<int> result;
    const auto held = std::make_shared<int>(1);
    ASSERT_EQ(post([&] {
                  const int released = factory().ResleseSingletonThread(m_name.c_str(), m_thread);
                  EXPECT_EQ(InvokeInThread(m_thread, [held] {}), CM_ERROR_THREAD_GONE);
                  result.set_value(released);
              }),
              0);
    EXPECT_EQ(result.get_future().get(), 0);
    EXPECT_TRUE(eventually([&] { return GetThreadById(id) == nullptr; }));
    EXPECT_TRUE(eventually([&] { return held.use_count() == 1; }));
    ASSERT_EQ(factory().GetSingletonThread(m_name.c_str(), m_thread), 0);
    EXPECT_EQ(onThread([] { return 3; }), 3);
}

TEST_F(FactoryThreadTest, ManyThreadsPostAtOnce) {
    std::atomic<int> fired{0}, destroyed{0};
    std::vector<std::thread> posters;
    for (int i = 0; i < 4; ++i) {
        posters.emplace_back([&] {
            for (int j = 0; j < 500; ++j)
                m_thread->GetEventQueue()->PostEvent(new CountedEvent(fired, destroyed), 128, 0);
        });
    }
    for (std::thread& poster : posters) poster.join();
    onThread([] { return 0; });
    EXPECT_EQ(fired, 2000);
    EXPECT_EQ(destroyed, 2000);
}

TEST(CmThreadTest, FactoryStandsManyCallersOfOneName) {
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([] {
            for (int j = 0; j < 50; ++j) {
                ACmThread* thread = nullptr;
                ASSERT_EQ(factory().GetSingletonThread("utest-shared", thread), 0);
                std::promise<void> ran;
                ASSERT_EQ(InvokeInThread(thread, [&] { ran.set_value(); }), 0);
                ran.get_future().wait();
                ASSERT_EQ(factory().ResleseSingletonThread("utest-shared", thread), 0);
            }
        });
    }
    for (std::thread& caller : callers) caller.join();
}

}  // namespace
