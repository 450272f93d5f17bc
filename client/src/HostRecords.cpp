#include "client/src/HostRecords.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace client {

HostRecords::HostRecords(SessionEvents& events)
    : mEvents(events),
      mLogLines([&events](uint32_t level, const std::string& line) { events.onLogLine(level, line); }) {}

void HostRecords::event(const ipc::packet<ipc::Event>& packet) {
    const ipc::Event event = packet.record;
    std::memset(const_cast<ipc::Event&>(packet.record).text, 0, sizeof packet.record.text);
    switch (static_cast<ipc::EventCode>(event.code)) {
        case ipc::EventCode::InitClientReply:
            return mEvents.onHello();
        case ipc::EventCode::HeartBeat:
            return mEvents.onBeat();
        case ipc::EventCode::ModelName: {
            const auto* end = std::find(std::begin(event.text), std::end(event.text), 0);
            return mEvents.onModelName(std::string(std::begin(event.text), end));
        }
        case ipc::EventCode::ModelType:
            return mEvents.onModelType(event.modelType);
        case ipc::EventCode::ModelLoadTime:
            return;
    }
}

void HostRecords::mask(const ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>& packet) {
    const auto& record = packet.record;
    mEvents.onMask({record.width, record.height, record.size, record.data});
}

void HostRecords::faces(const ipc::packet<ipc::FrameHolder<ipc::kRoiBytes>>& packet) {
    const auto& record = packet.record;
    mEvents.onFaces({record.data, record.size, sizeof record.data});
}

void HostRecords::content(const ipc::packet<ipc::FrameHolder<ipc::kContentBytes>>& packet) {
    const auto& record = packet.record;
    mEvents.onContent({record.data, record.size, sizeof record.data}, record.resultValid != 0);
}

void HostRecords::ladon(const ipc::packet<ipc::LadonResult>& packet) {
    mEvents.onLadon(packet.record);
}

void HostRecords::log(const ipc::packet<ipc::Chunk<512>>& packet) {
    const uint8_t flags = packet.record.flags;
    const uint32_t size = packet.record.size;
    mLogLines.chunk(flags, size, packet.record.body, sizeof packet.record.body);
}

}  // namespace client
