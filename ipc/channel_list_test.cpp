#include "ipc/channel_list.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "ipc/channel_plain_lists.h"

namespace ipc {
namespace {

// Header and nodes of a fresh mapping: all slots free, in order.
struct Words {
    explicit Words(int32_t count) : header{{0, count - 1, 0, {}}, {kNoNode, kNoNode, 0, {}}} {
        for (int32_t i = 0; i < count; ++i) nodes.push_back({i + 1 == count ? kNoNode : i + 1, i - 1, i});
    }
    int32_t count() const { return static_cast<int32_t>(nodes.size()); }
    ChannelLists<> lists() { return ChannelLists<>(nodes.data(), count()); }
    ChannelNode& node(int32_t i) { return nodes[static_cast<size_t>(i)]; }

    bool operator==(const Words& other) const {
        return std::memcmp(&header, &other.header, sizeof(header)) == 0 &&
               std::memcmp(nodes.data(), other.nodes.data(), nodes.size() * sizeof(ChannelNode)) == 0;
    }

    ChannelHeader header;
    std::vector<ChannelNode> nodes;
};

TEST(ChannelListTest, NodesLeaveInTheOrderInWhichTheyCame) {
    Words words(3);
    auto lists = words.lists();
    for (const int32_t node : {2, 0, 1}) EXPECT_TRUE(lists.push(node, words.header.filledList));
    EXPECT_EQ(lists.pop(words.header.filledList), 2);
    EXPECT_EQ(lists.pop(words.header.filledList), 0);
    EXPECT_EQ(lists.pop(words.header.filledList), 1);
    EXPECT_EQ(lists.pop(words.header.filledList), kNoNode);
}

TEST(ChannelListTest, EmptyListHasNeitherHeadNorTail) {
    Words words(1);
    EXPECT_EQ(words.lists().pop(words.header.freeList), 0);
    EXPECT_EQ(words.header.freeList.head, kNoNode);
    EXPECT_EQ(words.header.freeList.tail, kNoNode);
}

TEST(ChannelListTest, OperationsClearBusy) {
    Words words(2);
    words.header.freeList.busy = 1;
    words.header.filledList.busy = 1;
    words.lists().push(words.lists().pop(words.header.freeList), words.header.filledList);
    EXPECT_EQ(words.header.freeList.busy, 0);
    EXPECT_EQ(words.header.filledList.busy, 0);
}

// Both lists, as a writer and a reader use them, in random order; after each operation all bytes are compared.
TEST(ChannelListTest, BytesAtRestAreThoseOfThePlainOrder) {
    std::mt19937 random(7);
    for (const int32_t count : {1, 2, 3, 16}) {
        Words ours(count);
        Words plain(count);
        auto ourLists = ours.lists();
        PlainLists<> plainLists(plain.nodes.data(), count);
        std::vector<int32_t> held[2];  // taken from freeList, from filledList
        for (int step = 0; step < 20000; ++step) {
            const bool writes = random() % 2 == 0;
            auto& mine = held[writes ? 0 : 1];
            if (random() % 2 == 0) {
                const int32_t node = ourLists.pop(writes ? ours.header.freeList : ours.header.filledList);
                ASSERT_EQ(node, plainLists.pop(writes ? plain.header.freeList : plain.header.filledList));
                if (node != kNoNode) mine.push_back(node);
            } else if (!mine.empty()) {
                ASSERT_TRUE(ourLists.push(mine.back(), writes ? ours.header.filledList : ours.header.freeList));
                plainLists.push(mine.back(), writes ? plain.header.filledList : plain.header.freeList);
                mine.pop_back();
            }
            ASSERT_TRUE(ours == plain) << "after step " << step;
        }
    }
}

TEST(ChannelListTest, PopOfAHeadOutsideTheNodesIsBroken) {
    for (const int32_t head : {3, -2, INT32_MAX, INT32_MIN}) {
        Words words(3);
        words.header.freeList.head = head;
        EXPECT_EQ(words.lists().pop(words.header.freeList), kBrokenList) << head;
    }
}

TEST(ChannelListTest, PopOfANodeWhoseNextLiesOutsideIsBroken) {
    for (const int32_t next : {3, -2, INT32_MAX, INT32_MIN}) {
        Words words(3);
        words.node(0).next = next;
        EXPECT_EQ(words.lists().pop(words.header.freeList), kBrokenList) << next;
    }
}

TEST(ChannelListTest, PopOfANodeThatIsNotAtItsPlaceIsBroken) {
    Words words(3);
    words.node(0).index = 1;
    EXPECT_EQ(words.lists().pop(words.header.freeList), kBrokenList);
}

TEST(ChannelListTest, PopWhilePushIsUnderWayFindsNothing) {
    Words words(3);
    words.lists().push(1, words.header.filledList);
    words.header.filledList.tail = 2;  // a push has taken the tail and not yet linked its node
    EXPECT_EQ(words.lists().pop(words.header.filledList), kNoNode);
    EXPECT_EQ(words.header.filledList.head, 1);
    words.node(1).next = 2;
    EXPECT_EQ(words.lists().pop(words.header.filledList), 1);
}

TEST(ChannelListTest, PushBehindATailOutsideTheNodesIsBroken) {
    for (const int32_t tail : {3, -2, INT32_MAX, INT32_MIN}) {
        Words words(3);
        words.header.filledList.tail = tail;
        EXPECT_FALSE(words.lists().push(0, words.header.filledList)) << tail;
    }
}

TEST(ChannelListTest, PushOfANodeThatIsNotAtItsPlaceIsBroken) {
    Words words(3);
    words.node(0).index = 7;
    EXPECT_FALSE(words.lists().push(0, words.header.filledList));
}

// A tail that changes whenever one looks.
struct RestlessTail : MappedWords {
    int* exchanges;
    bool compareExchange(int32_t&, int32_t, int32_t) const {
        ++*exchanges;
        return false;
    }
};

TEST(ChannelListTest, PushGivesUpAfter64FailedExchanges) {
    Words words(3);
    int exchanges = 0;
    RestlessTail restless;
    restless.exchanges = &exchanges;
    ChannelLists<RestlessTail> lists(words.nodes.data(), 3, restless);
    EXPECT_FALSE(lists.push(0, words.header.filledList));
    EXPECT_EQ(exchanges, 64);
}

TEST(DeliveryCountTest, OneMoreThanAllNodesIsPossibleWithoutAnEvent) {
    DeliveryCount count;
    int asked = 0;
    const auto notSet = [&] {
        ++asked;
        return false;
    };
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(count.countDelivery(4, notSet));
    EXPECT_EQ(asked, 0);
    EXPECT_FALSE(count.countDelivery(4, notSet));
    EXPECT_EQ(asked, 1);
}

TEST(DeliveryCountTest, EventThatIsTakenStartsTheCountAgain) {
    DeliveryCount count;
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(count.countDelivery(4, [] { return true; }));
    for (int i = 0; i < 5; ++i) count.countDelivery(4, [] { return false; });
    count.eventTaken();
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(count.countDelivery(4, [] { return false; }));
}

}  // namespace
}  // namespace ipc
