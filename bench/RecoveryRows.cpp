#include <zelclient.h>

#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "bench/Picture.h"
#include "bench/Rows.h"
#include "platform/include/clock.h"
#include "platform/include/process.h"
#include "tests/support/HostProcess.h"

namespace zelbench {

namespace {

constexpr uint32_t kFramePauseMs = 5;
constexpr uint64_t kServedUs = 1500000;

struct Recovery {
    double reportedMs;  // from the kill to the client library's word that there is no host
    double masksMs;     // from the kill to the first mask of a frame submitted after that
};

// A program on the client library that submits a frame every few milliseconds, as from a camera.
class CameraProgram {
  public:
    explicit CameraProgram(const FrameSeries& series) : mSeries(series) {
        zelclient_options options;
        zelclient_options_init(&options);
        const std::string program = zeltest::HostProcess::program();
        options.host_program = program.c_str();
        options.restarts_per_minute = 1000;
        options.on_state = [](void* self, zelclient_state state) { static_cast<CameraProgram*>(self)->onState(state); };
        options.user = this;
        char error[256];
        if (zelclient_start(&options, &mClient, error, sizeof error) != ZELCLIENT_OK) throw std::runtime_error(error);
    }
    ~CameraProgram() { zelclient_stop(mClient); }
    CameraProgram(const CameraProgram&) = delete;
    CameraProgram& operator=(const CameraProgram&) = delete;

    Recovery killHost() {
        serve();
        zelclient_info info;
        zelclient_get_info(mClient, &info);
        mReportedAt = 0;
        const uint64_t killed = platform::monotonicMicroseconds();
        platform::killProcess(info.host_pid);
        while (mReportedAt == 0) submitAndTake();
        const uint64_t lastTagBefore = mLastTag;
        awaitMask(lastTagBefore);
        const auto since = [killed](uint64_t moment) { return static_cast<double>(moment - killed) / 1000; };
        return {since(mReportedAt), since(platform::monotonicMicroseconds())};
    }

  private:
    void onState(zelclient_state state) {
        if (state == ZELCLIENT_STARTING && mReportedAt == 0) mReportedAt = platform::monotonicMicroseconds();
    }

    // Longer than a host must live for the client library to replace it without a pause.
    void serve() {
        const uint64_t end = platform::monotonicMicroseconds() + kServedUs;
        while (platform::monotonicMicroseconds() < end) awaitMask(mLastTag);
    }

    // Until there is the mask of a frame behind `tag`.
    void awaitMask(uint64_t tag) {
        const uint64_t end = platform::monotonicMicroseconds() + uint64_t{zeltest::kDeadlineMs} * 1000;
        while (submitAndTake() <= tag)
            if (platform::monotonicMicroseconds() > end) throw std::runtime_error("the client library gives no masks");
    }

    // Submits the next frame and takes what is there. The newest frame that got a mask; 0 for none.
    uint64_t submitAndTake() {
        const uint64_t tag = ++mLastTag;
        const zelclient_frame frame = {mSeries.width, mSeries.height,      0, mSeries.at(tag).data(),
                                       tag,           ZELCLIENT_KIND_MODEL};
        if (zelclient_submit(mClient, &frame) != ZELCLIENT_OK) throw std::runtime_error("the client has given up");
        uint64_t masked = 0;
        zelclient_result result;
        for (uint32_t wait = kFramePauseMs; zelclient_wait(mClient, wait, &result) == ZELCLIENT_OK; wait = 0)
            if (result.status == ZELCLIENT_MASK) masked = result.tag;
        return masked;
    }

    const FrameSeries& mSeries;
    zelclient* mClient = nullptr;
    uint64_t mLastTag = 0;
    std::atomic<uint64_t> mReportedAt{0};
};

// How long a host that is up takes from being asked for the network to having it in force, milliseconds.
double loadTime() {
    zeltest::HostProcess host;
    zeltest::RawClient client(host.baseName());
    client.command(ipc::CommandCode::InitClient);
    if (!client.event(ipc::EventCode::InitClientReply)) throw std::runtime_error("the host did not answer");
    const uint64_t start = platform::monotonicMicroseconds();
    client.startModel(ZELCLIENT_MODEL_SEGMENTATION_CPU, 0);
    const double elapsed = static_cast<double>(platform::monotonicMicroseconds() - start) / 1000;
    client.command(ipc::CommandCode::Terminate);
    host.exitCode();
    return elapsed;
}

}  // namespace

void measureRecovery(const Settings& settings, Report& report) {
    const FrameSeries series = readFrames(settings.picture, 256, 144);
    CameraProgram camera(series);
    std::vector<double> reported, masks, loads;
    for (int count = 0; count < settings.starts; ++count) {
        const Recovery recovery = camera.killHost();
        reported.push_back(recovery.reportedMs);
        masks.push_back(recovery.masksMs);
        loads.push_back(loadTime());
    }
    const double load = percentile(loads, 0.5);
    const Comparison told = figuresAlone(reported), again = figuresAlone(masks);
    char note[64];
    std::snprintf(note, sizeof note, "load %.0f ms", load);
    report.add({"killed host until it is reported", "", "ms", told, "<= 100 ms", told.oursP50 <= 100, ""});
    report.add({"killed host until masks come again", "", "ms", again, "<= 1 s and the model's load",
                again.oursP50 <= 1000 + load, note});
}

}  // namespace zelbench
