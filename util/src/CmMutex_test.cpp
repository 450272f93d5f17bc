#include "util/include/CmMutex.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <vector>

namespace {

// The analysis follows scopes; these tests take and give back out of step on purpose.
int lock(CCmMutexThreadBase& mutex) ZEL_NO_THREAD_SAFETY_ANALYSIS {
    return mutex.Lock();
}
int unlock(CCmMutexThreadBase& mutex) ZEL_NO_THREAD_SAFETY_ANALYSIS {
    return mutex.UnLock();
}

class ScriptedMutex : public CCmMutexThreadBase {
  public:
    explicit ScriptedMutex(int lockResult) : m_lockResult(lockResult) {}
    ~ScriptedMutex() override = default;
    int Lock() override {
        ++locks;
        return m_lockResult;
    }
    int UnLock() override {
        ++unlocks;
        return 0;
    }

    int locks = 0;
    int unlocks = 0;

  private:
    const int m_lockResult;
};

TEST(CmMutexTest, IsTakenAgainByItsOwnerAndGivenBackAsOften) {
    CCmMutexThreadRecursive mutex;
    EXPECT_EQ(lock(mutex), 0);
    EXPECT_EQ(lock(mutex), 0);
    EXPECT_EQ(unlock(mutex), 0);
    EXPECT_EQ(unlock(mutex), 0);
    EXPECT_EQ(unlock(mutex), EPERM);
}

TEST(CmMutexTest, UnLockOfAnotherThreadFailsAndKeepsItLocked) {
    CCmMutexThreadRecursive mutex;
    ASSERT_EQ(lock(mutex), 0);
    EXPECT_EQ(std::async(std::launch::async, [&] { return unlock(mutex); }).get(), EPERM);
    EXPECT_EQ(unlock(mutex), 0);
}

TEST(CmMutexTest, IsHeldUntilTheLastUnLock) {
    CCmMutexThreadRecursive mutex;
    bool last = false;
    ASSERT_EQ(lock(mutex), 0);
    ASSERT_EQ(lock(mutex), 0);
    auto other = std::async(std::launch::async, [&] {
        const CCmMutexGuard guard(mutex);
        return last;
    });
    ASSERT_EQ(unlock(mutex), 0);
    EXPECT_EQ(other.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    last = true;
    ASSERT_EQ(unlock(mutex), 0);
    EXPECT_TRUE(other.get());
}

TEST(CmMutexTest, LetsOneThreadInAtATime) {
    CCmMutexThreadRecursive mutex;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 5000; ++j) {
                const CCmMutexGuard guard(mutex);
                ASSERT_EQ(lock(mutex), 0);
                ++counter;
                ASSERT_EQ(unlock(mutex), 0);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, 20000);
}

TEST(CmMutexTest, GuardGivesBackWhatItTook) {
    ScriptedMutex mutex(0);
    {
        const CCmMutexGuard guard(mutex);
        EXPECT_TRUE(guard.locked());
        EXPECT_EQ(mutex.unlocks, 0);
    }
    EXPECT_EQ(mutex.locks, 1);
    EXPECT_EQ(mutex.unlocks, 1);
}

TEST(CmMutexTest, GuardedWorkRunsAfterAFailedLockAndNothingIsGivenBack) {
    ScriptedMutex mutex(11);
    bool worked = false;
    {
        const CCmMutexGuard guard(mutex);
        EXPECT_FALSE(guard.locked());
        worked = true;
    }
    EXPECT_TRUE(worked);
    EXPECT_EQ(mutex.locks, 1);
    EXPECT_EQ(mutex.unlocks, 0);
}

}  // namespace
