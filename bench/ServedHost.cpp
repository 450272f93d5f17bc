#include "bench/ServedHost.h"

#include <cstring>
#include <stdexcept>

namespace zelbench {

namespace {

template <class Channel, class Take>
void receive(Channel& channel, const Take& take) {
    if (!channel.read([&take](const auto& packet) { take(packet.record); }, zeltest::kDeadlineMs))
        throw std::runtime_error("the host did not answer a frame");
}

template <class Record>
std::string textOf(const Record& record) {
    return {reinterpret_cast<const char*>(record.data), std::min<size_t>(record.size, sizeof record.data)};
}

}  // namespace

ServedHost::ServedHost(uint32_t type, uint32_t capacity) : mClient(mHost.baseName()) {
    if (type != 0 && mClient.startModel(type, capacity) != type)
        throw std::runtime_error("the host did not start type " + std::to_string(type));
    mEvents.start(mClient.events, [this](const auto& packet) {
        if (packet.record.code == static_cast<uint32_t>(ipc::EventCode::HeartBeat))
            mClient.command(ipc::CommandCode::HeartBeatAck);
    });
    mLogs.start(mClient.logs, [](const auto&) {});
}

ServedHost::~ServedHost() {
    mClient.command(ipc::CommandCode::Terminate);
    mHost.process().waitForExit(zeltest::kDeadlineMs);
}

void ServedHost::send(const Picture& picture) {
    mClient.frames->write([&picture](auto& packet) {
        auto& record = packet.record;
        record.width = picture.width;
        record.height = picture.height;
        record.size = static_cast<uint32_t>(picture.bytes.size());
        record.kind = static_cast<int32_t>(picture.kind);
        record.skipAllowed = 1;
        std::memcpy(record.data, picture.bytes.data(), picture.bytes.size());
    });
}

void ServedHost::exchangeMask(const Picture& picture, std::vector<uint8_t>& mask) {
    send(picture);
    receive(*mClient.results, [&mask](const auto& record) { std::memcpy(mask.data(), record.data, mask.size()); });
}

void ServedHost::exchangeLadon(const Picture& picture, ipc::LadonResult& result) {
    send(picture);
    receive(*mClient.ladon, [&](const ipc::LadonResult& record) {
        result.size = record.size;
        result.motion = record.motion;
        result.skipRun = record.skipRun;
        std::memcpy(result.landmarks, record.landmarks, sizeof result.landmarks);
        std::memcpy(result.gesture, record.gesture, sizeof result.gesture);
        std::memcpy(result.mask, record.mask, size_t{picture.width} * picture.height);
    });
}

std::string ServedHost::exchangeFaces(const Picture& picture) {
    std::string text;
    send(picture);
    receive(*mClient.rois, [&text](const auto& record) { text = textOf(record); });
    return text;
}

std::string ServedHost::exchangeContent(const Picture& picture) {
    std::string text;
    send(picture);
    receive(*mClient.contents, [&text](const auto& record) {
        if (record.resultValid) text = textOf(record);
    });
    return text;
}

}  // namespace zelbench
