#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "detect/ZelContentVinoHelper.h"
#include "detect/ZelFaceVinoHelper.h"
#include "engines/vino/ZelHelper.h"
#include "engines/vino/ZelLadonVinoHelper.h"
#include "engines/vino/ZelVinoHelper.h"
#include "engines/xnn/ZelLadonXnnHelper.h"
#include "host/BoundedMutex.h"
#include "host/EngineTypes.h"
#include "host/WorkCounter.h"
#include "ipc/channel_names.h"
#include "util/include/CmAsyncTimer.h"
#include "util/include/CmThread.h"

// The host object: owns the nine channels, the two frame threads, the heart beat and the model helpers. The process
// holds one, a global; tests make their own under other names.
//
// Threads: main runs commands and model starts, "zelml-disp" the heart beat, two "scn-ipc" threads a whole frame each,
// and one background thread a GPU load. mEngineMutex covers a frame and every change of the model in force, so frames
// of both channels run one at a time. A client that stops reading blocks whoever writes to it, but never the end of the
// process: see stopWriters.
class ZelMLHost : public CCmAsyncTimerSink {
  public:
    ZelMLHost();
    void OnTimer(CCmAsyncTimer* timer) override;
    ~ZelMLHost() override;
    ZelMLHost(const ZelMLHost&) = delete;
    ZelMLHost& operator=(const ZelMLHost&) = delete;

    // The process's one host.
    static ZelMLHost& instance();

    // Opens the channels under `ipc_id` and starts the heart beat. False, with everything released, when a required
    // channel cannot be opened.
    bool init(const std::string& ipc_id);
    // Starts the two frame threads. Always true.
    bool listenOnFrame();
    // The main loop: executes commands until the host is stopped.
    void run();
    // Stops heart beat, frame threads and channels; later calls do nothing. Frames in work get at most one second.
    void teardown();
    // Stops and drops all channels.
    void release();

    // Runs one command, on the thread that reads the command channel.
    void onIpcCommand(const ipc::packet<ipc::Command>& packet);
    // Runs one frame, from the slot to the reply.
    void onSDFrameIpcPacket(const ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>& packet);
    // The same for a record that nobody has looked at: drops one whose size exceeds its slot, with `invalidText` and
    // the size as a line. What the frame threads call.
    void onFrame(const ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>& packet, const char* invalidText);

    // Puts a model type in force: starts its engine, retires the old one, reports by events 3 and 4. Main thread.
    void setModelType(uint32_t type, DEV_PERFORMANCE_TYPE capacity);
    void setOption(uint32_t optionNumber, uint8_t option);

    // Senders. Each builds the record in a slot of its channel and may block until one is free; false when the channel
    // is missing, stopped, or had no free slot within timeoutMs. The label is not used.
    bool sendEvent(const std::string& label, std::function<void(ipc::Event&)>&& fill,
                   uint32_t timeoutMs = platform::kInfinite);
    bool sendFrame(const std::string& label, std::function<void(ipc::FrameHolder<ipc::kFrameBytes>&)>&& fill);
    bool sendROI(const std::string& label, std::function<void(ipc::FrameHolder<ipc::kRoiBytes>&)>&& fill);
    bool sendContentROI(const std::string& label, std::function<void(ipc::FrameHolder<ipc::kContentBytes>&)>&& fill);
    bool sendLadonResults(const std::string& label,
                          std::function<void(ipc::LadonResultHolder<ipc::kFrameBytes>&)>&& fill);
    // Sends the faces found in a frame, as a text of up to 255 bytes; in place of a longer one goes, with a line, an
    // empty one whose size means nothing.
    void sendFaceText(const std::string& text);
    // The same for the regions of a screen, of up to 2000 bytes; null for a frame that gave no result.
    void sendContentText(const std::string* text);
    // Reports mModelLoadTime by event 5 unless it is 0. Always true.
    bool sendModelLoadTime();
    // The trace sink: sends one log line to the client in chunks. Once the host is stopping, or on the heart beat's
    // thread, it waits at most 200 ms for a slot and drops the rest of the line. In the crash filter it waits for
    // nothing: a line that does not get through at once goes to stderr.
    void sendLog(uint32_t level, char* message, uint32_t length);

    // What ends the process when an orderly end takes too long after the client has gone; none unless set. Called from
    // a thread of its own.
    void setLastResort(void (*endProcess)());

  private:
    using FramePacket = ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>;
    using LogChunk = ipc::Chunk<512>;
    struct Frame;

    // Life.
    bool openChannels(const std::string& ipc_id);
    void startHeartBeat();
    void stopHeartBeat();
    void beginStop();
    void stopWriters();
    void armLastResort(uint32_t delayMs);
    void reportBrokenChannels();

    // Frames.
    void runModelInForce(const Frame& frame);
    bool inferAndSend(const Frame& frame);
    bool runModule(const Frame& frame);
    bool runSegmentation(const Frame& frame);
    void sendMask(const Frame& frame, const uint8_t* mask);
    template <class LadonHelper>
    bool runLadon(LadonHelper& helper, const Frame& frame);
    void reportLoadTime(int32_t loadMs);
    void runFaceDetection(const Frame& frame);
    void runContentDetection(const Frame& frame);

    // Engine selection.
    bool initMLengine(ZEL_TYPE type, const std::string& device, DEV_PERFORMANCE_TYPE capacity);
    bool initHelper(ZEL_HELPER_TYPE type, const std::string& device, DEV_PERFORMANCE_TYPE capacity);
    bool startModule();
    bool startVinoHelper(const std::string& device, DEV_PERFORMANCE_TYPE capacity);
    bool startLadonVinoHelper(const std::string& device, DEV_PERFORMANCE_TYPE capacity);
    bool startLadonXnnHelper(const std::string& device, DEV_PERFORMANCE_TYPE capacity);
    std::shared_ptr<ZelLadonVinoHelper> restingLadonVinoHelper();
    void onLadonLoaded(uint32_t type);
    template <class Helper>
    bool startOn(const std::shared_ptr<Helper>& helper, const std::string& device, DEV_PERFORMANCE_TYPE capacity);
    template <class Helper>
    void loadInBackground(std::shared_ptr<Helper> helper, const std::string& device);
    void detachLoadThread();
    bool takesNameOfXnn(ZEL_TYPE type);
    void retireEngine(ZEL_TYPE oldType, ZEL_TYPE newType);
    std::string resolveDevice(uint32_t& type) const;
    void retireLadonVinoHelper();

    // A helper as it stands, whatever a frame holds meanwhile.
    template <class Helper>
    std::shared_ptr<Helper> helperOf(const std::shared_ptr<Helper>& member) const {
        const std::lock_guard<std::mutex> lock(mHelperMutex);
        return member;
    }

    // Under mEngineMutex as well. The one before ends after mHelperMutex is free.
    template <class Helper>
    void setHelper(std::shared_ptr<Helper>& member, std::shared_ptr<Helper> helper) {
        const std::lock_guard<std::mutex> lock(mHelperMutex);
        member.swap(helper);
    }

    // Logs.
    bool sendLogLine(uint32_t level, const char* text, uint32_t length);
    uint32_t logWaitMs() const;  // how long a line may wait for another to be through
    bool writeLogChunk(ipc::LogChannel& channel, std::function<void(LogChunk&)> fill);

    template <class Channel>
    std::shared_ptr<Channel> copyOf(const std::shared_ptr<Channel>& channel) const {
        const std::lock_guard<std::mutex> lock(mChannelMutex);
        return channel;
    }

    // For the crash filter, whose thread may have failed while it held the lock: null then.
    template <class Channel>
    std::shared_ptr<Channel> tryCopyOf(const std::shared_ptr<Channel>& channel) const {
        const std::unique_lock<std::mutex> lock(mChannelMutex, std::try_to_lock);
        return lock ? channel : nullptr;
    }

    std::shared_ptr<ipc::CommandChannel> mCommandChannel;
    std::shared_ptr<ipc::EventChannel> mEventChannel;
    std::shared_ptr<ipc::FrameChannel> mFrameChannel;
    std::shared_ptr<ipc::FrameChannel> mSharingChannel;
    ipc::FrameListener mFrameListener;
    ipc::FrameListener mSharingListener;
    std::shared_ptr<ipc::FrameChannel> mResultChannel;
    std::shared_ptr<ipc::LadonChannel> mLadonChannel;
    std::shared_ptr<ipc::RoiChannel> mRoiChannel;
    std::shared_ptr<ipc::ContentChannel> mContentChannel;
    std::shared_ptr<ipc::LogChannel> mLogChannel;
    BoundedMutex mLogMutex;  // over all chunks of one log message

    std::atomic<bool> mStop{false};
    std::atomic<bool> mEngineReady{false};
    ACmThread* mDispatchThread = nullptr;
    std::shared_ptr<CCmAsyncTimer> mTimer;
    std::atomic<uint32_t> mHeartBeatMisses{0};
    ZEL_TYPE mZelType = ZEL_TYPE::kIdle;                         // under mEngineMutex; written by the main thread only
    DEV_PERFORMANCE_TYPE mDevCapacity = 0;                       // under mEngineMutex; written by the main thread only
    ZelHelper mZelHelper;                                        // under mEngineMutex
    std::shared_ptr<ZelVinoHelper> m_pVinoHelper;                // read under mEngineMutex or mHelperMutex, written
                                                                 // under both; a background load shares it
    std::shared_ptr<ZelLadonVinoHelper> m_pLadonVinoHelper;      // the same
    std::shared_ptr<ZelLadonXnnHelper> m_pLadonXnnHelper;        // the same; made at first use, stays
    std::unique_ptr<ZelFaceVinoHelper> m_pFaceVinoHelper;        // under mEngineMutex; made with the first frame
    std::unique_ptr<ZelContentVinoHelper> m_pContentVinoHelper;  // the same
    bool mDeleteLadonPending = false;   // a retired Ladon helper waits for its load; under mEngineMutex
    std::vector<uint8_t> mSkippedMask;  // takes the mask of a skipped frame; under mEngineMutex
    char mModelPath[256] = {};
    char mXnnLibPath[256] = {};
    std::string mModelName;  // main thread only
    std::thread mLoadThread;
    uint32_t mModelLoadTime = 0;  // under mEngineMutex

    std::recursive_mutex mEngineMutex;
    std::mutex mTeardownMutex;
    bool mTornDown = false;            // under mTeardownMutex
    mutable std::mutex mChannelMutex;  // over the channel pointers only; taken last
    mutable std::mutex mHelperMutex;   // over the pointers of the three helpers only; taken last

    WorkCounter mFramesInWork;
    WorkCounter mLoadsInWork;
    std::atomic<bool> mStopping{false};    // log writes no longer wait for the client
    std::atomic<bool> mClientDeaf{false};  // a log write has waited in vain since then
    std::atomic<uint32_t> mBrokenReported{0};
    std::atomic<void (*)()> mEndProcess{nullptr};
    std::atomic<bool> mLastResortArmed{false};
};
