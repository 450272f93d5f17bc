#include <algorithm>
#include <cstdio>

#include "bench/PacedFrames.h"
#include "bench/Rows.h"
#include "bench/SwitchingHost.h"

namespace zelbench {

namespace {

constexpr double kGoal = 1.2;

// Frame times of one block.
struct Block {
    Samples making;   // while a network is compiled
    Samples meeting;  // from then on, until the engine of that network serves and ten frames more
};

// The frames of `served` while `switching` goes to another device, which is that host itself or another process.
Block framesDuringSwitch(PacedFrames& frames, ServedHost& served, SwitchingHost& switching) {
    Block block;
    switching.emptyCache();
    switching.beginNpu();
    do {
        block.making.push_back(frames.exchange(served));
    } while (switching.making());
    while (switching.switching()) block.meeting.push_back(frames.exchange(served));
    for (int count = 0; count < 10; ++count) block.meeting.push_back(frames.exchange(served));
    switching.backToCpu();
    for (int count = 0; count < 10; ++count) frames.exchange(served);
    return block;
}

// One figure of each block, milliseconds.
class Figures {
  public:
    void add(const Block& block) {
        mMedians.push_back(percentile(block.making, 0.5) / 1000);
        mSlowest.push_back(percentile(block.making, 0.95) / 1000);
        mMeeting.push_back(percentile(block.meeting, 1) / 1000);
    }
    const std::vector<double>& medians() const { return mMedians; }
    const std::vector<double>& slowest() const { return mSlowest; }
    const std::vector<double>& meeting() const { return mMeeting; }

  private:
    std::vector<double> mMedians, mSlowest, mMeeting;
};

}  // namespace

// What a compilation takes from the frames is the machine's affair; that it is in the same process must add nothing.
void measureSwitchFrames(const Settings& settings, Report& report) {
    SwitchingHost host, other;
    PacedFrames frames(settings.picture);
    Figures ours, theirs;
    for (int pair = 0; pair < settings.switchPairs; ++pair) {
        if (pair % 2 == 0) ours.add(framesDuringSwitch(frames, host.served(), host));
        theirs.add(framesDuringSwitch(frames, host.served(), other));
        if (pair % 2 != 0) ours.add(framesDuringSwitch(frames, host.served(), host));
    }
    const auto add = [&report](const char* what, const char* against, const std::vector<double>& oursOf,
                               const std::vector<double>& theirsOf) {
        const Comparison figures = compareFigures(oursOf, theirsOf);
        report.add({what, against, "ms", figures, "<= 1.2x", figures.ratio <= kGoal, ""});
    };
    const char* compiling = "the same while another host compiles it";
    add("frame while the host compiles", compiling, ours.medians(), theirs.medians());
    add("slowest of 20 of these frames", compiling, ours.slowest(), theirs.slowest());
    add("slowest frame of a switch", "the same while another host switches", ours.meeting(), theirs.meeting());
}

}  // namespace zelbench
