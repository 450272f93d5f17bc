#include "client/src/HostSession.h"

#include <chrono>
#include <cstring>
#include <exception>
#include <system_error>

#include "platform/include/clock.h"
#include "platform/include/thread.h"

namespace client {

namespace {

// How often the readers of answers look for a frame that came back without one: often while frames flow that are
// answered there, seldom otherwise.
constexpr uint32_t kBusyLookMs = 10;
constexpr uint32_t kIdleLookMs = 100;
constexpr uint64_t kBusyForUs = 1000000;

constexpr int32_t kNoReplyKind = -1;

// An id that no earlier host of this process id can have had, also when the process id is used again.
std::string freshId() {
    static std::atomic<uint32_t> count{0};
    return std::to_string(platform::monotonicMicroseconds()) + "n" + std::to_string(++count);
}

std::string_view bytesOf(const uint32_t& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

uint8_t* copyRowAsBgra(const uint8_t* from, uint32_t pixels, uint8_t* to) {
    for (uint32_t pixel = 0; pixel < pixels; ++pixel, from += 3, to += 4) {
        to[0] = from[2];
        to[1] = from[1];
        to[2] = from[0];
        to[3] = 255;
    }
    return to;
}

}  // namespace

void FrameView::copyTo(uint8_t* to, PixelLayout layout) const {
    if (layout == PixelLayout::Bgra) {
        for (uint32_t row = 0; row < height; ++row) to = copyRowAsBgra(pixels + row * stride, width, to);
        return;
    }
    const size_t bytes = rowBytes();
    if (stride == bytes) {
        std::memcpy(to, pixels, bytes * height);
        return;
    }
    for (uint32_t row = 0; row < height; ++row) std::memcpy(to + row * bytes, pixels + row * stride, bytes);
}

HostSession::HostSession(SessionEvents& events)
    : mEvents(events), mPid(std::to_string(platform::currentProcessId())), mMid(freshId()), mRecords(events) {}

std::unique_ptr<HostSession> HostSession::start(const HostSettings& settings, SessionEvents& events,
                                                bool* channelsFailed, std::string* error) {
    std::unique_ptr<HostSession> session(new HostSession(events));
    *channelsFailed = !session->mChannels.open(ipc::channelBaseName(session->mPid, session->mMid), error);
    if (*channelsFailed) return nullptr;
    session->alive();
    session->command(ipc::CommandCode::InitClient, 0, 0, bytesOf(static_cast<uint32_t>(platform::currentProcessId())));
    if (!settings.pluginDirectory.empty())
        session->command(ipc::CommandCode::SetModelPath, 0, 0, settings.pluginDirectory);
    if (!session->startProcess(settings, error)) return nullptr;
    if (session->startThreads(error)) return session;
    session->kill();
    session->waitForExit(platform::kInfinite);
    return nullptr;
}

bool HostSession::startProcess(const HostSettings& settings, std::string* error) {
    mCrashFolders = crashFolders(settings.program);
    mStartedAt =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    platform::ProcessOptions options;
    options.environment = settings.environment;
    options.standardOutput = settings.standardOutput;
    options.standardError = settings.standardError;
    const std::vector<std::string> arguments = {"PID=" + mPid, "MID=" + mMid};
    std::string why;
    mProcess = platform::startProcess(settings.program, arguments, options, &why);
    if (!mProcess) *error = "host " + settings.program + " does not start: " + why;
    return mProcess != nullptr;
}

bool HostSession::startThreads(std::string* error) {
    try {
        run("zelcl-event", [this] { readEvents(); });
        run("zelcl-log", [this] { readLog(); });
        run("zelcl-mask", [this] {
            readAnswers(kOnMasks, *mChannels.result, [this](const auto& packet) { mRecords.mask(packet); });
        });
        run("zelcl-face",
            [this] { readAnswers(kOnFaces, *mChannels.roi, [this](const auto& packet) { mRecords.faces(packet); }); });
        run("zelcl-content", [this] {
            readAnswers(kOnContent, *mChannels.content, [this](const auto& packet) { mRecords.content(packet); });
        });
        run("zelcl-ladon", [this] {
            readAnswers(kOnLadon, *mChannels.ladon, [this](const auto& packet) { mRecords.ladon(packet); });
        });
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

CrashFiles HostSession::crashFiles() const {
    return findCrashFiles(mCrashFolders, {mPid, mMid, processId(), mStartedAt});
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

bool HostSession::command(ipc::CommandCode code, uint32_t arg0, uint32_t arg1, std::string_view text) {
    return mChannels.command->write(
        [=](ipc::packet<ipc::Command>& packet) {
            packet.record = {};  // of the kinds of path, the library's
            packet.record.code = static_cast<uint32_t>(code);
            packet.record.arg0 = arg0;
            packet.record.arg1 = arg1;
            text.copy(packet.record.text, sizeof packet.record.text - 1);
        },
        0);
}

bool HostSession::chooseModel(uint32_t type, uint32_t capacity) {
    return command(ipc::CommandCode::SetModelType, type, capacity, {});
}

bool HostSession::setAutoSkip(bool on) {
    return command(ipc::CommandCode::SetOption, static_cast<uint32_t>(ipc::OptionNumber::AutoSkipVBG), 0,
                   {on ? "\1" : "", 1});
}

bool HostSession::acknowledgeBeat() {
    return command(ipc::CommandCode::HeartBeatAck, 0, 0, {});
}

bool HostSession::terminate() {
    return command(ipc::CommandCode::Terminate, 0, 0, {});
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

bool HostSession::sendFrame(const FrameView& frame, PixelLayout layout, bool skipAllowed, AnswerChannels answers) {
    mLastAnswers.store(answers, std::memory_order_relaxed);
    mLastFrame.store(platform::monotonicMicroseconds(), std::memory_order_relaxed);
    return mChannels.frame->write(
        [&](auto& packet) {
            auto& record = packet.record;
            record.width = frame.width;
            record.height = frame.height;
            record.size = static_cast<uint32_t>(frame.bytes(layout));
            record.kind = static_cast<int32_t>(frame.kind);
            record.skipAllowed = skipAllowed ? 1 : 0;
            frame.copyTo(record.data, layout);
        },
        0);
}

void HostSession::readEvents() {
    readAll(*mChannels.event, [this](const auto& packet) {
        alive();
        mRecords.event(packet);
    });
}

template <class Channel, class Consume>
void HostSession::readAnswers(AnswerChannels answers, Channel& channel, const Consume& consume) {
    const auto read = [&](const auto& packet) {
        alive();
        consume(packet);
    };
    while (!mClosing) {
        const uint64_t givenBack = mEvents.frameGivenBack(answers);
        const bool busy = (mLastAnswers.load(std::memory_order_relaxed) & answers) != 0 &&
                          platform::monotonicMicroseconds() - mLastFrame.load(std::memory_order_relaxed) < kBusyForUs;
        const uint32_t wait = givenBack ? 0 : busy ? kBusyLookMs : kIdleLookMs;
        if (!channel.read(read, wait) && givenBack) {
            alive();
            mEvents.onNoAnswer(answers, givenBack);
        }
    }
    while (channel.read(read, 0)) {
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
