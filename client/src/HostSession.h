#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "client/src/CrashFiles.h"
#include "client/src/HostChannels.h"
#include "client/src/HostRecords.h"
#include "platform/include/process.h"

namespace client {

// How to start a host. Texts are UTF-8.
struct HostSettings {
    std::string program;
    std::string pluginDirectory;  // of the library xnn; absolute, "" for none, at most 255 bytes
    std::vector<std::pair<std::string, std::string>> environment;
    std::string standardOutput;  // as in platform::ProcessOptions
    std::string standardError;
};

// How a frame's pixels lie in the channel: as the caller gave them, or each as blue, green, red and 255.
enum class PixelLayout { AsGiven, Bgra };

// One picture, the caller's memory.
struct FrameView {
    ipc::FrameKind kind;
    uint32_t width;         // pixels
    uint32_t height;        // pixels
    size_t stride;          // bytes from row to row
    const uint8_t* pixels;  // height rows of rowBytes()

    size_t rowBytes() const { return size_t{width} * (kind == ipc::FrameKind::Content ? 1 : 3); }
    // Bytes in a layout, rows one behind the other.
    size_t bytes(PixelLayout layout) const {
        return layout == PixelLayout::Bgra ? size_t{width} * height * 4 : rowBytes() * height;
    }
    // Writes so many. Bgra is for pixels of three bytes.
    void copyTo(uint8_t* to, PixelLayout layout = PixelLayout::AsGiven) const;
};

// One host process, its channels under a name that was never used before, and the threads that read them. Every channel
// from the host is read all the time, so that the host never waits for this side.
class HostSession {
  public:
    // Starts the host with `commands` lying ready for it. Null when that fails: *channelsFailed tells whether for want
    // of the channels, *error says why.
    static std::unique_ptr<HostSession> start(const HostSettings& settings, SessionEvents& events, bool* channelsFailed,
                                              std::string* error);
    // Closes; does not end the process.
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    // Commands and frames never wait. False when the channel has no free slot. Any thread.
    bool chooseModel(uint32_t type, uint32_t capacity);
    bool setAutoSkip(bool on);
    bool acknowledgeBeat();
    bool terminate();
    // A frame that gets no reply and counts as a sign of life, for times when the host reads no commands.
    bool keepAlive();
    // One thread at a time, and not while another asks frameGivenBack.
    // `answers`: where its answer may come. In its layout the frame fits into a slot.
    bool sendFrame(const FrameView& frame, PixelLayout layout, bool skipAllowed, AnswerChannels answers);
    bool frameGivenBack() const { return mChannels.frameSlots->allGivenBack(); }

    int processId() const { return mProcess->id(); }
    int exitCode() const { return mProcess->exitCode(); }
    // One thread at a time.
    bool waitForExit(uint32_t timeoutMs) { return mProcess->waitForExit(timeoutMs); }
    // Any thread.
    void kill() { mProcess->kill(); }
    // What the host has left of a failure, once it has ended.
    CrashFiles crashFiles() const;

    // Microseconds of platform::monotonicMicroseconds at which the host was last heard.
    uint64_t lastLife() const { return mLastLife.load(std::memory_order_relaxed); }
    // A channel was found damaged, or a thread of ours could not go on.
    bool broken() const;

    // Delivers what is queued, ends the threads and lets the channels go. Not from a thread of the session.
    void close();

  private:
    explicit HostSession(SessionEvents& events);

    bool startProcess(const HostSettings& settings, std::string* error);
    bool startThreads(std::string* error);
    void run(const char* name, std::function<void()> body);
    bool command(ipc::CommandCode code, uint32_t arg0, uint32_t arg1, std::string_view text);
    void readEvents();
    void readLog();
    // Reads a channel that answers frames, and tells of frames that came back without an answer there.
    template <class Channel, class Consume>
    void readAnswers(AnswerChannels answers, Channel& channel, const Consume& consume);
    // Reads a channel until it is stopped and empty.
    template <class Channel, class Consume>
    void readAll(Channel& channel, const Consume& consume);
    void alive();

    SessionEvents& mEvents;
    const std::string mPid;
    const std::string mMid;
    std::vector<std::string> mCrashFolders;
    int64_t mStartedAt = 0;  // seconds since 1970 UTC
    HostChannels mChannels;
    HostRecords mRecords;
    std::unique_ptr<platform::Process> mProcess;
    std::vector<std::thread> mThreads;
    std::atomic<bool> mClosing{false};
    std::atomic<bool> mThreadFailed{false};
    std::atomic<uint64_t> mLastLife{0};
    std::atomic<uint64_t> mLastFrame{0};          // when a frame was sent last, microseconds
    std::atomic<AnswerChannels> mLastAnswers{0};  // where its answer may come
};

}  // namespace client
