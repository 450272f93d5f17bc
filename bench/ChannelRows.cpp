#include <cstdio>
#include <stdexcept>

#include "bench/ChannelRoad.h"
#include "bench/Rows.h"
#include "bench/ZeroMqRoad.h"
#include "bench/posix/ForeignProcess.h"
#include "bench/posix/FutexRoad.h"
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
        mOwnTime = processorTime(mChannel);
    }

    template <class Road>
    void compareWith(Road&& road, const char* name, const char* goal, double mostRatio) {
        verify(road);
        const Comparison figures = compare(
            mBlocks, [this] { mChannel.exchange(mIn, mOut); }, [&] { road.exchange(mIn, mOut); });
        char note[64];
        std::snprintf(note, sizeof note, "CPU time %.0f us, theirs %.0f us", mOwnTime, processorTime(road));
        mReport.add(
            {"channel, 110592 B and 36864 B back", name, "us", figures, goal, figures.ratio <= mostRatio, note});
    }

  private:
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
    double mOwnTime = 0;
};

}  // namespace

void measureChannels(const Settings& settings, Report& report) {
    ChannelTable table(settings, report);
    table.compareWith(ZeroMqRoad(), "ZeroMQ ipc://", "<= 0.7x", 0.7);
    table.compareWith(FutexRoad(kFrameBytes, kMaskBytes, kAnswerByte, kSlots, kSlotBytes),
                      "a bare futex, the same copies, 16 slots in turn", "<= 1.3x", 1.3);
    table.compareWith(FutexRoad(kFrameBytes, kMaskBytes, kAnswerByte, 1, kSlotBytes),
                      "a bare futex, the same copies, one slot", "<= 1.3x", 1.3);
}

}  // namespace zelbench
