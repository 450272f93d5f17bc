#include "bench/ServedHost.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace zelbench {

namespace {

constexpr uint32_t kFirstLibraryType = 8;

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

ServedHost::ServedHost(uint32_t type, uint32_t capacity, const HostStart& start)
    : mOnLogLine(start.onLogLine), mHost(start.environment), mClient(mHost.baseName()) {
    mEvents.start(mClient.events, [this](const auto& packet) { onEvent(packet.record); });
    mLogs.start(mClient.logs, [this](const auto& packet) { onLogChunk(packet.record); });
    tellLibraryFolder();
    if (type != 0) this->start(type, capacity);
}

void ServedHost::tellLibraryFolder() {
    mClient.command([](ipc::Command& command) {
        const std::string folder = std::filesystem::path(zeltest::HostProcess::program()).parent_path().string();
        command.code = static_cast<uint32_t>(ipc::CommandCode::SetModelPath);
        command.pathKind = static_cast<int32_t>(ipc::PathKind::XnnLibrary);
        folder.copy(command.text, sizeof command.text - 1);
    });
}

void ServedHost::onEvent(const ipc::Event& event) {
    if (event.code == static_cast<uint32_t>(ipc::EventCode::HeartBeat)) mClient.command(ipc::CommandCode::HeartBeatAck);
    if (event.code != static_cast<uint32_t>(ipc::EventCode::ModelType)) return;
    const cm::LockGuard lock(mMutex);
    mToldType = event.modelType;
    ++mTypesTold;
    mTold.notify_all();
}

void ServedHost::onLogChunk(const ipc::Chunk<512>& chunk) {
    if (!mOnLogLine) return;
    if (chunk.flags & ipc::kFirstChunk) mLogLine.clear();
    const size_t offset = chunk.flags & ipc::kFirstChunk ? ipc::kChunkLevelBytes : 0;
    mLogLine.append(reinterpret_cast<const char*>(chunk.body) + offset, chunk.size - offset);
    if (chunk.flags & ipc::kLastChunk) mOnLogLine(mLogLine);
}

void ServedHost::start(uint32_t type, uint32_t capacity) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(zeltest::kDeadlineMs);
    const cm::LockGuard lock(mMutex);
    const uint64_t before = mTypesTold;
    mClient.command(ipc::CommandCode::SetModelType, type, capacity);
    while (mTypesTold == before)
        if (mTold.wait_until(mMutex, end) == std::cv_status::timeout)
            throw std::runtime_error("the host did not answer SetModelType");
    if (mToldType != type) throw std::runtime_error("the host did not start type " + std::to_string(type));
    mHasTable = type >= kFirstLibraryType;
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
        if (!mHasTable) return;
        std::memcpy(result.lut, record.lut, sizeof result.lut);
        std::memcpy(result.lutVertices, record.lutVertices, sizeof result.lutVertices);
        result.lutConfidence = record.lutConfidence;
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
