#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>

#include "client/src/CrashFiles.h"
#include "client/tool/Commands.h"
#include "client/tool/Crashes.h"
#include "client/tool/Json.h"
#include "client/tool/PrivateFolder.h"
#include "client/tool/file_paths.h"
#include "ipc/channel_names.h"
#include "platform/include/clock.h"
#include "platform/include/machine.h"
#include "platform/include/thread.h"

namespace fs = std::filesystem;

namespace zeltool {

namespace {

constexpr size_t kCrashesShown = 5;
constexpr const char* kSharedMemoryFolder = "/dev/shm";
constexpr uintmax_t kChannelBytes = ipc::CommandChannel::kMappingBytes + ipc::EventChannel::kMappingBytes +
                                    3 * ipc::FrameChannel::kMappingBytes + ipc::RoiChannel::kMappingBytes +
                                    ipc::ContentChannel::kMappingBytes + ipc::LadonChannel::kMappingBytes +
                                    ipc::LogChannel::kMappingBytes;

enum class Verdict { Good, Note, Bad };

struct Finding {
    Verdict verdict;
    std::string text;                     // what was found, and when it is bad what to do
    std::vector<std::string> lines = {};  // more of it, one below the other
};

std::string megabytes(uintmax_t bytes) {
    return std::to_string((bytes + 500000) / 1000000) + " MB";
}

Finding hostProgram(const HostOptions& options) {
    const std::string program = findHost(options);
    if (program.empty()) return {Verdict::Bad, "none beside zelclient; name it with --host or in ZELHOST_PROGRAM"};
    std::error_code failure;
    if (!fs::is_regular_file(pathOf(program), failure)) return {Verdict::Bad, "there is no " + program};
    return {Verdict::Good, program};
}

// Where shared memory is a file system it has a size, and containers often give it 64 MB.
Finding sharedMemory() {
    std::error_code failure;
    const fs::space_info space = fs::space(kSharedMemoryFolder, failure);
    const std::string need = "a host needs " + megabytes(kChannelBytes);
    if (failure) return {Verdict::Good, need + "; this system sets no limit of its own"};
    const std::string there = megabytes(space.available) + " free in " + kSharedMemoryFolder + ", " + need;
    if (space.available >= kChannelBytes) return {Verdict::Good, there};
    return {Verdict::Bad,
            there + "; enlarge it, for example with docker run --shm-size=256m or mount -o remount,size=256m"};
}

Finding adapters() {
    std::string text;
    for (const platform::Adapter& adapter : platform::machine().adapters())
        text +=
            (text.empty() ? "" : ", ") + adapter.name + (adapter.version.empty() ? "" : " (" + adapter.version + ")");
    return {Verdict::Good, text.empty() ? "none" : text};
}

std::string modelCheck(uint32_t type, uint32_t capacity) {
    uint32_t width = 0;
    uint32_t height = 0;
    zelclient_frame_size(ZELCLIENT_KIND_MODEL, capacity, &width, &height);
    return "model " + std::to_string(type) + ", " + std::to_string(width) + "x" + std::to_string(height);
}

// Starts a host with the given model and has one grey frame segmented.
Finding model(const HostOptions& options, uint32_t type, uint32_t capacity) {
    const uint64_t start = platform::monotonicMicroseconds();
    HostRun host(options, type, capacity, true);
    host.waitForModel();
    const uint64_t loaded = platform::monotonicMicroseconds();
    uint64_t roundTrip = 0;
    host.mask(plainColour(host.width(), host.height(), 128, 128, 128), &roundTrip);
    return {Verdict::Good, std::string(host.info().model_name) + ", loaded in " + milliseconds(loaded - start) +
                               " ms, first mask in " + milliseconds(roundTrip) + " ms"};
}

// What the host itself thinks of the GPU; type 2 makes it look.
Finding gpuProbe(const HostOptions& options) {
    try {
        HostOptions told = options;
        told.traceLevel = 2;  // its log says it, whatever level is asked for
        HostRun host(told, ZELCLIENT_MODEL_SEGMENTATION_AUTO, 0, true);
        host.waitForModel();
        const std::vector<std::string> lines = host.logLines("CheckGPUSupported");
        if (lines.empty()) return {Verdict::Note, "the host said nothing about it"};
        const std::string& line = lines.back();
        const size_t said = line.find("CheckGPUSupported");
        const bool used = line.find("use GPU") != std::string::npos;
        return {used ? Verdict::Good : Verdict::Note,
                (used ? "model type 2 uses it: " : "not used, models run on the CPU: ") + line.substr(said)};
    } catch (const Failure& failure) {
        return {Verdict::Note, "could not be looked at: " + failure.text};
    }
}

// Starts an idle host. One that cannot find its libraries ends at once and says so on its standard error.
Finding hostStarts(const HostOptions& options) {
    const PrivateFolder folder;
    const std::string errorFile = folder.path("stderr");
    const std::string program = findHost(options);
    zelclient_options start;
    zelclient_options_init(&start);
    start.host_program = program.c_str();
    start.host_stderr = errorFile.c_str();
    start.model_type = ZELCLIENT_MODEL_IDLE;
    start.restarts_per_minute = 0;
    zelclient* client = nullptr;
    char text[1024];
    Finding finding{Verdict::Bad, ""};
    const uint64_t begin = platform::monotonicMicroseconds();
    if (zelclient_start(&start, &client, text, sizeof text) != ZELCLIENT_OK) {
        finding.text = text;
        return finding;
    }
    const uint64_t limit = begin + uint64_t{options.timeoutMs} * 1000;
    zelclient_state state = ZELCLIENT_STARTING;
    while (state == ZELCLIENT_STARTING && platform::monotonicMicroseconds() < limit) {
        state = zelclient_get_state(client);
        platform::sleepMilliseconds(1);
    }
    zelclient_last_error(client, text, sizeof text);
    zelclient_stop(client);
    if (state == ZELCLIENT_WARMING) {
        finding.verdict = Verdict::Good;
        finding.text = "after " + milliseconds(platform::monotonicMicroseconds() - begin) + " ms";
    } else {
        std::ifstream said(pathOf(errorFile));
        std::string line;
        std::getline(said, line);
        finding.text = state == ZELCLIENT_FAILED ? std::string(text) : "no answer in time";
        if (!line.empty()) finding.text += "; it said: " + line;
        finding.text += "; are the OpenVINO libraries where the host was built with?";
    }
    return finding;
}

// Hosts that died, a while ago or under the checks just made.
Finding crashes(const HostOptions& options) {
    const std::vector<Crash> all = findCrashes(client::crashFolders(findHost(options)));
    if (all.empty()) return {Verdict::Good, "none has left a report"};
    Finding finding{Verdict::Note, std::to_string(all.size()) + " left behind; docs/crash.md reads them"};
    for (size_t at = 0; at < std::min(all.size(), kCrashesShown); ++at) finding.lines.push_back(crashLine(all[at]));
    return finding;
}

// What a check finds; one that fails itself has found that.
Finding found(const std::function<Finding()>& look) {
    try {
        return look();
    } catch (const Failure& failure) {
        return {Verdict::Bad, failure.text};
    } catch (const std::exception& failure) {
        return {Verdict::Bad, std::string("cannot be checked: ") + failure.what()};
    }
}

void print(const std::string& check, const Finding& finding, bool json, bool first) {
    const char* const words[] = {"ok", "note", "FAILED"};
    const char* word = words[static_cast<int>(finding.verdict)];
    if (json) {
        std::cout << (first ? "[\n" : ",\n") << "  {\"check\":" << quoted(check)
                  << ",\"verdict\":" << quoted(finding.verdict == Verdict::Bad ? "failed" : word)
                  << ",\"text\":" << quoted(finding.text);
        for (size_t at = 0; at < finding.lines.size(); ++at)
            std::cout << (at ? "," : ",\"lines\":[") << quoted(finding.lines[at]);
        std::cout << (finding.lines.empty() ? "}" : "]}");
        return;
    }
    std::printf("%-7s %-20s %s\n", word, check.c_str(), finding.text.c_str());
    for (const std::string& line : finding.lines) std::printf("%28s %s\n", "", line.c_str());
    std::fflush(stdout);
}

}  // namespace

ExitCode doctor(const HostOptions& host, const DoctorOptions& options) {
    bool first = true;
    bool good = true;
    const auto check = [&](const std::string& name, const std::function<Finding()>& look) {
        const Finding finding = found(look);
        print(name, finding, options.json, std::exchange(first, false));
        good = good && finding.verdict != Verdict::Bad;
        return finding.verdict != Verdict::Bad;
    };
    const bool present = check("host program", [&] { return hostProgram(host); });
    const bool roomy = check("shared memory", sharedMemory);
    if (present && roomy && check("host answers", [&] { return hostStarts(host); })) {
        check("graphics adapters", adapters);
        check("GPU", [&] { return gpuProbe(host); });
        for (const uint32_t capacity : {0u, 1u}) {
            const uint32_t type = ZELCLIENT_MODEL_SEGMENTATION_CPU;
            check(modelCheck(type, capacity), [&] { return model(host, type, capacity); });
        }
    }
    check("crashes", [&] { return crashes(host); });
    if (options.json) std::cout << "\n]\n";
    return good ? kDone : kHost;
}

}  // namespace zeltool
