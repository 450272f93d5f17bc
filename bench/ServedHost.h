#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ipc/channel_names.h"
#include "tests/support/HostProcess.h"
#include "tests/support/RawClient.h"

namespace zelbench {

// A picture on its way to the host.
struct Picture {
    uint32_t width = 0;
    uint32_t height = 0;
    ipc::FrameKind kind = ipc::FrameKind::Model;
    std::span<const uint8_t> bytes;
};

// A host process that serves frames, one at a time. Its beats are answered and its log is read on threads of their own,
// as a client does it. Every exchange raises std::runtime_error when no answer comes.
class ServedHost {
  public:
    // Starts the model type; 0 for none, for frames that need none.
    ServedHost(uint32_t type, uint32_t capacity);
    // In order, so that it takes its shared memory with it.
    ~ServedHost();

    // A frame of a segmentation model; its mask fills `mask`.
    void exchangeMask(const Picture& picture, std::vector<uint8_t>& mask);
    // A frame of a Ladon model; of its record the fields that are written.
    void exchangeLadon(const Picture& picture, ipc::LadonResult& result);
    // A frame for faces; their text.
    std::string exchangeFaces(const Picture& picture);
    // A frame of a screen; its text, "" for a frame without a result.
    std::string exchangeContent(const Picture& picture);

    int processId() { return mHost.process().id(); }

  private:
    void send(const Picture& picture);

    zeltest::HostProcess mHost;
    zeltest::RawClient mClient;
    ipc::ChannelListener<ipc::EventChannel> mEvents;
    ipc::ChannelListener<ipc::LogChannel> mLogs;
};

}  // namespace zelbench
