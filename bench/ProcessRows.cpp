#include <memory>
#include <stdexcept>

#include "bench/BareNetwork.h"
#include "bench/Picture.h"
#include "bench/Rows.h"
#include "bench/posix/ForeignProcess.h"
#include "platform/include/clock.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "tests/support/HostProcess.h"

namespace zelbench {

namespace {

constexpr double kMebibyte = 1024.0 * 1024.0;

struct Figures {
    double startMs;
    double residentMiB;
    double channelsMs = 0;  // before the start
};

double millisecondsSince(uint64_t start) {
    return static_cast<double>(platform::monotonicMicroseconds() - start) / 1000;
}

// As the protocol has it, the client opens the channels, then starts the host.
Figures startHost(const FrameSeries& series) {
    const uint64_t channels = platform::monotonicMicroseconds();
    const std::string mid = zeltest::uniqueInstanceId();
    zeltest::RawClient client(ipc::channelBaseName(std::to_string(platform::currentProcessId()), mid));
    const double channelsMs = millisecondsSince(channels);
    const uint64_t start = platform::monotonicMicroseconds();
    zeltest::HostProcess host({}, nullptr, mid);
    client.command(ipc::CommandCode::SetModelType, 3, 0);
    if (!client.event(ipc::EventCode::ModelType)) throw std::runtime_error("the host did not answer");
    client.frame(series.width, series.height, series.frames[0]);
    if (!client.mask()) throw std::runtime_error("the host gave no mask");
    const double elapsed = millisecondsSince(start);
    const Figures figures{elapsed, static_cast<double>(privateResidentBytes(host.process().id())) / kMebibyte,
                          channelsMs};
    client.command(ipc::CommandCode::Terminate);
    host.exitCode();
    return figures;
}

Figures startBare() {
    const std::string name = zeltest::uniqueBaseName() + "_bare";
    auto& objects = platform::kernelObjects();
    const auto done = objects.createEvent(name.c_str());
    const std::string program = platform::executableDirectory() + "/zelbench_bare";
    platform::ProcessOptions options;
    options.dieWithParent = true;
    options.standardError = "inherit";
    std::string error;
    const uint64_t start = platform::monotonicMicroseconds();
    const auto process = platform::startProcess(program, {name, "140", "150"}, options, &error);
    if (!process) throw std::runtime_error("cannot start " + program + ": " + error);
    if (objects.waitEvent(done, zeltest::kDeadlineMs) != platform::WaitResult::kSignalled)
        throw std::runtime_error("the bare program did not finish its inference");
    const double elapsed = millisecondsSince(start);
    const Figures figures{elapsed, static_cast<double>(privateResidentBytes(process->id())) / kMebibyte};
    process->kill();
    process->waitForExit(platform::kInfinite);
    objects.closeEvent(done);
    return figures;
}

// Beats answered, nothing else asked: what the host costs while nobody needs it.
double idleShareOfACore(int seconds) {
    zeltest::HostProcess host;
    zeltest::RawClient client(host.baseName());
    if (client.startModel(3, 0) != 3) throw std::runtime_error("the host did not start type 3");
    const auto answerFor = [&client](uint64_t microseconds) {
        const uint64_t end = platform::monotonicMicroseconds() + microseconds;
        while (platform::monotonicMicroseconds() < end)
            if (client.event(ipc::EventCode::HeartBeat, 200)) client.command(ipc::CommandCode::HeartBeatAck);
    };
    answerFor(2000000);
    const uint64_t before = processorMicroseconds(host.process().id());
    answerFor(static_cast<uint64_t>(seconds) * 1000000);
    const uint64_t spent = processorMicroseconds(host.process().id()) - before;
    client.command(ipc::CommandCode::Terminate);
    host.exitCode();
    return static_cast<double>(spent) / (seconds * 10000.0);
}

}  // namespace

void measureProcess(const Settings& settings, Report& report) {
    const FrameSeries series = readFrames(settings.picture, 256, 144);
    std::vector<double> hostStarts, channels, withChannels, bareStarts, hostMemory, bareMemory;
    startHost(series);
    startBare();
    for (int count = 0; count < settings.starts; ++count) {
        const Figures host = startHost(series);
        const Figures bare = startBare();
        hostStarts.push_back(host.startMs);
        channels.push_back(host.channelsMs);
        withChannels.push_back(host.channelsMs + host.startMs);
        bareStarts.push_back(bare.startMs);
        hostMemory.push_back(host.residentMiB);
        bareMemory.push_back(bare.residentMiB);
    }
    const Comparison starts = compareFigures(hostStarts, bareStarts);
    report.add({"process start to first mask", "a bare program, same reads and compile", "ms", starts, "<= 1.2x",
                starts.ratio <= 1.2, ""});
    char opening[64];
    std::snprintf(opening, sizeof opening, "the channels %.0f ms", percentile(channels, 0.5));
    report.add({"the same and the client's channels", "a bare program, same reads and compile", "ms",
                compareFigures(withChannels, bareStarts), "", false, opening});
    const Comparison memory = compareFigures(hostMemory, bareMemory);
    char note[64];
    std::snprintf(note, sizeof note, "%+.1f MiB", memory.difference);
    report.add({"resident memory less channels", "a bare program, same network", "MiB", memory, "<= +16 MiB",
                memory.difference <= 16, note});
    const Comparison idle = figuresAlone({idleShareOfACore(settings.idleSeconds)});
    report.add({"idle host, share of a core", "", "%", idle, "< 0.3 %", idle.oursP50 < 0.3, ""});
}

}  // namespace zelbench
