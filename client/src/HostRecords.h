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

// A text as it lies in the host's slot: read in place, none of it checked.
struct TextView {
    const uint8_t* bytes;  // `most` of them may be read
    uint32_t size;
    uint32_t most;
};

// The channels on which a host answers frames; together they are a set of bits.
using AnswerChannels = uint32_t;
inline constexpr AnswerChannels kOnMasks = 1;
inline constexpr AnswerChannels kOnLadon = 2;
inline constexpr AnswerChannels kOnFaces = 4;
inline constexpr AnswerChannels kOnContent = 8;

// What a session hears from its host. Called on the session's threads, each function on one of them; several at once.
// Ends before HostSession::close returns.
class SessionEvents {
  public:
    virtual void onHello() = 0;
    virtual void onBeat() = 0;
    virtual void onModelName(const std::string& name) = 0;
    virtual void onModelType(uint32_t type) = 0;
    virtual void onLogLine(uint32_t level, const std::string& line) = 0;
    // An answer has come. What it lies in may be read until the return.
    virtual void onMask(const MaskView& mask) = 0;
    virtual void onFaces(const TextView& text) = 0;
    virtual void onContent(const TextView& text, bool valid) = 0;
    virtual void onLadon(const ipc::LadonResult& record) = 0;
    // The number of the frame that the host has, that may be answered on this channel and whose slot is already back in
    // the free list; 0 when there is none. The host writes its answer before it gives the slot back, so an answer, if
    // there is any, lies in the channel by now.
    virtual uint64_t frameGivenBack(AnswerChannels channel) = 0;
    // After frameGivenBack told a number, the channel was found empty: unless an answer came in between, that frame has
    // none here.
    virtual void onNoAnswer(AnswerChannels channel, uint64_t frame) = 0;

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
    void faces(const ipc::packet<ipc::FrameHolder<ipc::kRoiBytes>>& packet);
    void content(const ipc::packet<ipc::FrameHolder<ipc::kContentBytes>>& packet);
    void ladon(const ipc::packet<ipc::LadonResult>& packet);
    void log(const ipc::packet<ipc::Chunk<512>>& packet);

  private:
    SessionEvents& mEvents;
    LogLines mLogLines;
};

}  // namespace client
