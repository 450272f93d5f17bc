#include <memory>

#include "bench/BareLadon.h"
#include "bench/Rows.h"
#include "platform/test_support.h"

namespace zelbench {

namespace {

constexpr uint32_t kLadonLibraryCpu = 9;
constexpr double kGoal = 1.06;

}  // namespace

// As for the Ladon network inside the host. The library's cache of compiled networks is one that begins empty.
void measureLibrary(const Settings& settings, Report& report) {
    const platform::test::TemporaryFolder cache;
    ServedHost host(kLadonLibraryCpu, 0, {{{"XDG_CACHE_HOME", cache.path()}}, {}});
    BareNetwork network(218, 217, 1, BareNetwork::Settings::kPlain);
    const FrameSeries series = readFrames(settings.picture, network.width(), network.height());
    verifyLadon(host, network, series, LadonTable::kWith);
    const auto result = std::make_unique<ipc::LadonResult>();
    uint64_t hostCount = 0, bareCount = 0;
    const Comparison figures = compare(
        settings.blocks.ofLongOperations(), [&] { host.exchangeLadon(modelPicture(series, hostCount++), *result); },
        [&] { network.inferKept(bareCount++); });
    report.addInference("Ladon frame by the loaded library", figures, kGoal);
}

}  // namespace zelbench
