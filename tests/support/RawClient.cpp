#include "tests/support/RawClient.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <stdexcept>

#include "platform/include/clock.h"
#include "platform/include/thread.h"

namespace zeltest {

namespace {

// Objects that are not there yet are the rule here, and each would leave its number on stdout.
[[maybe_unused]] const bool quietOpening = (ipc::printOpenErrors(false), true);

template <class Channel>
std::shared_ptr<Channel> required(std::shared_ptr<Channel> channel) {
    if (!channel) throw std::runtime_error("cannot open channel: " + platform::kernelObjects().lastErrorText());
    return channel;
}

// What is left of timeoutMs since `start`.
uint32_t remaining(uint32_t start, uint32_t timeoutMs) {
    return timeoutMs - std::min(timeoutMs, platform::tickCount() - start);
}

}  // namespace

std::string uniqueInstanceId() {
    static std::atomic<uint32_t> counter{0};
    return "t" + std::to_string(++counter) + "x" + std::to_string(platform::monotonicMicroseconds() % 100000000);
}

std::string uniqueBaseName() {
    return ipc::channelBaseName(std::to_string(platform::currentProcessId()), uniqueInstanceId());
}

RawClient::RawClient(const std::string& baseName)
    : commands(required(ipc::CommandChannel::openForWrite(baseName + ipc::kCommandSuffix))),
      events(required(ipc::EventChannel::openForRead(baseName + ipc::kEventSuffix))),
      frames(required(ipc::FrameChannel::openForWrite(baseName + ipc::kFrameSuffix))),
      sharing(required(ipc::FrameChannel::openForWrite(baseName + ipc::kSharingSuffix))),
      results(required(ipc::FrameChannel::openForRead(baseName + ipc::kResultSuffix))),
      rois(required(ipc::RoiChannel::openForRead(baseName + ipc::kRoiSuffix))),
      contents(required(ipc::ContentChannel::openForRead(baseName + ipc::kContentSuffix))),
      ladon(required(ipc::LadonChannel::openForRead(baseName + ipc::kLadonSuffix))),
      logs(required(ipc::LogChannel::openForRead(baseName + ipc::kLogSuffix))) {}

void RawClient::command(ipc::CommandCode code, uint32_t arg0, uint32_t arg1) {
    command([=](ipc::Command& command) {
        command.code = static_cast<uint32_t>(code);
        command.arg0 = arg0;
        command.arg1 = arg1;
    });
}

void RawClient::command(const std::function<void(ipc::Command&)>& fill) {
    commands->write([&fill](ipc::packet<ipc::Command>& packet) {
        packet.record = {};
        fill(packet.record);
    });
}

void RawClient::frame(uint32_t width, uint32_t height, const std::vector<uint8_t>& data, int32_t kind,
                      std::optional<uint32_t> size, bool onSharing, bool skipAllowed) {
    auto& channel = onSharing ? sharing : frames;
    channel->write([&](ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>& packet) {
        auto& frame = packet.record;
        frame.width = width;
        frame.height = height;
        frame.size = size.value_or(static_cast<uint32_t>(data.size()));
        frame.kind = kind;
        frame.skipAllowed = skipAllowed ? 1 : 0;
        std::copy_n(data.begin(), std::min(data.size(), sizeof frame.data), frame.data);
    });
}

void RawClient::showLife() {
    sharing->write(
        [](ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>& packet) {
            packet.record.size = 0;
            packet.record.kind = -1;
        },
        0);
}

std::optional<ipc::Event> RawClient::event(uint32_t timeoutMs) {
    std::optional<ipc::Event> result;
    events->read([&result](const ipc::packet<ipc::Event>& packet) { result = packet.record; }, timeoutMs);
    return result;
}

std::optional<ipc::Event> RawClient::event(ipc::EventCode code, uint32_t timeoutMs) {
    const uint32_t start = platform::tickCount();
    while (auto next = event(remaining(start, timeoutMs))) {
        if (next->code == static_cast<uint32_t>(code)) return next;
        if (next->code == static_cast<uint32_t>(ipc::EventCode::HeartBeat)) showLife();
    }
    return {};
}

std::optional<Mask> RawClient::mask(uint32_t timeoutMs) {
    std::optional<Mask> result;
    results->read(
        [&result](const ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>& packet) {
            const auto& frame = packet.record;
            result = Mask{frame.width,
                          frame.height,
                          frame.size,
                          {frame.data, frame.data + std::min<size_t>(frame.size, sizeof frame.data)}};
        },
        timeoutMs);
    return result;
}

std::unique_ptr<ipc::LadonResult> RawClient::ladonResult(uint32_t timeoutMs) {
    std::unique_ptr<ipc::LadonResult> result;
    ladon->read(
        [&result](const ipc::packet<ipc::LadonResult>& packet) {
            result = std::make_unique<ipc::LadonResult>(packet.record);
        },
        timeoutMs);
    return result;
}

std::optional<LogLine> RawClient::logLine(uint32_t timeoutMs) {
    const uint32_t start = platform::tickCount();
    LogLine line{};
    bool done = false;
    const auto append = [&](const ipc::packet<ipc::Chunk<512>>& packet) {
        const auto& chunk = packet.record;
        const bool first = chunk.flags & ipc::kFirstChunk;
        const size_t offset = first ? ipc::kChunkLevelBytes : 0;
        if (first) std::memcpy(&line.level, chunk.body, sizeof line.level);
        line.text.append(reinterpret_cast<const char*>(chunk.body) + offset, chunk.size - offset);
        done = chunk.flags & ipc::kLastChunk;
    };
    while (!done)
        if (!logs->read(append, remaining(start, timeoutMs))) return {};
    return line;
}

bool RawClient::awaitLog(const std::string& text, uint32_t timeoutMs) {
    const uint32_t start = platform::tickCount();
    while (auto line = logLine(remaining(start, timeoutMs)))
        if (line->text.find(text) != std::string::npos) return true;
    return false;
}

uint32_t RawClient::startModel(uint32_t type, uint32_t capacity) {
    command(ipc::CommandCode::SetModelType, type, capacity);
    const auto answer = event(ipc::EventCode::ModelType);
    if (!answer) throw std::runtime_error("the host did not answer SetModelType");
    return answer->modelType;
}

}  // namespace zeltest
