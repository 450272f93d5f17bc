#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

// The lists inside a channel's mapping: how they lie there, and how a node leaves and enters one.
namespace ipc {

// One link record. `next` and `prev` are node indices or -1; `index` is the node's own position and that of its slot.
struct ChannelNode {
    int32_t next;
    int32_t prev;
    int32_t index;
};

// Head and tail are node indices, -1 when the list is empty. `busy` is written 0 and never waited on.
struct ChannelList {
    int32_t head;
    int32_t tail;
    uint8_t busy;
    uint8_t padding[3];
};

// What a mapping starts with; `slots` nodes follow, then the slots.
struct ChannelHeader {
    ChannelList freeList;
    ChannelList filledList;
};

static_assert(sizeof(ChannelNode) == 12 && sizeof(ChannelList) == 12 && sizeof(ChannelHeader) == 24);
static_assert(offsetof(ChannelNode, next) == 0 && offsetof(ChannelNode, prev) == 4 &&
              offsetof(ChannelNode, index) == 8);
static_assert(offsetof(ChannelList, head) == 0 && offsetof(ChannelList, tail) == 4 && offsetof(ChannelList, busy) == 8);
static_assert(offsetof(ChannelHeader, freeList) == 0 && offsetof(ChannelHeader, filledList) == 12);

constexpr size_t slotsOffset(size_t slots) {
    return sizeof(ChannelHeader) + sizeof(ChannelNode) * slots;
}

constexpr size_t mappingBytes(size_t slots, size_t slotBytes) {
    return slotsOffset(slots) + slotBytes * slots;
}

// How the mapped words are reached. Every access is sequentially consistent; a test puts another policy here to choose
// the order in which the accesses of two sides happen.
struct MappedWords {
    int32_t load(int32_t& word) const { return std::atomic_ref(word).load(); }
    void store(int32_t& word, int32_t value) const { std::atomic_ref(word).store(value); }
    bool compareExchange(int32_t& word, int32_t expected, int32_t desired) const {
        return std::atomic_ref(word).compare_exchange_strong(expected, desired);
    }
    // For what no intact peer ever changes, and what nobody reads.
    int32_t loadConstant(int32_t& word) const { return std::atomic_ref(word).load(std::memory_order_relaxed); }
    void clear(uint8_t& byte) const { std::atomic_ref(byte).store(0, std::memory_order_release); }
};

inline constexpr int32_t kNoNode = -1;
inline constexpr int32_t kBrokenList = -2;

// One popper and one pusher per list may work at the same time, in two processes, without a lock and without losing a
// node. The peer is not trusted: a word that cannot be right yields kBrokenList, and nothing outside the nodes is
// touched.
template <class Access = MappedWords>
class ChannelLists {
  public:
    // `nodes` points at `slots` nodes.
    ChannelLists(ChannelNode* nodes, int32_t slots, Access access = Access())
        : mNodes(nodes), mSlots(slots), mAccess(access) {}

    // The oldest node of the list; kNoNode when it is empty or a push into it is under way, whose event is still to
    // come.
    int32_t pop(ChannelList& list) {
        const int32_t node = take(list);
        mAccess.clear(list.busy);
        return node;
    }

    // Appends a node. False when the list is broken; the node is then lost.
    bool push(int32_t node, ChannelList& list) {
        const bool done = append(node, list);
        mAccess.clear(list.busy);
        return done;
    }

  private:
    static constexpr int kMostFailedExchanges = 64;

    bool isNode(int32_t value) const { return value >= 0 && value < mSlots; }
    bool isLink(int32_t value) const { return value == kNoNode || isNode(value); }
    bool isAtItsPlace(int32_t node) { return mAccess.loadConstant(mNodes[node].index) == node; }

    int32_t take(ChannelList& list) {
        const int32_t node = mAccess.load(list.head);
        if (node == kNoNode) return kNoNode;
        if (!isNode(node) || !isAtItsPlace(node)) return kBrokenList;
        const int32_t next = mAccess.load(mNodes[node].next);
        if (!isLink(next)) return kBrokenList;
        if (next != kNoNode) return mAccess.compareExchange(list.head, node, next) ? node : kNoNode;
        // The last node leaves by the tail first, so that a push that comes now starts a list of its own.
        if (!mAccess.compareExchange(list.tail, node, kNoNode)) return kNoNode;
        mAccess.compareExchange(list.head, node, kNoNode);  // fails when that push has already put its node here
        return node;
    }

    bool append(int32_t node, ChannelList& list) {
        if (!isNode(node) || !isAtItsPlace(node)) return false;
        ChannelNode& own = mNodes[node];
        mAccess.store(own.prev, kNoNode);
        mAccess.store(own.next, kNoNode);
        for (int attempt = 0; attempt < kMostFailedExchanges; ++attempt) {
            const int32_t last = mAccess.load(list.tail);
            if (!isLink(last)) return false;
            mAccess.store(own.prev, last);
            if (!mAccess.compareExchange(list.tail, last, node)) continue;
            mAccess.store(last == kNoNode ? list.head : mNodes[last].next, node);
            return true;
        }
        return false;
    }

    ChannelNode* mNodes;
    int32_t mSlots;
    Access mAccess;
};

// Notices a list that runs in a circle. Since the event of a list was last taken, an intact list has delivered at most
// the nodes that there are and one more, whose event the peer has yet to set; for any further one the event is set
// already.
class DeliveryCount {
  public:
    // To be called after each pop that yields a node; `takeEvent` takes the list's event if it is set, without waiting,
    // and tells whether. False: no intact list can have delivered this node.
    template <class TakeEvent>
    bool countDelivery(int32_t slots, TakeEvent takeEvent) {
        if (++mDelivered <= slots + 1) return true;
        mDelivered = 0;
        return takeEvent();
    }
    void eventTaken() { mDelivered = 0; }
    int32_t count() const { return mDelivered; }

  private:
    int32_t mDelivered = 0;
};

}  // namespace ipc
