#include <cstdio>
#include <stdexcept>

#include "bench/ChannelRoad.h"
#include "bench/Rows.h"
#include "bench/ZeroMqRoad.h"
#include "bench/posix/ForeignProcess.h"
#include "bench/posix/FutexRoad.h"
#include "bench/posix/Placement.h"
#include "platform/include/thread.h"

namespace zelbench {

namespace {

constexpr size_t kSlots = ipc::FrameChannel::kSlots;
constexpr size_t kSlotBytes = sizeof(ipc::FrameChannel::packet_type);

// A request and its answer over each road, timed against the channel.
class ChannelTable {
  public:
    ChannelTable(const Settings& settings, Report& report) : mBlocks(settings.blocks.ofExchanges()), mReport(report) {
        verify(mChannel);
    }

    template <class Road>
    void compareWith(Road& road, const char* against, Cores cores, const char* goal, double mostRatio) {
        verify(road);
        const Placement placement({mChannel.echoId(), road.echoId()}, cores);
        const Comparison figures = compare(
            mBlocks, [this] { mChannel.exchange(mIn, mOut); }, [&] { road.exchange(mIn, mOut); });
        char note[64];
        std::snprintf(note, sizeof note, "CPU time %.0f us, theirs %.0f us", processorTime(mChannel),
                      processorTime(road));
        mReport.add({name(cores), against, "us", figures, goal, figures.ratio <= mostRatio, note});
    }

  private:
    static std::string name(Cores cores) {
        if (cores == Cores::Any) return "channel round trip";
        return cores == Cores::One ? "channel round trip, on one core" : "channel round trip, on two cores";
    }

    template <class Road>
    void verify(Road& road) {
        mOut.assign(kMaskBytes, 0);
        road.exchange(mIn, mOut);
        for (const uint8_t byte : mOut)
            if (byte != kAnswerByte) throw std::runtime_error("a road returned other bytes than its other side gave");
    }

    // Of both sides, microseconds an exchange.
    template <class Road>
    double processorTime(Road& road) {
        constexpr int kExchanges = 5000;
        const int own = static_cast<int>(platform::currentProcessId());
        const auto spent = [&] { return processorMicroseconds(own) + processorMicroseconds(road.echoId()); };
        const uint64_t before = spent();
        for (int count = 0; count < kExchanges; ++count) road.exchange(mIn, mOut);
        return static_cast<double>(spent() - before) / kExchanges;
    }

    const Blocks mBlocks;
    Report& mReport;
    const std::vector<uint8_t> mIn = std::vector<uint8_t>(kFrameBytes, 3);
    std::vector<uint8_t> mOut;
    ChannelRoad mChannel;
};

}  // namespace

void measureChannels(const Settings& settings, Report& report) {
    FutexRoad likeChannel(kFrameBytes, kMaskBytes, kAnswerByte, kSlots, kSlotBytes);
    FutexRoad oneSlot(kFrameBytes, kMaskBytes, kAnswerByte, 1, kSlotBytes);
    ZeroMqRoad zeroMq;
    ChannelTable table(settings, report);
    const char* likeChannelName = "a bare futex, the same copies, 16 slots in turn";
    const char* oneSlotName = "a bare futex, the same copies, always one slot";
    // ZeroMQ has threads of its own on both sides and is used without a thought about cores.
    table.compareWith(zeroMq, "ZeroMQ ipc://", Cores::Any, "<= 0.7x", 0.7);
    table.compareWith(likeChannel, likeChannelName, Cores::Two, "<= 1.3x", 1.3);
    table.compareWith(oneSlot, oneSlotName, Cores::Two, "<= 1.3x", 1.3);
    // Without the cost of waking a core, what is left is the copies and the channel's own work.
    table.compareWith(likeChannel, likeChannelName, Cores::One, "<= 1.3x", 1.3);
    // Two rows that explain: what it costs that sixteen slots do not stay in the nearest cache, and ZeroMQ where waking
    // the other core is most of the time.
    table.compareWith(oneSlot, oneSlotName, Cores::One, "", 0);
    table.compareWith(zeroMq, "ZeroMQ ipc://", Cores::Two, "", 0);
}

}  // namespace zelbench
