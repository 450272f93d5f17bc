#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "bench/Picture.h"
#include "ipc/channel_names.h"
#include "tests/support/HostProcess.h"
#include "tests/support/RawClient.h"
#include "util/include/CmMutex.h"

namespace zelbench {

// A picture on its way to the host.
struct Picture {
    uint32_t width = 0;
    uint32_t height = 0;
    ipc::FrameKind kind = ipc::FrameKind::Model;
    std::span<const uint8_t> bytes;
};

// A frame of the series for the model in force.
inline Picture modelPicture(const FrameSeries& series, uint64_t number) {
    return {series.width, series.height, ipc::FrameKind::Model, series.at(number)};
}

// What a host process is started with.
struct HostStart {
    std::vector<std::pair<std::string, std::string>> environment;
    // Takes each line of the host's log, on a thread of its own; empty to drop them.
    std::function<void(const std::string&)> onLogLine;
};

// A host process that serves frames, one at a time. Its beats are answered and its log is read on threads of their own,
// as a client does it. Everything that waits for the host raises std::runtime_error when no answer comes.
class ServedHost {
  public:
    // Starts the model type; 0 for none, for frames that need none. The library for the types that load one lies beside
    // the host.
    ServedHost(uint32_t type, uint32_t capacity, const HostStart& start = {});
    // In order, so that it takes its shared memory with it.
    ~ServedHost();

    // Starts another model type, and returns when the host has told that it is in force.
    void start(uint32_t type, uint32_t capacity);

    // A frame of a segmentation model; its mask fills `mask`.
    void exchangeMask(const Picture& picture, std::vector<uint8_t>& mask);
    // A frame of a Ladon model; of its record the fields that are written, for a type that loads the library the colour
    // table too.
    void exchangeLadon(const Picture& picture, ipc::LadonResult& result);
    // A frame for faces; their text.
    std::string exchangeFaces(const Picture& picture);
    // A frame of a screen; its text, "" for a frame without a result.
    std::string exchangeContent(const Picture& picture);

    int processId() { return mHost.process().id(); }
    // Whether the process is no more.
    bool ended() { return mHost.process().waitForExit(0); }

  private:
    void tellLibraryFolder();
    void onEvent(const ipc::Event& event);
    void onLogChunk(const ipc::Chunk<512>& chunk);
    void send(const Picture& picture);

    const std::function<void(const std::string&)> mOnLogLine;
    std::string mLogLine;  // the line that is being put together
    bool mHasTable = false;
    cm::Mutex mMutex;
    cm::Condition mTold;
    uint32_t mToldType ZEL_GUARDED_BY(mMutex) = 0;
    uint64_t mTypesTold ZEL_GUARDED_BY(mMutex) = 0;
    // Last: the listeners use what is above.
    zeltest::HostProcess mHost;
    zeltest::RawClient mClient;
    ipc::ChannelListener<ipc::EventChannel> mEvents;
    ipc::ChannelListener<ipc::LogChannel> mLogs;
};

}  // namespace zelbench
