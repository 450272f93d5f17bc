#include "platform/include/kernel_objects.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/include/clock.h"
#include "platform/include/thread.h"

namespace platform {
namespace {

class KernelObjectsTest : public testing::Test {
  protected:
    static std::string uniqueName() {
        static int count = 0;
        return "zelhostplatform" + std::to_string(currentProcessId()) + "_" + std::to_string(count++);
    }

    KernelObjects& objects = systemKernelObjects();
    const std::string name = uniqueName();
};

using EventTest = KernelObjectsTest;
using MappingTest = KernelObjectsTest;

TEST_F(EventTest, NewEventIsNotSet) {
    const Handle event = objects.createEvent(name.c_str());
    ASSERT_TRUE(event);
    EXPECT_EQ(objects.waitEvent(event, 0), WaitResult::kTimeout);
    EXPECT_EQ(objects.waitEvent(event, 5), WaitResult::kTimeout);
    objects.closeEvent(event);
}

TEST_F(EventTest, SetStaysUntilOneWaitHasTakenIt) {
    const Handle event = objects.createEvent(name.c_str());
    objects.setEvent(event);
    objects.setEvent(event);
    EXPECT_EQ(objects.waitEvent(event, kInfinite), WaitResult::kSignalled);
    EXPECT_EQ(objects.waitEvent(event, 0), WaitResult::kTimeout);
    objects.closeEvent(event);
}

TEST_F(EventTest, SetWakesASleeper) {
    const Handle event = objects.createEvent(name.c_str());
    std::thread sleeper([&] { EXPECT_EQ(objects.waitEvent(event, kInfinite), WaitResult::kSignalled); });
    objects.setEvent(event);
    sleeper.join();
    objects.closeEvent(event);
}

TEST_F(EventTest, SetOnceStaysUntilOneWaitHasTakenIt) {
    const Handle event = objects.createEvent(name.c_str());
    objects.setEventOnce(event);
    objects.setEventOnce(event);
    EXPECT_EQ(objects.waitEvent(event, kInfinite), WaitResult::kSignalled);
    EXPECT_EQ(objects.waitEvent(event, 0), WaitResult::kTimeout);
    objects.closeEvent(event);
}

// Two steps at a time, since one set may stand for both; then the other side's word that it has seen them.
TEST_F(EventTest, SetOnceLosesNoWake) {
    constexpr uint32_t kSteps = 20000;
    const Handle stepped = objects.createEvent(name.c_str());
    const Handle seen = objects.createEvent(uniqueName().c_str());
    std::atomic<uint32_t> steps{0};
    std::thread sleeper([&] {
        for (uint32_t awaited = 2; awaited <= kSteps; awaited += 2) {
            while (steps != awaited) EXPECT_EQ(objects.waitEvent(stepped, kInfinite), WaitResult::kSignalled);
            objects.setEventOnce(seen);
        }
    });
    while (steps != kSteps) {
        for (int i = 0; i < 2; ++i) {
            ++steps;
            objects.setEventOnce(stepped);
        }
        EXPECT_EQ(objects.waitEvent(seen, kInfinite), WaitResult::kSignalled);
    }
    sleeper.join();
    objects.closeEvent(seen);
    objects.closeEvent(stepped);
}

TEST_F(EventTest, EachSetReleasesAtMostOneWaiter) {
    const Handle event = objects.createEvent(name.c_str());
    std::mutex mutex;
    std::condition_variable changed;
    int released = 0;
    std::vector<std::thread> waiters;
    waiters.reserve(3);
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] {
            EXPECT_EQ(objects.waitEvent(event, kInfinite), WaitResult::kSignalled);
            const std::lock_guard lock(mutex);
            ++released;
            changed.notify_all();
        });
    }
    for (int i = 0; i < 3; ++i) {
        std::unique_lock lock(mutex);
        EXPECT_EQ(released, i);
        objects.setEvent(event);
        changed.wait(lock, [&] { return released > i; });
    }
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(objects.waitEvent(event, 0), WaitResult::kTimeout);
    objects.closeEvent(event);
}

TEST_F(EventTest, WaitEndsAfterItsTime) {
    const Handle event = objects.createEvent(name.c_str());
    const uint64_t before = monotonicMicroseconds();
    EXPECT_EQ(objects.waitEvent(event, 30), WaitResult::kTimeout);
    EXPECT_GE(monotonicMicroseconds() - before, 29000u);
    objects.closeEvent(event);
}

TEST_F(EventTest, SameNameIsTheSameEvent) {
    const Handle first = objects.createEvent(name.c_str());
    const Handle second = objects.createEvent(name.c_str());
    objects.setEvent(first);
    objects.closeEvent(first);
    EXPECT_EQ(objects.waitEvent(second, 0), WaitResult::kSignalled);
    objects.closeEvent(second);
}

TEST_F(EventTest, StateIsGoneWithTheLastHandle) {
    const Handle first = objects.createEvent(name.c_str());
    objects.setEvent(first);
    objects.closeEvent(first);
    const Handle second = objects.createEvent(name.c_str());
    EXPECT_EQ(objects.waitEvent(second, 0), WaitResult::kTimeout);
    objects.closeEvent(second);
}

TEST_F(MappingTest, MissingMappingIsNotOpened) {
    EXPECT_EQ(objects.openMapping(name.c_str(), 100), nullptr);
    EXPECT_EQ(objects.lastError(), 2u);
    EXPECT_NE(objects.lastErrorText().find(name), std::string::npos);
}

TEST_F(MappingTest, NewMappingBeginsWithItsContentAndIsZeroBehind) {
    constexpr size_t kBytes = 100000;
    const Handle mapping = objects.createMapping(name.c_str(), kBytes, "abc", 3);
    ASSERT_TRUE(mapping);
    auto* view = static_cast<char*>(objects.mapView(mapping, kBytes));
    ASSERT_TRUE(view);
    EXPECT_EQ(std::memcmp(view, "abc", 3), 0);
    for (size_t i = 3; i < kBytes; ++i) ASSERT_EQ(view[i], 0) << i;
    objects.unmapView(view, kBytes);
    objects.closeMapping(mapping);
}

TEST_F(MappingTest, ExistingMappingKeepsItsContent) {
    const Handle first = objects.createMapping(name.c_str(), 64, "one", 3);
    const Handle second = objects.createMapping(name.c_str(), 64, "two", 3);
    ASSERT_TRUE(first && second);
    auto* view = static_cast<char*>(objects.mapView(second, 64));
    EXPECT_EQ(std::memcmp(view, "one", 3), 0);
    objects.unmapView(view, 64);
    objects.closeMapping(first);
    objects.closeMapping(second);
}

TEST_F(MappingTest, HandlesOfOneNameShareTheirBytes) {
    const Handle first = objects.createMapping(name.c_str(), 64, "", 0);
    const Handle second = objects.openMapping(name.c_str(), 64);
    ASSERT_TRUE(first && second);
    auto* one = static_cast<char*>(objects.mapView(first, 64));
    auto* two = static_cast<char*>(objects.mapView(second, 64));
    one[63] = 'x';
    EXPECT_EQ(two[63], 'x');
    objects.closeMapping(first);
    objects.unmapView(one, 64);
    two[0] = 'y';
    const Handle third = objects.openMapping(name.c_str(), 64);
    EXPECT_TRUE(third);
    objects.unmapView(two, 64);
    objects.closeMapping(second);
    objects.closeMapping(third);
    EXPECT_EQ(objects.openMapping(name.c_str(), 64), nullptr);
}

TEST_F(MappingTest, SmallerMappingIsRefusedWithItsName) {
    const Handle small = objects.createMapping(name.c_str(), 4096, "", 0);
    EXPECT_EQ(objects.openMapping(name.c_str(), 1 << 20), nullptr);
    EXPECT_NE(objects.lastErrorText().find(name), std::string::npos);
    EXPECT_EQ(objects.createMapping(name.c_str(), 1 << 20, "", 0), nullptr);
    const Handle again = objects.openMapping(name.c_str(), 4096);
    EXPECT_TRUE(again);
    objects.closeMapping(again);
    objects.closeMapping(small);
}

TEST_F(KernelObjectsTest, SweepLeavesOpenObjectsAlone) {
    const Handle mapping = objects.createMapping(name.c_str(), 64, "", 0);
    sweepAbandonedObjects();
    const Handle again = objects.openMapping(name.c_str(), 64);
    EXPECT_TRUE(again);
    objects.closeMapping(again);
    objects.closeMapping(mapping);
}

TEST_F(KernelObjectsTest, ReplacementIsInForceUntilTheSystemsIsPutBack) {
    class Failing final : public KernelObjects {
      public:
        Handle createEvent(const char*) override { return nullptr; }
        void setEvent(Handle) override {}
        WaitResult waitEvent(Handle, uint32_t) override { return WaitResult::kFailed; }
        void closeEvent(Handle) override {}
        Handle openMapping(const char*, size_t) override { return nullptr; }
        Handle createMapping(const char*, size_t, const void*, size_t) override { return nullptr; }
        void* mapView(Handle, size_t) override { return nullptr; }
        void unmapView(void*, size_t) override {}
        void closeMapping(Handle) override {}
        uint32_t lastError() override { return 77; }
        std::string lastErrorText() override { return "replaced"; }
    } failing;
    replaceKernelObjects(&failing);
    EXPECT_EQ(kernelObjects().lastError(), 77u);
    EXPECT_EQ(&systemKernelObjects(), &objects);
    replaceKernelObjects(nullptr);
    EXPECT_EQ(&kernelObjects(), &objects);
}

}  // namespace
}  // namespace platform
