#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "client/include/zelclient.h"
#include "client/src/HostSession.h"
#include "client/src/Results.h"

namespace client {

// zelclient_options with memory of their own.
struct Settings {
    HostSettings host;
    uint32_t modelType = ZELCLIENT_MODEL_SEGMENTATION_CPU;
    uint32_t capacity = 0;
    bool autoSkip = true;
    uint32_t framesInFlight = 1;
    uint32_t staleAfterMs = 500;
    uint32_t hangTimeoutMs = 15000;
    uint32_t stopTimeoutMs = 3000;
    uint32_t restartsPerMinute = 10;
    zelclient_on_result onResult = nullptr;
    zelclient_on_state onState = nullptr;
    zelclient_on_log onLog = nullptr;
    void* user = nullptr;
};

// What a zelclient is: keeps a host running, gives it one frame at a time, and pairs each answer with its frame.
//
// Pairing is exact and needs no time-out, because the host has one frame at most and gives its slot back only after the
// answer is written: an answer that comes on a channel where that frame may have one belongs to it; a slot that is back
// while no answer lies in any of those channels means that there is none. The next frame goes out only then.
//
// A frame for the model is answered on the channel of masks or on that of Ladon, by the model type in force. While
// another model has been asked for, it may be either.
//
// The module takes its frames in another layout than the other models, and no frame says which one it has. So while the
// host may be on its way to or from the module, frames for the model wait, and the command for such a change waits for
// the answer to the frame that the host has.
//
// Threads: mMutex guards everything but the parts that say otherwise and is never held over a callback or a wait. The
// monitor thread starts, watches, replaces and ends hosts; a session's own threads enter through SessionEvents. A
// session is closed outside the lock.
class Client final : public SessionEvents {
  public:
    explicit Client(Settings settings);
    // Ends the host and every thread.
    ~Client();

    // Starts the first host. To be called once.
    zelclient_error start(std::string* error);

    // As the functions of zelclient.h that bear their names; arguments are checked already.
    zelclient_error chooseModel(uint32_t type, uint32_t capacity);
    void setAutoSkip(bool on);
    zelclient_error waitModel(uint32_t timeoutMs);
    zelclient_error submit(const FrameView& frame, uint64_t tag);
    // Keeps why a frame was not taken for lastError.
    void refuse(const std::string& why);
    zelclient_error poll(uint32_t timeoutMs, zelclient_result& result);
    zelclient_state state();
    std::string lastError();
    void info(zelclient_info& info);

  private:
    enum class ModelStatus { Pending, InForce, Refused };

    struct Ticket {
        uint64_t number = 0;  // 0: none
        uint64_t tag = 0;
        ipc::FrameKind kind = ipc::FrameKind::Model;
        uint32_t width = 0;
        uint32_t height = 0;
        uint64_t sentAt = 0;         // microseconds
        AnswerChannels answers = 0;  // where its answer may still come; 0 while that is read
        bool withTable = false;      // a Ladon answer has its colour table
    };
    struct Waiting {
        Ticket ticket;
        std::vector<uint8_t> pixels;
    };

    void onHello() override;
    void onBeat() override;
    void onModelName(const std::string& name) override;
    void onModelType(uint32_t type) override;
    void onLogLine(uint32_t level, const std::string& line) override;
    void onMask(const MaskView& mask) override;
    void onFaces(const TextView& text) override;
    void onContent(const TextView& text, bool valid) override;
    void onLadon(const ipc::LadonResult& record) override;
    uint64_t frameGivenBack(AnswerChannels channel) override;
    void onNoAnswer(AnswerChannels channel, uint64_t frame) override;

    // Gives the frame that the host has the answer that came on a channel: read(ticket, result) fills the result in as
    // the functions of Answers.h do. An answer that nobody asked for is dropped.
    template <class Read>
    void onAnswer(AnswerChannels channel, const Read& read);

    // The monitor thread.
    void monitor();
    void tick();
    bool hangs(uint64_t now, std::string* why);
    void hostEnded();
    bool replaceHost();
    bool waitBeforeRestart(uint64_t startedAt);
    void giveUp(const std::string& why);
    void endHost();

    // Under mMutex.
    void adopt(std::unique_ptr<HostSession> session);
    void sendCommands();
    void sendNextFrame();
    bool sendNow(const FrameView& frame, Ticket ticket);
    bool modelIsSettled() const;
    PixelLayout layoutFor(ipc::FrameKind kind) const;
    bool layoutMayChange() const;
    bool frameHoldsModelBack() const;
    AnswerChannels answersFor(ipc::FrameKind kind) const;
    bool tableComes() const;
    void keep(const FrameView& frame, const Ticket& ticket);
    void popWaiting();
    static Result resultOf(const Ticket& ticket);
    void dropFrame(const Ticket& ticket, zelclient_status status);
    void dropWaiting(zelclient_status status);
    void freeHost();
    zelclient_state stateNow() const;
    bool noMasksWillCome() const;
    bool noResultWillCome() const;
    // To be called after each change of what noResultWillCome looks at.
    void finishWhenDone();

    void announceState();

    const Settings mSettings;
    ResultQueue mResults;  // its own lock

    std::mutex mMutex;
    std::condition_variable mChanged;  // the model, giving up, stopping
    std::unique_ptr<HostSession> mSession;
    bool mHello = false;  // this host has answered
    uint32_t mHostsStarted = 0;
    bool mGivenUp = false;
    bool mStopping = false;
    std::string mLastError;
    std::string mEndedFor;  // why this side has killed the host, "" when it has not

    uint32_t mWantedType;
    uint32_t mWantedCapacity;
    bool mAutoSkip;
    bool mModelUnsent = true;
    bool mSkipUnsent = false;
    uint32_t mRepliesDue = 0;      // events 4 that are still to come
    bool mModuleUnderWay = false;  // the module was asked for since they were last none
    ModelStatus mModelStatus = ModelStatus::Pending;
    uint32_t mTypeInForce = 0;
    bool mServing = false;  // this host has a model, or was asked to have none
    std::string mModelName;

    Ticket mInHost;  // the frame that the host has, until its result is queued
    std::deque<Waiting> mWaiting;
    std::vector<std::vector<uint8_t>> mSpareFrames;
    uint64_t mAccepted = 0;
    uint64_t mNewestMaskAt = 0;  // microseconds, 0: none from this host
    uint64_t mTickAt = 0;        // of the monitor, microseconds
    uint64_t mWatchedFrom = 0;   // silence before this moment does not count, microseconds
    uint64_t mBeats = 0;
    uint64_t mLogLines = 0;

    std::mutex mTellMutex;  // held over on_state; taken before mMutex
    std::atomic<zelclient_state> mToldState{ZELCLIENT_STARTING};

    std::deque<uint64_t> mRestarts;  // of the last minute, microseconds; the monitor's
    uint64_t mStartedAt = 0;         // the host in use; the monitor's
    uint32_t mQuickEnds = 0;         // hosts in a row that ended within a second; the monitor's
    std::thread mMonitor;
};

}  // namespace client
