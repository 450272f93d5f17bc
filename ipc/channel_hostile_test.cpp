#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <random>
#include <thread>

#include "ipc/channel.h"
#include "ipc/channel_test_support.h"

// What a peer may have done to the mapping: literal damage, garbage, and changes while we work.
namespace ipc {
namespace {

class ChannelHostileTest : public testing::Test {
  protected:
    const QuietOpening quiet;
    bool send(uint32_t value) {
        return writer->write([=](TestRecord& record) { record.fill(value); }, 0);
    }
    bool receive() { return reader->read(nullptr, 0); }

    WatchedKernelObjects objects;
    const std::string name = uniqueName();
    std::shared_ptr<TestChannel> writer = TestChannel::openForWrite(name);
    std::shared_ptr<TestChannel> reader = TestChannel::openForRead(name);
    RawMapping raw{name};
};

TEST_F(ChannelHostileTest, HeadOutsideTheNodesBreaksTheReader) {
    raw.header().filledList.head = 4;
    EXPECT_FALSE(receive());
    EXPECT_TRUE(reader->broken());
    EXPECT_FALSE(writer->broken());
}

TEST_F(ChannelHostileTest, FreeHeadOutsideTheNodesBreaksTheWriter) {
    raw.header().freeList.head = -7;
    EXPECT_FALSE(send(1));
    EXPECT_TRUE(writer->broken());
}

TEST_F(ChannelHostileTest, BrokenWriterReturnsWithoutWaiting) {
    raw.header().freeList.head = 99;
    EXPECT_FALSE(writer->write(nullptr));
    EXPECT_FALSE(writer->write(nullptr));
    EXPECT_EQ(objects.waits(), 0);
}

TEST_F(ChannelHostileTest, BrokenStateOutlivesTheDamage) {
    send(1);
    raw.header().filledList.head = 4;
    EXPECT_FALSE(receive());
    raw.header().filledList.head = 0;
    EXPECT_FALSE(receive());
    EXPECT_TRUE(reader->broken());
}

TEST_F(ChannelHostileTest, BrokenReaderSleepsOnItsEventUntilItIsStopped) {
    raw.header().filledList.head = 4;
    std::thread thread([&] { EXPECT_FALSE(reader->read(nullptr)); });
    objects.awaitWaits(1);
    send(1);  // wakes it: it looks again and goes back to sleep
    objects.awaitWaits(2);
    reader->stop();
    thread.join();
    EXPECT_EQ(objects.waits(), 2);
}

// A peer that sets the events at every wait, a few times only once the time is over, so that a failure is no hang.
TEST_F(ChannelHostileTest, EventsThatAreSetAllTheTimeDoNotProlongTimedCalls) {
    int late = 0;
    objects.beforeWait = [&](platform::Handle event, uint32_t timeoutMs) {
        if (timeoutMs == 0) ++late;
        if (late < 5) platform::systemKernelObjects().setEvent(event);
    };
    for (const uint32_t timeoutMs : {0u, 20u}) {
        late = 0;
        EXPECT_FALSE(reader->read(nullptr, timeoutMs));
        EXPECT_LE(late, 1);
    }
    const auto full = TestChannel::openForWrite(uniqueName());
    for (uint32_t i = 0; i < TestChannel::kSlots; ++i) ASSERT_TRUE(full->write(nullptr, 0));
    for (const uint32_t timeoutMs : {0u, 20u}) {
        late = 0;
        EXPECT_FALSE(full->write(nullptr, timeoutMs));
        EXPECT_LE(late, 1);
    }
}

TEST_F(ChannelHostileTest, TailOutsideTheNodesLosesTheRecordAndBreaksTheWriter) {
    raw.header().filledList.tail = 1 << 30;
    EXPECT_FALSE(send(1));
    EXPECT_TRUE(writer->broken());
}

TEST_F(ChannelHostileTest, NodeThatClaimsAnotherSlotBreaksTheReader) {
    send(1);
    raw.node(0).index = 3;
    EXPECT_FALSE(receive());
    EXPECT_TRUE(reader->broken());
}

TEST_F(ChannelHostileTest, DamageFoundAfterTheCallbackStillDeliversThatRecord) {
    send(1);
    raw.header().freeList.tail = 4;
    int calls = 0;
    EXPECT_TRUE(reader->read([&](const TestRecord&) { ++calls; }, 0));
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(reader->broken());
}

TEST_F(ChannelHostileTest, ListInACircleBreaksTheReader) {
    send(1);
    send(2);
    raw.node(1).next = 0;
    int deliveries = 0;
    // Giving back takes the links apart: they are put together again, as a peer would that wants to be heard for ever.
    while (receive() && deliveries < 1000) {
        ++deliveries;
        raw.node(0).next = 1;
        raw.node(1).next = 0;
        raw.header().filledList.head = 0;
    }
    EXPECT_TRUE(reader->broken());
    EXPECT_LE(deliveries, 11);  // five, one with the event that send has set, five again
}

TEST_F(ChannelHostileTest, PushUnderWayThatNeverEndsLooksLikeAnEmptyChannel) {
    send(1);
    raw.header().filledList.tail = 3;  // as a writer leaves it that is killed at this step
    EXPECT_FALSE(receive());
    EXPECT_FALSE(reader->broken());
}

// All bytes of the lists at random, plausible values more often than not; every call must return.
TEST_F(ChannelHostileTest, GarbageNeverLeavesTheMapping) {
    std::mt19937 random(11);
    const auto word = [&]() -> int32_t {
        return random() % 4 == 0 ? static_cast<int32_t>(random()) : static_cast<int32_t>(random() % 6) - 1;
    };
    for (int round = 0; round < 500; ++round) {
        const std::string channelName = uniqueName();
        const auto out = TestChannel::openForWrite(channelName);
        const auto in = TestChannel::openForRead(channelName);
        RawMapping bytes(channelName);
        for (size_t i = 0; i < TestChannel::kSlotsOffset / 4; ++i) {
            const int32_t value = word();
            std::memcpy(bytes.bytes() + 4 * i, &value, sizeof(value));
        }
        for (int i = 0; i < 4 && random() % 2 == 0; ++i) bytes.node(i).index = i;
        for (int step = 0; step < 40; ++step) {
            if (random() % 2 == 0) {
                out->write([](TestRecord& record) { record.fill(1); }, 0);
            } else {
                in->read([](const TestRecord&) {}, 0);
            }
        }
    }
}

TEST_F(ChannelHostileTest, WordsThatChangeAllTheTimeDoNoHarm) {
    std::atomic<bool> stop{false};
    std::thread vandal([&] {
        std::mt19937 random(5);
        auto* words = reinterpret_cast<int32_t*>(raw.bytes());
        while (!stop) {
            std::atomic_ref(words[random() % (TestChannel::kSlotsOffset / 4)])
                .store(static_cast<int32_t>(random() % 6) - 1);
        }
    });
    for (int round = 0; round < 200; ++round) {
        const auto out = TestChannel::openForWrite(name);
        const auto in = TestChannel::openForRead(name);
        for (int step = 0; step < 50; ++step) {
            out->write([](TestRecord& record) { record.fill(1); }, 0);
            in->read([](const TestRecord&) {}, 0);
        }
    }
    stop = true;
    vandal.join();
}

}  // namespace
}  // namespace ipc
