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
    ChannelTable(const Settings& settings, Report& report) : mBlocks(settings.blocks), mReport(report) {
        mBlocks.operations *= 5;
        verify(mChannel);
    }

    template <class Road>
    void compareWith(Road& road, const char* name, Cores cores, const char* goal, double mostRatio) {
        verify(road);
        const Placement placement(placed(road), cores);
        const Comparison figures = compare(
            mBlocks, [this] { mChannel.exchange(mIn, mOut); }, [&] { road.exchange(mIn, mOut); });
        char note[64];
        std::snprintf(note, sizeof note, "CPU time %.0f us, theirs %.0f us", processorTime(mChannel),
                      processorTime(road));
        const char* what = cores == Cores::One ? "channel round trip, on one core" : "channel round trip, on two cores";
        mReport.add({what, name, "us", figures, goal, figures.ratio <= mostRatio, note});
    }

  private:
    // ZeroMQ has threads on both sides that it hands its work to; they run where the scheduler puts them.
    std::vector<int> placed(const ZeroMqRoad&) const { return {mChannel.echoId()}; }
    std::vector<int> placed(const FutexRoad& road) const { return {mChannel.echoId(), road.echoId()}; }

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

    Blocks mBlocks;
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
    table.compareWith(zeroMq, "ZeroMQ ipc://", Cores::Two, "<= 0.7x", 0.7);
    table.compareWith(likeChannel, likeChannelName, Cores::Two, "<= 1.3x", 1.3);
    table.compareWith(oneSlot, oneSlotName, Cores::Two, "<= 1.3x", 1.3);
    // Without the cost of waking a core, what is left is the copies and the channel's own work. The last row has no
    // goal: it tells what it costs that sixteen slots do not stay in the nearest cache.
    table.compareWith(likeChannel, likeChannelName, Cores::One, "<= 1.3x", 1.3);
    table.compareWith(oneSlot, oneSlotName, Cores::One, "", 0);
}

}  // namespace zelbench
