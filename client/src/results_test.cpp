#include "client/src/Results.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/include/clock.h"

namespace {

using client::Result;
using client::ResultQueue;
using testing::ElementsAre;

Result masked(uint64_t tag) {
    Result result;
    result.tag = tag;
    result.status = ZELCLIENT_MASK;
    result.width = 2;
    result.height = 1;
    result.data.mask = {static_cast<uint8_t>(tag), static_cast<uint8_t>(tag)};
    return result;
}

TEST(ResultQueueTest, PollGivesResultsInOrder) {
    ResultQueue queue(nullptr, nullptr);
    zelclient_result result{};
    EXPECT_FALSE(queue.poll(0, result));
    queue.put(masked(1));
    queue.put(masked(2));
    ASSERT_TRUE(queue.poll(0, result));
    EXPECT_EQ(result.tag, 1u);
    EXPECT_EQ(result.mask[0], 1);
    ASSERT_TRUE(queue.poll(0, result));
    EXPECT_EQ(result.tag, 2u);
    EXPECT_FALSE(queue.poll(0, result));
}

TEST(ResultQueueTest, MaskStaysWhileNewerResultsCome) {
    ResultQueue queue(nullptr, nullptr);
    queue.put(masked(7));
    zelclient_result result{};
    ASSERT_TRUE(queue.poll(0, result));
    for (uint64_t tag = 100; tag < 200; ++tag) {
        Result next = masked(tag);
        next.data = queue.spareData();
        next.data.mask.assign(2, 0xEE);
        queue.put(std::move(next));
    }
    EXPECT_EQ(result.mask[0], 7);
}

TEST(ResultQueueTest, OldestUnpolledResultsFallOutAndAreCounted) {
    ResultQueue queue(nullptr, nullptr);
    for (uint64_t tag = 1; tag <= ResultQueue::kKept + 3; ++tag) queue.put(masked(tag));
    EXPECT_EQ(queue.unread(), 3u);
    zelclient_result result{};
    ASSERT_TRUE(queue.poll(0, result));
    EXPECT_EQ(result.tag, 4u);
    EXPECT_EQ(queue.count(ZELCLIENT_MASK), ResultQueue::kKept + 3);
}

TEST(ResultQueueTest, OnlyAMaskHasBytes) {
    ResultQueue queue(nullptr, nullptr);
    Result lost = masked(1);
    lost.status = ZELCLIENT_FRAME_LOST;
    queue.put(std::move(lost));
    zelclient_result result{};
    ASSERT_TRUE(queue.poll(0, result));
    EXPECT_EQ(result.mask, nullptr);
    EXPECT_EQ(queue.count(ZELCLIENT_FRAME_LOST), 1u);
}

TEST(ResultQueueTest, MemoryOfAReadResultGoesToALaterOneWithoutItsMeaning) {
    ResultQueue queue(nullptr, nullptr);
    Result first = masked(1);
    first.data.ladon = zelclient_ladon{};
    const uint8_t* const memory = first.data.mask.data();
    queue.put(std::move(first));
    queue.put(masked(2));
    zelclient_result result{};
    ASSERT_TRUE(queue.poll(0, result));
    EXPECT_NE(result.ladon, nullptr);
    ASSERT_TRUE(queue.poll(0, result));
    const client::ResultData spare = queue.spareData();
    EXPECT_EQ(spare.mask.data(), memory);
    EXPECT_FALSE(spare.ladon);
}

// Which of the two comes first is chance, so that one round proves nothing.
TEST(ResultQueueTest, FinishWakesAWaitingPoll) {
    for (int round = 0; round < 20; ++round) {
        ResultQueue queue(nullptr, nullptr);
        std::atomic<bool> polls{false};
        bool got = true;
        const uint64_t from = platform::monotonicMicroseconds();
        std::thread waiting([&] {
            zelclient_result result{};
            polls = true;
            got = queue.poll(60000, result);
        });
        while (!polls) std::this_thread::yield();
        for (int turn = 0; turn < 100; ++turn) std::this_thread::yield();
        queue.finish(true);
        waiting.join();
        EXPECT_FALSE(got);
        ASSERT_LT(platform::monotonicMicroseconds() - from, 30000000u);
    }
}

TEST(ResultQueueTest, QueuedResultIsPolledAfterFinish) {
    ResultQueue queue(nullptr, nullptr);
    queue.put(masked(5));
    queue.finish(true);
    zelclient_result result{};
    EXPECT_TRUE(queue.poll(60000, result));
}

TEST(ResultQueueTest, CallbackGetsAllInOrderAndOnlyFromDeliver) {
    std::vector<uint64_t> tags;
    ResultQueue queue(
        [](void* user, const zelclient_result* result) {
            static_cast<std::vector<uint64_t>*>(user)->push_back(result->tag);
        },
        &tags);
    for (uint64_t tag = 1; tag <= 3; ++tag) queue.put(masked(tag));
    EXPECT_TRUE(tags.empty());
    queue.deliver();
    EXPECT_THAT(tags, ElementsAre(1u, 2u, 3u));
    queue.deliver();
    EXPECT_EQ(tags.size(), 3u);
}

TEST(ResultQueueTest, DeliveryEndsAlsoWhenEachCallbackPutsAResult) {
    struct Loop {
        ResultQueue* queue = nullptr;
        int calls = 0;
    } loop;
    ResultQueue queue(
        [](void* user, const zelclient_result*) {
            auto* self = static_cast<Loop*>(user);
            ++self->calls;
            self->queue->put(masked(1));
        },
        &loop);
    loop.queue = &queue;
    queue.put(masked(1));
    queue.put(masked(2));
    queue.deliver();
    EXPECT_EQ(loop.calls, 2);
}

TEST(ResultQueueTest, CallbackKeepsMoreThanPollingDoes) {
    std::vector<uint64_t> tags;
    ResultQueue queue(
        [](void* user, const zelclient_result* result) {
            static_cast<std::vector<uint64_t>*>(user)->push_back(result->tag);
        },
        &tags);
    for (uint64_t tag = 0; tag < 3 * ResultQueue::kKept; ++tag) queue.put(masked(tag));
    queue.deliver();
    EXPECT_EQ(tags.size(), 3 * ResultQueue::kKept);
    EXPECT_EQ(queue.unread(), 0u);
}

}  // namespace
