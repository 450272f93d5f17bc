#pragma once

#include <cstdint>
#include <string>

#include "client/src/LogLines.h"
#include "ipc/packet.h"

namespace client {

// A mask as it lies in the host's slot: read in place, none of it checked.
struct MaskView {
    uint32_t width;
    uint32_t height;
    uint32_t size;
    const uint8_t* bytes;  // ipc::kFrameBytes of them may be read
};

// What a session hears from its host. Called on the session's threads, each function on one of them; several at once.
// Ends before HostSession::close returns.
class SessionEvents {
  public:
    virtual void onHello() = 0;
    virtual void onBeat() = 0;
    virtual void onModelName(const std::string& name) = 0;
    virtual void onModelType(uint32_t type) = 0;
    virtual void onLogLine(uint32_t level, const std::string& line) = 0;
    // A mask has come.
    virtual void onMask(const MaskView& mask) = 0;
    // The number of the frame that the host has and whose slot is already back in the free list; 0 when there is none.
    // The host writes a mask before it gives the slot back, so that mask, if there is any, lies in the channel by now.
    virtual uint64_t frameGivenBack() = 0;
    // After frameGivenBack told a number, the channel of masks was found empty: unless onMask came in between, that
    // frame has none.
    virtual void onNoMask(uint64_t frame) = 0;

  protected:
    ~SessionEvents() = default;
};

// Reads the records of a host, each in place in its slot, and tells what they say. The host may have written anything
// there and may still write. Each function on one thread; several at once.
class HostRecords {
  public:
    explicit HostRecords(SessionEvents& events);

    // Leaves an empty text in the slot: the host writes a name without a terminator over what the slot holds.
    void event(const ipc::packet<ipc::Event>& packet);
    void mask(const ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>& packet);
    void log(const ipc::packet<ipc::Chunk<512>>& packet);

  private:
    SessionEvents& mEvents;
    LogLines mLogLines;
};

}  // namespace client
