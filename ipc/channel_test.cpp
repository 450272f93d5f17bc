#include "ipc/channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <future>
#include <random>

#include "ipc/channel_plain_lists.h"
#include "ipc/channel_test_support.h"
#include "platform/filter_stack.h"

namespace ipc {
namespace {

using testing::ElementsAre;

class ChannelTest : public testing::Test {
  protected:
    const QuietOpening quiet;
    bool send(uint32_t value, uint32_t timeoutMs = platform::kInfinite) {
        return writer->write([=](TestRecord& record) { record.fill(value); }, timeoutMs);
    }
    void fillAllSlots() {
        for (uint32_t i = 0; i < TestChannel::kSlots; ++i) ASSERT_TRUE(send(i));
    }
    // The next record's number, -1 when there is none, -2 when it is damaged.
    int64_t receive(uint32_t timeoutMs = 0) {
        int64_t number = -1;
        reader->read(
            [&](const TestRecord& record) { number = record.holds(record.number) ? int64_t{record.number} : -2; },
            timeoutMs);
        return number;
    }

    WatchedKernelObjects objects;
    const std::string name = uniqueName();
    std::shared_ptr<TestChannel> writer = TestChannel::openForWrite(name);
    std::shared_ptr<TestChannel> reader = TestChannel::openForRead(name);
};

TEST_F(ChannelTest, RecordsArriveInOrder) {
    for (uint32_t i = 0; i < 1000; ++i) {
        ASSERT_TRUE(send(2 * i));
        ASSERT_TRUE(send(2 * i + 1));
        ASSERT_EQ(receive(), 2 * i);
        ASSERT_EQ(receive(), 2 * i + 1);
    }
    EXPECT_EQ(receive(), -1);
}

TEST_F(ChannelTest, RecordIsUsedInPlace) {
    const TestRecord* written = nullptr;
    const TestRecord* read = nullptr;
    RawMapping raw(name);
    writer->write([&](TestRecord& record) {
        written = &record;
        record.fill(5);
    });
    EXPECT_TRUE(reinterpret_cast<const TestRecord*>(raw.bytes() + TestChannel::kSlotsOffset)->holds(5));
    reader->read([&](const TestRecord& record) { read = &record; });
    EXPECT_NE(written, nullptr);
    EXPECT_NE(read, nullptr);
}

TEST_F(ChannelTest, EmptyCallbacksMoveSlotsOnly) {
    EXPECT_TRUE(writer->write(nullptr));
    EXPECT_TRUE(reader->read(nullptr));
    EXPECT_EQ(receive(), -1);
}

TEST_F(ChannelTest, EmptyStoppedReadReturnsFalseWithoutWaiting) {
    reader->stop();
    EXPECT_FALSE(reader->read(nullptr));
    EXPECT_EQ(objects.waits(), 0);
}

TEST_F(ChannelTest, QueuedRecordIsDeliveredAfterStop) {
    send(1);
    reader->stop();
    EXPECT_EQ(receive(), 1);
    EXPECT_EQ(receive(platform::kInfinite), -1);
}

TEST_F(ChannelTest, WriteAfterStopTakesNoSlot) {
    RawMapping raw(name);
    const auto before = raw.copy();
    writer->stop();
    bool filled = false;
    EXPECT_FALSE(writer->write([&](TestRecord&) { filled = true; }));
    EXPECT_FALSE(filled);
    EXPECT_EQ(raw.copy(), before);
}

TEST_F(ChannelTest, WriteOnAReaderWaitsUntilItIsStopped) {
    bool filled = false;
    std::thread thread([&] { EXPECT_FALSE(reader->write([&](TestRecord&) { filled = true; })); });
    objects.awaitWaits(1);
    send(1);
    EXPECT_EQ(receive(), 1);  // sets the event on which that write waits: it goes on waiting
    objects.awaitWaits(2);
    reader->stop();
    thread.join();
    EXPECT_FALSE(filled);
}

TEST_F(ChannelTest, ReadOnAWriterReturnsFalseAtOnce) {
    send(1);
    EXPECT_FALSE(writer->read(nullptr));
    EXPECT_EQ(objects.waits(), 0);
}

TEST_F(ChannelTest, WriteToAFullChannelBlocksUntilARead) {
    fillAllSlots();
    std::thread thread([&] { EXPECT_TRUE(send(4)); });
    objects.awaitWaits(1);
    EXPECT_EQ(receive(), 0);
    thread.join();
    for (uint32_t i = 1; i <= 4; ++i) EXPECT_EQ(receive(), i);
}

TEST_F(ChannelTest, TimedWriteToAFullChannelGivesUp) {
    fillAllSlots();
    EXPECT_FALSE(send(4, 0));
    EXPECT_FALSE(send(4, 20));
    EXPECT_EQ(receive(), 0);
    EXPECT_TRUE(send(4, 0));
}

TEST_F(ChannelTest, TimedWriteIsNotHeldUpByABlockedWriter) {
    fillAllSlots();
    std::thread thread([&] { EXPECT_FALSE(send(4)); });
    objects.awaitWaits(1);
    EXPECT_FALSE(send(5, 20));
    writer->stop();
    thread.join();
}

TEST_F(ChannelTest, StopReleasesEveryBlockedWriter) {
    fillAllSlots();
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) threads.emplace_back([&] { EXPECT_FALSE(send(9)); });
    objects.awaitWaits(1);
    writer->stop();
    for (std::thread& thread : threads) thread.join();
}

TEST_F(ChannelTest, StopReleasesABlockedReader) {
    std::thread thread([&] { EXPECT_FALSE(reader->read(nullptr)); });
    objects.awaitWaits(1);
    reader->stop();
    thread.join();
}

TEST_F(ChannelTest, StopReleasesAReaderWhoseRecordCameWithoutItsSet) {
    std::thread thread([&] { EXPECT_FALSE(reader->read(nullptr)); });
    objects.awaitWaits(1);
    objects.loseSets = true;
    send(7);
    reader->stop();
    thread.join();
}

TEST_F(ChannelTest, TimedReadGivesUp) {
    EXPECT_FALSE(reader->read(nullptr, 0));
    EXPECT_FALSE(reader->read(nullptr, 20));
}

TEST_F(ChannelTest, RecordThatComesAfterTheLastLookOfATimedReadIsDelivered) {
    bool sent = false;
    objects.beforeWait = [&](platform::Handle, uint32_t) {
        if (!sent) sent = send(7);
    };
    EXPECT_EQ(receive(0), 7);
}

TEST_F(ChannelTest, SlotThatComesFreeAfterTheLastLookOfATimedWriteIsUsed) {
    fillAllSlots();
    bool taken = false;
    objects.beforeWait = [&](platform::Handle, uint32_t) {
        if (!taken) taken = receive() == 0;
    };
    EXPECT_TRUE(send(4, 0));
    for (uint32_t i = 1; i <= 4; ++i) EXPECT_EQ(receive(), i);
}

// The stop comes between the reader's last look and its wait, which takes the event.
TEST_F(ChannelTest, ReaderThatIsStoppedAtItsWaitStaysIntact) {
    fillAllSlots();
    for (uint32_t i = 0; i < TestChannel::kSlots; ++i) EXPECT_EQ(receive(), i);
    send(4);
    EXPECT_EQ(receive(), 4);
    objects.beforeWait = [this](platform::Handle, uint32_t) { reader->stop(); };
    EXPECT_EQ(receive(platform::kInfinite), -1);
    objects.beforeWait = nullptr;
    objects.loseSets = true;  // as between a writer's push and its set
    send(5);
    EXPECT_EQ(receive(), 5);
    EXPECT_FALSE(reader->broken());
}

TEST_F(ChannelTest, BlockedReadIsWokenByAWrite) {
    std::thread thread([&] { EXPECT_EQ(receive(platform::kInfinite), 7); });
    objects.awaitWaits(1);
    send(7);
    thread.join();
}

TEST_F(ChannelTest, SeveralThreadsMayWriteOneChannel) {
    constexpr uint32_t kThreads = 4;
    constexpr uint32_t kEach = 2000;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (uint32_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (uint32_t i = 0; i < kEach; ++i) send(t * kEach + i);
        });
    }
    std::vector<uint32_t> next(kThreads, 0);
    for (uint32_t i = 0; i < kThreads * kEach; ++i) {
        const int64_t number = receive(platform::kInfinite);
        EXPECT_GE(number, 0);
        const auto sender = static_cast<size_t>(number) / kEach;
        EXPECT_EQ(number % kEach, next[sender]++);
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(receive(), -1);
}

TEST_F(ChannelTest, FreshMappingHoldsAllSlotsFree) {
    RawMapping raw(name);
    EXPECT_EQ(raw.header().freeList.head, 0);
    EXPECT_EQ(raw.header().freeList.tail, 3);
    EXPECT_EQ(raw.header().filledList.head, -1);
    EXPECT_EQ(raw.header().filledList.tail, -1);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(raw.node(i).next, i == 3 ? -1 : i + 1);
        EXPECT_EQ(raw.node(i).prev, i - 1);
        EXPECT_EQ(raw.node(i).index, i);
    }
    const auto bytes = raw.copy();
    EXPECT_TRUE(
        std::all_of(bytes.begin() + TestChannel::kSlotsOffset, bytes.end(), [](uint8_t byte) { return byte == 0; }));
    for (const size_t padding : {8, 9, 10, 11, 20, 21, 22, 23}) EXPECT_EQ(bytes[padding], 0);
}

// Random writes and reads against a model that runs the plain order on bytes of its own.
TEST_F(ChannelTest, MappingAtRestEqualsThePlainModel) {
    RawMapping raw(name);
    std::vector<uint8_t> model = raw.copy();
    auto& header = *reinterpret_cast<ChannelHeader*>(model.data());
    PlainLists<> lists(reinterpret_cast<ChannelNode*>(model.data() + sizeof(ChannelHeader)), 4);
    const auto slot = [&](int32_t node) {
        return model.data() + TestChannel::kSlotsOffset + static_cast<size_t>(node) * sizeof(TestRecord);
    };
    std::mt19937 random(3);
    for (uint32_t step = 0; step < 5000; ++step) {
        if (random() % 2 == 0) {
            const int32_t node = lists.pop(header.freeList);
            ASSERT_EQ(send(step, 0), node != kNoNode);
            if (node == kNoNode) continue;
            TestRecord record;
            record.fill(step);
            std::memcpy(slot(node), &record, sizeof(record));
            lists.push(node, header.filledList);
        } else {
            const int32_t node = lists.pop(header.filledList);
            const int64_t number = receive();
            ASSERT_EQ(number >= 0, node != kNoNode);
            if (node == kNoNode) continue;
            ASSERT_TRUE(reinterpret_cast<const TestRecord*>(slot(node))->holds(static_cast<uint32_t>(number)));
            lists.push(node, header.freeList);
        }
        ASSERT_EQ(raw.copy(), model) << "after step " << step;
    }
}

TEST_F(ChannelTest, ExistingMappingIsUsedAsFound) {
    send(1);
    send(2);
    RawMapping raw(name);
    const auto before = raw.copy();
    reader.reset();
    const auto second = TestChannel::openForRead(name);
    ASSERT_TRUE(second);
    EXPECT_EQ(raw.copy(), before);
    reader = second;
    EXPECT_EQ(receive(), 1);
    EXPECT_EQ(receive(), 2);
}

TEST_F(ChannelTest, ContentsAreGoneWhenBothSidesHaveClosed) {
    send(1);
    writer.reset();
    reader.reset();
    EXPECT_FALSE(RawMapping(name).exists());
    reader = TestChannel::openForRead(name);
    EXPECT_EQ(receive(), -1);
}

TEST_F(ChannelTest, ContentsSurviveTheirWriter) {
    send(1);
    writer.reset();
    EXPECT_EQ(receive(), 1);
}

TEST_F(ChannelTest, ChannelMayBeDestroyedInItsOwnCallback) {
    send(1);
    send(2);
    TestChannel* const raw = reader.get();
    EXPECT_TRUE(raw->read([&](const TestRecord&) { reader.reset(); }));
    EXPECT_EQ(reader, nullptr);
    RawMapping mapping(name);
    EXPECT_EQ(mapping.header().freeList.tail, 3);  // the slot was not given back
}

TEST_F(ChannelTest, ChannelMayBeClosedInItsOwnCallback) {
    send(1);
    EXPECT_TRUE(reader->read([&](const TestRecord&) { reader->close(); }));
    EXPECT_FALSE(reader->read(nullptr));
}

TEST_F(ChannelTest, ClosedChannelRefusesBothSides) {
    send(1);
    writer->close();
    reader->close();
    EXPECT_FALSE(send(2));
    EXPECT_EQ(receive(platform::kInfinite), -1);
    EXPECT_EQ(objects.openObjects(), 0);
}

TEST_F(ChannelTest, CallbackCopiesAreDestroyedBeforeTheCallReturns) {
    const auto token = std::make_shared<int>();
    writer->write([token](TestRecord&) {});
    EXPECT_EQ(token.use_count(), 1);
    reader->read([token](const TestRecord&) {});
    EXPECT_EQ(token.use_count(), 1);
    reader->read([token](const TestRecord&) {}, 0);
    EXPECT_EQ(token.use_count(), 1);
    writer->read([token](const TestRecord&) {}, 0);
    EXPECT_EQ(token.use_count(), 1);
    writer->stop();
    writer->write([token](TestRecord&) {});
    EXPECT_EQ(token.use_count(), 1);
}

TEST_F(ChannelTest, IntactChannelIsNotBroken) {
    for (uint32_t i = 0; i < 100; ++i) {
        while (send(i, 0)) {
        }
        while (receive() >= 0) {
        }
    }
    EXPECT_FALSE(writer->broken());
    EXPECT_FALSE(reader->broken());
}

class ChannelOpenTest : public testing::Test {
  protected:
    const QuietOpening quiet;
    WatchedKernelObjects objects;
    const std::string name = uniqueName();
};

TEST_F(ChannelOpenTest, ObjectsAreOpenedInOrder) {
    const auto first = TestChannel::openForRead(name);
    EXPECT_THAT(objects.calls(), ElementsAre("event " + name + "_evt_avl", "event " + name + "_evt_fld",
                                             "open " + name + "_shm", "create " + name + "_shm"));
    const auto second = TestChannel::openForWrite(name);
    EXPECT_EQ(objects.calls().back(), "open " + name + "_shm");
}

TEST_F(ChannelOpenTest, FailedAvailableEventCreatesNothingElse) {
    objects.failEvent = name + "_evt_avl";
    EXPECT_EQ(TestChannel::openForRead(name), nullptr);
    EXPECT_THAT(objects.calls(), ElementsAre("event " + name + "_evt_avl"));
    EXPECT_EQ(objects.openObjects(), 0);
}

TEST_F(ChannelOpenTest, FailedFilledEventCreatesNoMapping) {
    objects.failEvent = name + "_evt_fld";
    EXPECT_EQ(TestChannel::openForWrite(name), nullptr);
    EXPECT_THAT(objects.calls(), ElementsAre("event " + name + "_evt_avl", "event " + name + "_evt_fld"));
    EXPECT_EQ(objects.openObjects(), 0);
}

TEST_F(ChannelOpenTest, FailedCreationLetsGoOfTheEvents) {
    objects.failCreateMapping = true;
    EXPECT_EQ(TestChannel::openForWrite(name), nullptr);
    EXPECT_EQ(objects.openObjects(), 0);
}

TEST_F(ChannelOpenTest, FailedViewOfAnExistingMappingFallsBackToCreation) {
    const auto first = TestChannel::openForRead(name);
    objects.failViews = 1;
    EXPECT_NE(TestChannel::openForWrite(name), nullptr);
    EXPECT_EQ(objects.calls().back(), "create " + name + "_shm");
}

TEST_F(ChannelOpenTest, FailedViewsFailTheOpening) {
    objects.failViews = 2;
    EXPECT_EQ(TestChannel::openForRead(name), nullptr);
    EXPECT_EQ(objects.openObjects(), 0);
}

TEST_F(ChannelOpenTest, SmallerMappingOfTheNameIsRefused) {
    const auto small = channel<TestRecord, 1>::openForRead(name);
    ASSERT_TRUE(small);
    EXPECT_EQ((channel<TestRecord, 64>::openForRead(name)), nullptr);
    EXPECT_NE(platform::kernelObjects().lastErrorText().find(name + "_shm"), std::string::npos);
}

TEST_F(ChannelOpenTest, MissingMappingPrintsTheErrorNumber) {
    printOpenErrors(true);
    testing::internal::CaptureStdout();
    const auto first = TestChannel::openForRead(name);
    const auto second = TestChannel::openForRead(name);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "2");  // "no such file" on both systems, once
}

class ChannelListenerTest : public ChannelTest {};

TEST_F(ChannelListenerTest, DeliversOnItsOwnThread) {
    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<uint32_t> numbers;
    ChannelListener<TestChannel> listener;
    listener.start(reader, [&](const TestRecord& record) {
        const std::lock_guard lock(mutex);
        numbers.push_back(record.number);
        arrived.notify_all();
    });
    for (uint32_t i = 0; i < 10; ++i) EXPECT_TRUE(send(i));
    std::unique_lock lock(mutex);
    arrived.wait(lock, [&] { return numbers.size() == 10; });
    EXPECT_THAT(numbers, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9));
}

TEST_F(ChannelListenerTest, ThreadCanTellOfAStackThatHasRunOut) {
    std::promise<size_t> room;
    ChannelListener<TestChannel> listener;
    listener.start(reader, [&](const TestRecord&) { room.set_value(platform::test::stackForFilter()); });
    EXPECT_TRUE(send(1));
    EXPECT_GE(room.get_future().get(), 24u * 1024);
}

TEST_F(ChannelListenerTest, StopLetsTheChannelGo) {
    ChannelListener<TestChannel> listener;
    listener.start(reader, nullptr);
    objects.awaitWaits(1);
    EXPECT_EQ(reader.use_count(), 2);
    listener.stop();
    EXPECT_EQ(reader.use_count(), 1);
    listener.stop();
    EXPECT_FALSE(reader->read(nullptr));
}

TEST_F(ChannelListenerTest, StopDuringACallbackWaitsForIt) {
    std::promise<void> inside, gate;
    std::atomic<bool> left{false};
    ChannelListener<TestChannel> listener;
    listener.start(reader, [&](const TestRecord&) {
        inside.set_value();
        gate.get_future().wait();
        left = true;
    });
    send(1);
    inside.get_future().wait();
    auto stopped = std::async(std::launch::async, [&] {
        listener.stop();
        EXPECT_TRUE(left);
    });
    EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    gate.set_value();
    stopped.get();
}

TEST_F(ChannelListenerTest, WithoutAChannelNoThreadStarts) {
    ChannelListener<TestChannel> listener;
    listener.start(nullptr, [](const TestRecord&) { FAIL(); });
    listener.stop();
}

TEST_F(ChannelListenerTest, SecondStartEndsTheFirstRun) {
    const auto other = TestChannel::openForRead(uniqueName());
    ChannelListener<TestChannel> listener;
    listener.start(reader, nullptr);
    listener.start(other, nullptr);
    EXPECT_EQ(reader.use_count(), 1);
    EXPECT_EQ(other.use_count(), 2);
}

TEST_F(ChannelListenerTest, CallbackIsDestroyedWithItsRun) {
    const auto token = std::make_shared<int>();
    ChannelListener<TestChannel> listener;
    listener.start(reader, [token](const TestRecord&) {});
    listener.stop();
    EXPECT_EQ(token.use_count(), 1);
}

}  // namespace
}  // namespace ipc
