#include <filesystem>
#include <stdexcept>
#include <vector>

#include "bench/Picture.h"
#include "bench/Rows.h"
#include "bench/ServedHost.h"
#include "bench/posix/ForeignProcess.h"
#include "platform/include/clock.h"
#include "platform/test_support.h"

namespace zelbench {

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kSegmentation = 3;
constexpr int kFramesBefore = 20;
constexpr double kMostMs = 300;

// The report is written last, in one call: it is whole when it has any bytes.
bool hasReport(const fs::path& folder) {
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::error_code gone;
        if (entry.path().extension() == ".txt" && entry.file_size(gone) > 0) return true;
    }
    return false;
}

// From a fault of a serving host, all networks of its model loaded, to its files.
double filesMs(const FrameSeries& series) {
    const platform::test::TemporaryFolder folder;
    ServedHost host(kSegmentation, 0, {platform::test::temporaryFolderIn(folder.path()), {}});
    std::vector<uint8_t> mask;
    for (uint64_t number = 0; number < kFramesBefore; ++number) host.exchangeMask(modelPicture(series, number), mask);
    const uint64_t start = platform::monotonicMicroseconds();
    raiseFault(host.processId());
    while (!hasReport(folder.path())) {
        if (platform::monotonicMicroseconds() - start > uint64_t{zeltest::kDeadlineMs} * 1000)
            throw std::runtime_error("a failed host has left no report");
        platform::sleepMilliseconds(1);
    }
    return static_cast<double>(platform::monotonicMicroseconds() - start) / 1000;
}

}  // namespace

void measureCrash(const Settings& settings, Report& report) {
    const FrameSeries series = readFrames(settings.picture, 256, 144);
    std::vector<double> times;
    for (int count = 0; count < settings.starts; ++count) times.push_back(filesMs(series));
    const Comparison figures = figuresAlone(times);
    report.add({"failed host until its dump and report are written", "", "ms", figures, "<= 300 ms",
                figures.oursP99 <= kMostMs, ""});
}

}  // namespace zelbench
