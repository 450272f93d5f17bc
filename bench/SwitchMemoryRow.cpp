#include <cstdio>
#include <vector>

#include "bench/PacedFrames.h"
#include "bench/Rows.h"
#include "bench/SwitchingHost.h"
#include "bench/posix/ForeignProcess.h"
#include "platform/include/clock.h"

namespace zelbench {

namespace {

constexpr int kSwitchesBetweenSamples = 4;
// The host looks once a second for engines to end, so that it has looked since the last frame.
constexpr uint32_t kSettleMs = 1500;
constexpr double kMostKiBPerSwitch = 16;

struct Sample {
    double switches = 0;
    double kibibytes = 0;
};

// The median of the slopes between all pairs of samples. A block of some megabytes that the allocator keeps at one
// sample and gives back at the next, as it likes, moves the line of least squares far, and this hardly.
double medianSlope(const std::vector<Sample>& samples) {
    std::vector<double> slopes;
    for (size_t later = 1; later < samples.size(); ++later)
        for (size_t earlier = 0; earlier < later; ++earlier)
            slopes.push_back((samples[later].kibibytes - samples[earlier].kibibytes) /
                             (samples[later].switches - samples[earlier].switches));
    return percentile(slopes, 0.5);
}

double leastSquaresSlope(const std::vector<Sample>& samples) {
    const auto count = static_cast<double>(samples.size());
    double meanX = 0, meanY = 0, xx = 0, xy = 0;
    for (const Sample& sample : samples) {
        meanX += sample.switches / count;
        meanY += sample.kibibytes / count;
    }
    for (const Sample& sample : samples) {
        xx += (sample.switches - meanX) * (sample.switches - meanX);
        xy += (sample.switches - meanX) * (sample.kibibytes - meanY);
    }
    return xy / xx;
}

Sample sampleAfter(int switches, SwitchingHost& host) {
    platform::sleepMilliseconds(kSettleMs);
    return {static_cast<double>(switches), static_cast<double>(privateResidentBytes(host.served().processId())) / 1024};
}

// To the other device or back, with a frame on the engine that serves then.
void switchOnce(SwitchingHost& host, PacedFrames& frames, bool toNpu) {
    if (toNpu) {
        host.beginNpu();
        host.awaitNpu();
    } else {
        host.backToCpu();
    }
    frames.exchange(host.served());
}

}  // namespace

void measureSwitchMemory(const Settings& settings, Report& report) {
    SwitchingHost host;
    PacedFrames frames(settings.picture);
    frames.exchange(host.served());
    const Sample begin = sampleAfter(0, host);
    std::vector<Sample> samples;
    for (int count = 1; count <= settings.switches; ++count) {
        switchOnce(host, frames, count % 2 != 0);
        // The first quarter is warm-up.
        if (count % kSwitchesBetweenSamples == 0 && 4 * count > settings.switches)
            samples.push_back(sampleAfter(count, host));
    }
    Comparison figures;
    figures.oursP50 = figures.oursP99 = medianSlope(samples);
    char note[128];
    std::snprintf(note, sizeof note, "least squares %+.1f; %.1f MiB before the first of %d, later %.1f to %.1f",
                  leastSquaresSlope(samples), begin.kibibytes / 1024, settings.switches,
                  samples.front().kibibytes / 1024, samples.back().kibibytes / 1024);
    report.add(
        {"memory for each engine switch", "", "KiB", figures, "<= 16 KiB", figures.oursP50 <= kMostKiBPerSwitch, note});
}

}  // namespace zelbench
