#include <stdexcept>

#include "bench/BareNetwork.h"
#include "bench/ChannelRoad.h"
#include "bench/Picture.h"
#include "bench/Rows.h"
#include "bench/ServedHost.h"
#include "bench/posix/Placement.h"
#include "engines/vino/PixelLoops.h"

namespace zelbench {

namespace {

struct Size {
    const char* name;
    uint32_t capacity;
    int xmlId;
    int binId;
    double goal;
    double goalMicroseconds;  // on top of the bare p50; 0 for none
};

constexpr uint32_t kCpuType = 3;

// What the host does with a frame, step by step around the bare network.
class BareRoad {
  public:
    explicit BareRoad(const Size& size)
        : mNetwork(size.xmlId, size.binId), mErode(size.capacity == 0), mRaw(pixels()), mMask(pixels()) {}

    const std::vector<uint8_t>& maskOf(const std::vector<uint8_t>& frame) {
        PixelLoops::plain().fillPlanes(frame.data(), mRaw.data(), pixels(), 4, mNetwork.input());
        mNetwork.infer();
        PixelLoops::plain().floatsToBytes(mNetwork.output(pixels()), pixels(), 255.0f, mRaw.data());
        if (mErode)
            PixelLoops::plain().erode(mNetwork.width(), mNetwork.height(), mRaw.data(), mMask.data());
        else
            mMask = mRaw;
        return mMask;
    }
    BareNetwork& network() { return mNetwork; }

  private:
    size_t pixels() const { return size_t{mNetwork.width()} * mNetwork.height(); }

    BareNetwork mNetwork;
    bool mErode;
    std::vector<uint8_t> mRaw;
    std::vector<uint8_t> mMask;
};

// Every meeting of a step with an age of the frame that the host compares with. A frame that it did not infer shows
// here: the mask would be the one before. The bare network keeps the inputs of the last round, so that both infer the
// same: what an inference takes depends on the picture.
void verifySequence(ServedHost& host, BareRoad& bare, const FrameSeries& series) {
    std::vector<uint8_t> mask(size_t{series.width} * series.height);
    for (uint64_t count = 0; count < 10 * series.frames.size(); ++count) {
        host.exchangeMask(modelPicture(series, count), mask);
        if (mask != bare.maskOf(series.at(count)))
            throw std::runtime_error("mask " + std::to_string(count) + " of the host differs from the bare network's");
        if (count >= 9 * series.frames.size()) bare.network().keepInput();
    }
}

void measureRoundTrip(const Settings& settings, const Size& size, Report& report) {
    ServedHost host(kCpuType, size.capacity);
    BareRoad bare(size);
    const FrameSeries series = readFrames(settings.picture, bare.network().width(), bare.network().height());
    verifySequence(host, bare, series);

    std::vector<uint8_t> mask(size_t{series.width} * series.height);
    uint64_t hostCount = 0;
    uint64_t bareCount = 0;
    const Comparison figures = compare(
        settings.blocks, [&] { host.exchangeMask(modelPicture(series, hostCount++), mask); },
        [&] { bare.network().inferKept(bareCount++); });
    const bool reached =
        figures.ratio <= size.goal && (size.goalMicroseconds == 0 || figures.difference <= size.goalMicroseconds);
    char goal[64], note[64];
    std::snprintf(goal, sizeof goal, size.goalMicroseconds == 0 ? "<= %.2fx" : "<= %.2fx and <= +%.0f us", size.goal,
                  size.goalMicroseconds);
    std::snprintf(note, sizeof note, "%+.0f us a frame", figures.difference);
    report.add({std::string("frame to mask, ") + size.name, "the bare inference", "us", figures, goal, reached, note});
}

void measureStillFrame(const Settings& settings, const Size& size, Report& report) {
    ServedHost host(kCpuType, size.capacity);
    const FrameSeries series = readFrames(settings.picture, 256, 144);
    std::vector<uint8_t> mask(size_t{series.width} * series.height);

    ChannelRoad channel;
    const Placement placement({host.processId(), channel.echoId()}, Cores::Two);
    // One frame in eighteen is inferred all the same; the median is a skipped one.
    const Comparison figures = compare(
        settings.blocks.ofExchanges(), [&] { host.exchangeMask(modelPicture(series, 0), mask); },
        [&] { channel.exchange(series.frames[0], mask); });
    report.add({"still frame (skipped), 256x144", "a channel round trip of the same bytes", "us", figures, "<= 1.5x",
                figures.ratio <= 1.5, ""});
}

}  // namespace

void measureFrames(const Settings& settings, Report& report) {
    const Size small{"256x144", 0, 140, 150, 1.12, 150};
    const Size large{"640x360", 1, 180, 190, 1.06, 0};
    measureRoundTrip(settings, small, report);
    measureRoundTrip(settings, large, report);
    measureStillFrame(settings, small, report);
}

}  // namespace zelbench
