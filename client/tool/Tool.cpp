#include "client/tool/Tool.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "client/tool/file_paths.h"
#include "platform/include/clock.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "platform/include/terminal.h"

namespace fs = std::filesystem;

namespace zeltool {

namespace {

constexpr int kBarCells = 30;
constexpr uint64_t kRedrawUs = 100000;
constexpr size_t kLogKept = 2000;
constexpr int kFaceAttempts = 20;

const char* nounOf(zelclient_kind kind) {
    switch (kind) {
        case ZELCLIENT_KIND_FACES:
            return "faces";
        case ZELCLIENT_KIND_CONTENT:
            return "regions";
        case ZELCLIENT_KIND_MODEL:
            break;
    }
    return "mask";
}

}  // namespace

std::string findHost(const HostOptions& options) {
    if (!options.program.empty()) return options.program;
    std::string told = platform::environmentVariable("ZELHOST_PROGRAM");
    if (!told.empty()) return told;
    const std::string beside = platform::executableDirectory() + platform::pathSeparator() + "zelhost";
    std::error_code none;
    for (const std::string& path : {beside, beside + ".exe"}) {
        if (fs::is_regular_file(pathOf(path), none)) return path;
    }
    return "";
}

HostRun::HostRun(const HostOptions& options, uint32_t type, uint32_t capacity, bool autoSkip)
    : HostRun(options, ZELCLIENT_KIND_MODEL, type, capacity, autoSkip) {}

HostRun::HostRun(const HostOptions& options, zelclient_kind kind)
    : HostRun(options, kind, ZELCLIENT_MODEL_IDLE, 0, false) {}

HostRun::HostRun(const HostOptions& options, zelclient_kind kind, uint32_t type, uint32_t capacity, bool autoSkip)
    : mOptions(options), mKind(kind), mType(type) {
    const std::string program = findHost(options);
    if (program.empty())
        throw Failure{kHost, "there is no zelhost beside zelclient; name it with --host or in ZELHOST_PROGRAM"};
    zelclient_options start;
    zelclient_options_init(&start);
    start.host_program = program.c_str();
    start.plugin_directory = options.plugins.empty() ? nullptr : options.plugins.c_str();
    start.model_type = type;
    start.capacity = capacity;
    start.auto_skip = autoSkip ? 1 : 0;
    start.restarts_per_minute = 3;
    start.host_stderr = options.verbose ? "inherit" : nullptr;
    start.trace_level = options.traceLevel;
    start.on_log = onLog;
    start.user = this;
    char error[512];
    if (zelclient_start(&start, &mClient, error, sizeof error) != ZELCLIENT_OK) throw Failure{kHost, error};
    zelclient_frame_size(kind, capacity, &mWidth, &mHeight);
}

HostRun::~HostRun() {
    zelclient_stop(mClient);
}

void HostRun::waitForModel() {
    const zelclient_error error = zelclient_wait_model(mClient, mOptions.timeoutMs);
    if (error == ZELCLIENT_OK) return;
    const std::string model = "model type " + std::to_string(mType);
    if (error == ZELCLIENT_TIMEOUT)
        throw Failure{kHost, "the host did not start " + model + " within " + std::to_string(mOptions.timeoutMs) +
                                 " ms; --timeout gives it longer"};
    throw Failure{kHost, why()};
}

zelclient_result HostRun::roundTrip(const Image& frame) {
    const zelclient_frame given = {frame.width, frame.height, 0, frame.bytes.data(), ++mTag, mKind};
    if (zelclient_submit(mClient, &given) != ZELCLIENT_OK) throw Failure{kHost, why()};
    zelclient_result result{};
    const zelclient_error error = zelclient_wait(mClient, mOptions.timeoutMs, &result);
    if (error == ZELCLIENT_TIMEOUT)
        throw Failure{kNoResult, std::string("no ") + nounOf(mKind) + " came within " +
                                     std::to_string(mOptions.timeoutMs) + " ms"};
    if (error != ZELCLIENT_OK) throw Failure{kHost, why()};
    return result;
}

zelclient_result HostRun::answer(const Image& frame, uint64_t* roundTripUs) {
    int lost = 0;
    int failed = 0;
    for (;;) {
        const zelclient_result result = roundTrip(frame);
        if (roundTripUs) *roundTripUs = result.round_trip_us;
        if (result.status == ZELCLIENT_FRAME_LOST) {
            if (++lost == 1) continue;
        } else if (result.status == ZELCLIENT_FRAME_FAILED) {
            if (mKind == ZELCLIENT_KIND_FACES && ++failed < kFaceAttempts) continue;
        } else {
            return result;
        }
        throw Failure{kNoResult, std::string("no ") + nounOf(mKind) + " for a frame: " + why() +
                                     "; --verbose shows the host's log"};
    }
}

Image HostRun::mask(const Image& frame, uint64_t* roundTripUs) {
    return maskOf(answer(frame, roundTripUs));
}

uint64_t HostRun::measure(const Image& frame) {
    const uint64_t before = platform::monotonicMicroseconds();
    answer(frame);
    return platform::monotonicMicroseconds() - before;
}

std::vector<std::string> HostRun::logLines(const std::string& part) {
    std::lock_guard lock(mMutex);
    std::vector<std::string> found;
    std::copy_if(mLog.begin(), mLog.end(), std::back_inserter(found),
                 [&](const std::string& line) { return line.find(part) != std::string::npos; });
    return found;
}

zelclient_info HostRun::info() const {
    zelclient_info info;
    zelclient_get_info(mClient, &info);
    return info;
}

void HostRun::onLog(void* user, uint32_t level, const char* text, size_t length) {
    auto* self = static_cast<HostRun*>(user);
    if (self->mOptions.verbose) std::fprintf(stderr, "host %u: %s\n", level, text);
    std::lock_guard lock(self->mMutex);
    if (self->mLog.size() < kLogKept) self->mLog.emplace_back(text, length);
}

std::string HostRun::why() {
    char text[1024];
    zelclient_last_error(mClient, text, sizeof text);
    return text;
}

Progress::Progress(std::string title, uint64_t total)
    : mTitle(std::move(title)), mTotal(total), mVisible(platform::isTerminal(platform::StandardStream::kError)) {}

Progress::~Progress() {
    clear();
}

void Progress::show(uint64_t done) {
    const uint64_t now = platform::monotonicMicroseconds();
    if (!mVisible || now - mShownAt < kRedrawUs) return;
    mShownAt = now;
    if (mTotal == 0) {
        std::fprintf(stderr, "\r%s %llu", mTitle.c_str(), static_cast<unsigned long long>(done));
    } else {
        const uint64_t part = std::min(done, mTotal);
        const std::string bar(part * kBarCells / mTotal, '#');
        std::fprintf(stderr, "\r%s [%-*s] %3llu %%", mTitle.c_str(), kBarCells, bar.c_str(),
                     static_cast<unsigned long long>(part * 100 / mTotal));
    }
    std::fflush(stderr);
}

void Progress::clear() {
    if (mShownAt == 0) return;
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(mTitle.size()) + kBarCells + 24, "");
    std::fflush(stderr);
}

uint64_t percentile(const std::vector<uint64_t>& sorted, double share) {
    if (sorted.empty()) return 0;
    const auto at = static_cast<size_t>(share * static_cast<double>(sorted.size()));
    return sorted[std::min(at, sorted.size() - 1)];
}

std::string rectText(const zelclient_rect& rect, bool json) {
    char text[256];
    const char* const format = json ? "\"x\":%.1f,\"y\":%.1f,\"width\":%.1f,\"height\":%.1f" : "at %.0f,%.0f %.0fx%.0f";
    std::snprintf(text, sizeof text, format, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
    return text;
}

std::string decimals(double value, int count) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", count, value);
    return text;
}

Image maskOf(const zelclient_result& result) {
    Image mask(result.width, result.height, 1);
    std::copy_n(result.mask, mask.bytes.size(), mask.bytes.data());
    return mask;
}

std::string milliseconds(uint64_t microseconds) {
    return decimals(static_cast<double>(microseconds) / 1000, 2);
}

}  // namespace zeltool
