#include "bench/ChannelRoad.h"

#include <cstring>

#include "bench/Rows.h"

namespace zelbench {

void ChannelRoad::exchange(const std::vector<uint8_t>& in, std::vector<uint8_t>& out) {
    mClient.frames->write([&in](auto& packet) {
        packet.record.size = static_cast<uint32_t>(in.size());
        std::memcpy(packet.record.data, in.data(), in.size());
    });
    mClient.results->read([&out](const auto& packet) { std::memcpy(out.data(), packet.record.data, out.size()); });
}

void serveChannelEcho(const std::string& baseName) {
    const auto frames = ipc::FrameChannel::openForRead(baseName + ipc::kFrameSuffix);
    const auto results = ipc::FrameChannel::openForWrite(baseName + ipc::kResultSuffix);
    const std::vector<uint8_t> answer(kMaskBytes, kAnswerByte);
    while (true) {
        frames->read([&](const auto&) {
            results->write([&answer](auto& packet) {
                packet.record.size = static_cast<uint32_t>(answer.size());
                std::memcpy(packet.record.data, answer.data(), answer.size());
            });
        });
    }
}

}  // namespace zelbench
