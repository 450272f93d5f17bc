#pragma once

#include <memory>
#include <string>

#include "fuzz/HeapObjects.h"
#include "fuzz/Records.h"
#include "host/ZelMLHost.h"
#include "ipc/channel_names.h"
#include "util/include/CmTrace.h"

namespace fuzz {

// A whole host with its heart beat and its log, on channels in this process, and the client's ends of those that it
// writes. The records that it reads are handed to it one by one instead of through a channel, where an access outside
// the record would hit the next one. One at a time.
class HostUnderTest {
  public:
    HostUnderTest() {
        ipc::printOpenErrors(false);
        keepChannels();
        require(mHost.init("fuzz"));
        mEvents = ipc::EventChannel::openForRead(std::string("fuzz") + ipc::kEventSuffix);
        mMasks = ipc::FrameChannel::openForRead(std::string("fuzz") + ipc::kResultSuffix);
        mLadon = ipc::LadonChannel::openForRead(std::string("fuzz") + ipc::kLadonSuffix);
        mLog = ipc::LogChannel::openForRead(std::string("fuzz") + ipc::kLogSuffix);
        require(mEvents && mMasks && mLadon && mLog);
        sInUse = &mHost;
        set_util_external_trace_sink(forwardToHost);
    }
    ~HostUnderTest() {
        mHost.teardown();
        set_util_external_trace_sink(nullptr);
    }

    ZelMLHost& host() { return mHost; }

    void command(ipc::CommandCode code, uint32_t arg0 = 0, uint32_t arg1 = 0, char value = 0) {
        ipc::packet<ipc::Command> packet{};
        packet.record.code = static_cast<uint32_t>(code);
        packet.record.arg0 = arg0;
        packet.record.arg1 = arg1;
        packet.record.text[0] = value;
        mHost.onIpcCommand(packet);
    }

    // What a client does all the time: answers the heart beat and reads what has come, which must be as the host says
    // it is. To be called after every record, since no channel may fill up. Returns the model type of the last event 4,
    // 0 for none.
    uint32_t serve() {
        uint32_t type = 0;
        command(ipc::CommandCode::HeartBeatAck);
        while (mEvents->read([&type](const auto& packet) { type = checkEvent(packet.record, type); }, 0)) {
        }
        while (mMasks->read([](const auto& packet) { checkMask(packet.record); }, 0)) {
        }
        while (mLadon->read([](const auto& packet) { require(packet.record.size <= ipc::kFrameBytes); }, 0)) {
        }
        while (mLog->read([](const auto& packet) { checkChunk(packet.record); }, 0)) {
        }
        return type;
    }

  private:
    // The channels are handed on from host to host: 79 MB of new ones would take most of the time.
    static void keepChannels() { static HeapObjects objects; }

    static void forwardToHost(unsigned long level, char* text, unsigned length) {
        sInUse->sendLog(static_cast<uint32_t>(level), text, length);
    }

    static uint32_t checkEvent(const ipc::Event& event, uint32_t type) {
        require(event.code <= static_cast<uint32_t>(ipc::EventCode::ModelLoadTime));
        return event.code == static_cast<uint32_t>(ipc::EventCode::ModelType) ? event.modelType : type;
    }
    static void checkMask(const ipc::FrameHolder<ipc::kFrameBytes>& mask) {
        require(mask.size <= ZelVinoHelper::kMaskBytes && uint64_t{mask.width} * mask.height == mask.size);
    }
    static void checkChunk(const ipc::Chunk<512>& chunk) {
        require(chunk.size <= sizeof chunk.body && chunk.flags <= (ipc::kFirstChunk | ipc::kLastChunk));
    }

    inline static ZelMLHost* sInUse = nullptr;

    ZelMLHost mHost;
    std::shared_ptr<ipc::EventChannel> mEvents;
    std::shared_ptr<ipc::FrameChannel> mMasks;
    std::shared_ptr<ipc::LadonChannel> mLadon;
    std::shared_ptr<ipc::LogChannel> mLog;
};

}  // namespace fuzz
