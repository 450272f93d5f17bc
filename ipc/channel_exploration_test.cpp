#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <iostream>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "ipc/channel_list.h"
#include "ipc/channel_plain_lists.h"

// Every interleaving of one writer and one reader over the mapped words, explored with the list code of the channel
// itself. A side is run from the start of its present pass each time, with the values that it has seen so far given
// back to it, up to one new access of the shared words; so a state needs no saved stack, and equal states are visited
// once.
namespace ipc {
namespace {

constexpr int kMostSlots = 3;

struct SharedMemory {
    ChannelHeader header;
    std::array<ChannelNode, kMostSlots> nodes;
    std::array<int32_t, kMostSlots> contents;
    int32_t available;
    int32_t filled;
};

// Ends a run at the access that is not to happen yet.
struct NotYet {};

// Gives back the values seen before, then lets exactly one access happen.
class OneStep {
  public:
    explicit OneStep(std::vector<int32_t>& seen) : mSeen(seen) {}

    template <class Act>
    int32_t access(Act act) {
        if (mNext == mSeen.size()) {
            if (mStepped) throw NotYet();
            mStepped = true;
            mSeen.push_back(act());
        }
        return mSeen[mNext++];
    }

  private:
    std::vector<int32_t>& mSeen;
    size_t mNext = 0;
    bool mStepped = false;
};

struct SteppedWords {
    OneStep* step;

    int32_t load(int32_t& word) const {
        return step->access([&] { return word; });
    }
    void store(int32_t& word, int32_t value) const {
        step->access([&] { return word = value; });
    }
    bool compareExchange(int32_t& word, int32_t expected, int32_t desired) const {
        return step->access([&] {
            if (word != expected) return 0;
            word = desired;
            return 1;
        }) != 0;
    }
    int32_t loadConstant(int32_t& word) const { return word; }
    void clear(uint8_t& byte) const { byte = 0; }
};

enum class Order { kSafe, kPlain };
enum class Phase : int32_t { kPass, kWait, kDone, kKilled };

struct Side {
    Phase phase = Phase::kPass;
    int32_t records = 0;  // written or read so far
    bool broken = false;
    bool disorder = false;  // a reader was given something else than the next record
    DeliveryCount deliveries;
    std::vector<int32_t> seen;
};

struct State {
    SharedMemory memory{};
    Side writer;
    Side reader;
};

struct Outcomes {
    long states = 0;
    long ends = 0;
    long lostSlot = 0;  // not all nodes are in the two lists
    long hung = 0;      // a side that nobody killed waits for ever
    long disorder = 0;
    long bad = 0;  // any of the three
    long broken = 0;
    bool spun = false;

    friend std::ostream& operator<<(std::ostream& out, const Outcomes& o) {
        return out << o.states << " states, " << o.ends << " ends, " << o.lostSlot << " lost a slot, " << o.hung
                   << " hung, " << o.disorder << " out of order, " << o.broken << " broken" << (o.spun ? ", spun" : "");
    }
};

struct Setup {
    int32_t slots;
    int32_t records;
    Order writer = Order::kSafe;
    Order reader = Order::kSafe;
    bool kill = false;
};

class Explorer {
  public:
    explicit Explorer(const Setup& setup) : mSetup(setup) {}

    Outcomes explore() {
        State start;
        start.memory.header = {{0, mSetup.slots - 1, 0, {}}, {kNoNode, kNoNode, 0, {}}};
        for (int32_t i = 0; i < mSetup.slots; ++i) {
            start.memory.nodes[static_cast<size_t>(i)] = {i + 1 == mSetup.slots ? kNoNode : i + 1, i - 1, i};
        }
        visit(start);
        return mOutcomes;
    }

  private:
    // One pass of a writer or reader, as the channel runs it. True when a record went through.
    template <class Lists>
    bool writerPass(State& state, Side& side, OneStep& step) {
        SharedMemory& memory = state.memory;
        Lists lists(memory.nodes.data(), mSetup.slots, SteppedWords{&step});
        const int32_t node = take(lists, memory.header.freeList, memory.available, side, step);
        if (node < 0) return false;
        step.access([&] { return memory.contents[static_cast<size_t>(node)] = side.records + 1; });
        if (!give(lists, node, memory.header.filledList, memory.filled, side, step)) return false;
        ++side.records;
        return true;
    }

    template <class Lists>
    bool readerPass(State& state, Side& side, OneStep& step) {
        SharedMemory& memory = state.memory;
        Lists lists(memory.nodes.data(), mSetup.slots, SteppedWords{&step});
        const int32_t node = take(lists, memory.header.filledList, memory.filled, side, step);
        if (node < 0) return false;
        const int32_t content = step.access([&] { return memory.contents[static_cast<size_t>(node)]; });
        if (content != ++side.records) side.disorder = true;
        give(lists, node, memory.header.freeList, memory.available, side, step);
        return true;
    }

    template <class Lists>
    int32_t take(Lists& lists, ChannelList& list, int32_t& event, Side& side, OneStep& step) {
        if (side.broken) return kNoNode;
        const int32_t node = lists.pop(list);
        if (node == kNoNode) return kNoNode;
        const auto takeEvent = [&] { return step.access([&] { return std::exchange(event, 0); }) != 0; };
        if (node != kBrokenList && side.deliveries.countDelivery(mSetup.slots, takeEvent)) return node;
        side.broken = true;
        return kNoNode;
    }

    template <class Lists>
    bool give(Lists& lists, int32_t node, ChannelList& list, int32_t& event, Side& side, OneStep& step) {
        if (!lists.push(node, list)) {
            side.broken = true;
            return false;
        }
        step.access([&] { return event = 1; });
        return true;
    }

    bool pass(State& state, Side& side, bool writes, OneStep& step) {
        const Order order = writes ? mSetup.writer : mSetup.reader;
        if (writes) {
            return order == Order::kSafe ? writerPass<ChannelLists<SteppedWords>>(state, side, step)
                                         : writerPass<PlainLists<SteppedWords>>(state, side, step);
        }
        return order == Order::kSafe ? readerPass<ChannelLists<SteppedWords>>(state, side, step)
                                     : readerPass<PlainLists<SteppedWords>>(state, side, step);
    }

    // Lets one side make one access; false when it has ended or its event is not set.
    bool advance(State& state, bool writes) {
        Side& side = writes ? state.writer : state.reader;
        if (side.phase == Phase::kDone || side.phase == Phase::kKilled) return false;
        if (side.phase == Phase::kWait) {
            int32_t& event = writes ? state.memory.available : state.memory.filled;
            if (event == 0) return false;
            event = 0;
            side.deliveries.eventTaken();
            side.phase = Phase::kPass;
            return true;
        }
        Side run = side;
        OneStep step(run.seen);
        try {
            const bool through = pass(state, run, writes, step);
            side = run;
            side.seen.clear();
            if (side.records == mSetup.records || (writes && side.broken)) {
                side.phase = Phase::kDone;
            } else if (!through) {
                side.phase = Phase::kWait;
            }
        } catch (const NotYet&) {
            side.seen = run.seen;
        }
        return true;
    }

    static std::string keyOf(const State& state) {
        std::string key(reinterpret_cast<const char*>(&state.memory), sizeof(state.memory));
        for (const Side* side : {&state.writer, &state.reader}) {
            const int32_t fixed[] = {static_cast<int32_t>(side->phase),
                                     side->records,
                                     side->broken,
                                     side->disorder,
                                     side->deliveries.count(),
                                     static_cast<int32_t>(side->seen.size())};
            key.append(reinterpret_cast<const char*>(fixed), sizeof(fixed));
            key.append(reinterpret_cast<const char*>(side->seen.data()), side->seen.size() * sizeof(int32_t));
        }
        return key;
    }

    void visit(const State& state) {
        const auto [entry, isNew] = mOnPath.emplace(keyOf(state), true);
        if (!isNew) {
            if (entry->second) mOutcomes.spun = true;  // back where it was without anything done
            return;
        }
        ++mOutcomes.states;
        bool moved = false;
        for (const bool writes : {true, false}) {
            State next = state;
            if (!advance(next, writes)) continue;
            moved = true;
            visit(next);
        }
        if (!moved) judge(state);
        if (mSetup.kill) killEither(state);
        entry->second = false;
    }

    void killEither(const State& state) {
        if (state.writer.phase == Phase::kKilled || state.reader.phase == Phase::kKilled) return;
        for (const bool writes : {true, false}) {
            State next = state;
            Side& side = writes ? next.writer : next.reader;
            if (side.phase == Phase::kDone) continue;
            side.phase = Phase::kKilled;
            side.seen.clear();
            visit(next);
        }
    }

    // Ends that differ only in what the two sides have seen on the way are one end.
    void judge(const State& state) {
        std::string key(reinterpret_cast<const char*>(&state.memory.header), sizeof(ChannelHeader));
        key.append(reinterpret_cast<const char*>(state.memory.nodes.data()), sizeof(state.memory.nodes));
        for (const Side* side : {&state.writer, &state.reader}) {
            const int32_t fixed[] = {static_cast<int32_t>(side->phase), side->records, side->broken, side->disorder};
            key.append(reinterpret_cast<const char*>(fixed), sizeof(fixed));
        }
        if (!mEnds.insert(key).second) return;
        const bool lost =
            nodesIn(state, state.memory.header.freeList) + nodesIn(state, state.memory.header.filledList) !=
            mSetup.slots;
        const bool hung = state.writer.phase == Phase::kWait || state.reader.phase == Phase::kWait;
        ++mOutcomes.ends;
        mOutcomes.lostSlot += lost;
        mOutcomes.hung += hung;
        mOutcomes.disorder += state.reader.disorder;
        mOutcomes.bad += lost || hung || state.reader.disorder;
        mOutcomes.broken += state.writer.broken || state.reader.broken;
    }

    int32_t nodesIn(const State& state, const ChannelList& list) const {
        int32_t count = 0;
        int32_t node = list.head;
        for (; node >= 0 && count <= mSetup.slots; node = state.memory.nodes[static_cast<size_t>(node)].next) ++count;
        return count;
    }

    const Setup mSetup;
    Outcomes mOutcomes;
    std::unordered_set<std::string> mEnds;
    std::unordered_map<std::string, bool> mOnPath;  // visited states, true while the path leads through them
};

Outcomes explore(const Setup& setup) {
    const Outcomes outcomes = Explorer(setup).explore();
    const auto name = [](Order order) { return order == Order::kSafe ? "safe" : "plain"; };
    std::cout << setup.slots << " slots, " << setup.records << " records, " << name(setup.writer) << " writer, "
              << name(setup.reader) << " reader" << (setup.kill ? ", kills" : "") << ": " << outcomes << std::endl;
    return outcomes;
}

TEST(ChannelExplorationTest, PlainOrderLosesSlotsHangsAndDisordersRecords) {
    const Outcomes plain = explore({2, 3, Order::kPlain, Order::kPlain});
    EXPECT_GT(plain.lostSlot, 0);
    EXPECT_GT(plain.hung, 0);
    EXPECT_GT(plain.disorder, 0);
}

struct Size {
    int32_t slots;
    int32_t records;
};

class ChannelExplorationBySizeTest : public testing::TestWithParam<Size> {};

INSTANTIATE_TEST_SUITE_P(Sizes, ChannelExplorationBySizeTest,
                         testing::Values(Size{2, 2}, Size{2, 3}, Size{2, 4}, Size{2, 5}, Size{3, 2}, Size{3, 3},
                                         Size{3, 4}, Size{3, 5}),
                         [](const auto& info) {
                             return std::to_string(info.param.slots) + "slots" + std::to_string(info.param.records) +
                                    "records";
                         });

TEST_P(ChannelExplorationBySizeTest, NoInterleavingLosesHangsOrDisorders) {
    const Outcomes safe = explore({GetParam().slots, GetParam().records});
    EXPECT_GT(safe.ends, 0);
    EXPECT_EQ(safe.lostSlot, 0);
    EXPECT_EQ(safe.hung, 0);
    EXPECT_EQ(safe.disorder, 0);
    EXPECT_EQ(safe.broken, 0);
    EXPECT_FALSE(safe.spun);
}

// The side that was killed is not counted: what must hold is that the other one is never given a wrong record, never
// takes an intact list for a damaged one, and comes to rest.
TEST_P(ChannelExplorationBySizeTest, SurvivorOfAKillAtAnyStepComesToRest) {
    const Outcomes safe = explore({GetParam().slots, GetParam().records, Order::kSafe, Order::kSafe, true});
    EXPECT_GT(safe.ends, 0);
    EXPECT_EQ(safe.disorder, 0);
    EXPECT_EQ(safe.broken, 0);
    EXPECT_FALSE(safe.spun);
}

TEST(ChannelExplorationTest, PlainPeerFaresNoWorseThanWithItsLike) {
    for (const Size size : {Size{2, 2}, Size{2, 3}, Size{3, 2}, Size{3, 3}}) {
        const Outcomes plain = explore({size.slots, size.records, Order::kPlain, Order::kPlain});
        for (const auto& [writer, reader] :
             {std::pair(Order::kPlain, Order::kSafe), std::pair(Order::kSafe, Order::kPlain)}) {
            const Outcomes mixed = explore({size.slots, size.records, writer, reader});
            EXPECT_LE(mixed.bad, plain.bad);
            EXPECT_LE(mixed.lostSlot, plain.lostSlot);
            EXPECT_LE(mixed.hung, plain.hung);
            EXPECT_LE(mixed.broken, plain.broken);
            EXPECT_FALSE(mixed.spun);
        }
    }
}

}  // namespace
}  // namespace ipc
