#include "client/src/HostSession.h"

#include <cstring>
#include <exception>
#include <system_error>

#include "platform/include/clock.h"
#include "platform/include/thread.h"

namespace client {

namespace {

// How often the reader of masks looks for a frame that came back without one: often while frames flow, seldom
// otherwise.
constexpr uint32_t kBusyLookMs = 10;
constexpr uint32_t kIdleLookMs = 100;
constexpr uint64_t kBusyForUs = 1000000;

constexpr int32_t kNoReplyKind = -1;

// An id that no earlier host of this process id can have had, also when the process id is used again.
std::string freshId() {
    static std::atomic<uint32_t> count{0};
    return std::to_string(platform::monotonicMicroseconds()) + "n" + std::to_string(++count);
}

}  // namespace

HostSession::HostSession(SessionEvents& events) : mEvents(events), mRecords(events) {}

std::unique_ptr<HostSession> HostSession::start(const HostSettings& settings, SessionEvents& events,
                                                bool* channelsFailed, std::string* error) {
    std::unique_ptr<HostSession> session(new HostSession(events));
    const std::string mid = freshId();
    *channelsFailed =
        !session->mChannels.open(ipc::channelBaseName(std::to_string(platform::currentProcessId()), mid), error);
    if (*channelsFailed) return nullptr;
    session->alive();
    session->command(ipc::CommandCode::InitClient, 0, 0, static_cast<uint32_t>(platform::currentProcessId()));
    if (!session->startProcess(settings, mid, error)) return nullptr;
    if (session->startThreads(error)) return session;
    session->kill();
    session->waitForExit(platform::kInfinite);
    return nullptr;
}

bool HostSession::startProcess(const HostSettings& settings, const std::string& mid, std::string* error) {
    platform::ProcessOptions options;
    options.environment = settings.environment;
    options.standardOutput = settings.standardOutput;
    options.standardError = settings.standardError;
    const std::vector<std::string> arguments = {"PID=" + std::to_string(platform::currentProcessId()), "MID=" + mid};
    std::string why;
    mProcess = platform::startProcess(settings.program, arguments, options, &why);
    if (!mProcess) *error = "host " + settings.program + " does not start: " + why;
    return mProcess != nullptr;
}

bool HostSession::startThreads(std::string* error) {
    try {
        run("zelcl-event", [this] { readEvents(); });
        run("zelcl-mask", [this] { readMasks(); });
        run("zelcl-log", [this] { readLog(); });
        const auto skip = [this](const auto&) { alive(); };
        run("zelcl-face", [this, skip] { readAll(*mChannels.roi, skip); });
        run("zelcl-content", [this, skip] { readAll(*mChannels.content, skip); });
        run("zelcl-ladon", [this, skip] { readAll(*mChannels.ladon, skip); });
        return true;
    } catch (const std::system_error& failure) {
        *error = std::string("no thread for the host's channels: ") + failure.what();
        return false;
    }
}

void HostSession::run(const char* name, std::function<void()> body) {
    mThreads.emplace_back([this, name, body = std::move(body)] {
        platform::setThreadName(name);
        try {
            body();
        } catch (const std::exception&) {
            mThreadFailed = true;
        }
    });
}

HostSession::~HostSession() {
    close();
}

void HostSession::close() {
    mClosing = true;
    if (mChannels.frameSlots) mChannels.stop();
    for (std::thread& thread : mThreads) thread.join();
    mThreads.clear();
}

bool HostSession::broken() const {
    return mThreadFailed || mChannels.broken();
}

bool HostSession::command(ipc::CommandCode code, uint32_t arg0, uint32_t arg1, uint32_t text) {
    return mChannels.command->write(
        [=](ipc::packet<ipc::Command>& packet) {
            packet.record = {};
            packet.record.code = static_cast<uint32_t>(code);
            packet.record.arg0 = arg0;
            packet.record.arg1 = arg1;
            std::memcpy(packet.record.text, &text, sizeof text);
        },
        0);
}

bool HostSession::chooseModel(uint32_t type, uint32_t capacity) {
    return command(ipc::CommandCode::SetModelType, type, capacity, 0);
}

bool HostSession::setAutoSkip(bool on) {
    return command(ipc::CommandCode::SetOption, static_cast<uint32_t>(ipc::OptionNumber::AutoSkipVBG), 0, on ? 1 : 0);
}

bool HostSession::acknowledgeBeat() {
    return command(ipc::CommandCode::HeartBeatAck, 0, 0, 0);
}

bool HostSession::terminate() {
    return command(ipc::CommandCode::Terminate, 0, 0, 0);
}

bool HostSession::keepAlive() {
    return mChannels.sharing->write(
        [](auto& packet) {
            packet.record.width = 0;
            packet.record.height = 0;
            packet.record.size = 0;
            packet.record.kind = kNoReplyKind;
        },
        0);
}

bool HostSession::sendFrame(const FrameView& frame, bool skipAllowed) {
    mLastFrame.store(platform::monotonicMicroseconds(), std::memory_order_relaxed);
    return mChannels.frame->write(
        [&](auto& packet) {
            auto& record = packet.record;
            const size_t rowBytes = size_t{frame.width} * 3;
            record.width = frame.width;
            record.height = frame.height;
            record.size = static_cast<uint32_t>(rowBytes * frame.height);
            record.kind = static_cast<int32_t>(ipc::FrameKind::Model);
            record.skipAllowed = skipAllowed ? 1 : 0;
            if (frame.stride == rowBytes) {
                std::memcpy(record.data, frame.rgb, rowBytes * frame.height);
                return;
            }
            for (uint32_t row = 0; row < frame.height; ++row)
                std::memcpy(record.data + row * rowBytes, frame.rgb + row * frame.stride, rowBytes);
        },
        0);
}

void HostSession::readEvents() {
    readAll(*mChannels.event, [this](const auto& packet) {
        alive();
        mRecords.event(packet);
    });
}

void HostSession::readMasks() {
    const auto consume = [this](const auto& packet) {
        alive();
        mRecords.mask(packet);
    };
    while (!mClosing) {
        const uint64_t givenBack = mEvents.frameGivenBack();
        const bool busy = platform::monotonicMicroseconds() - mLastFrame.load(std::memory_order_relaxed) < kBusyForUs;
        const uint32_t wait = givenBack ? 0 : busy ? kBusyLookMs : kIdleLookMs;
        if (!mChannels.result->read(consume, wait) && givenBack) {
            alive();
            mEvents.onNoMask(givenBack);
        }
    }
    while (mChannels.result->read(consume, 0)) {
    }
}

void HostSession::readLog() {
    readAll(*mChannels.log, [this](const auto& packet) {
        alive();
        mRecords.log(packet);
    });
}

template <class Channel, class Consume>
void HostSession::readAll(Channel& channel, const Consume& consume) {
    while (channel.read(consume)) {
    }
    if (!mClosing) mThreadFailed = true;
}

void HostSession::alive() {
    mLastLife.store(platform::monotonicMicroseconds(), std::memory_order_relaxed);
}

}  // namespace client
