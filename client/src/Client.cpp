#include "client/src/Client.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "client/src/Answers.h"
#include "platform/include/clock.h"
#include "platform/include/thread.h"

namespace client {

namespace {

constexpr uint32_t kTickMs = 100;
constexpr uint64_t kLateTickUs = 1000000;
constexpr uint64_t kMinuteUs = 60000000;
constexpr uint64_t kQuickEndUs = 1000000;
constexpr uint32_t kLongestPauseMs = 2000;

uint64_t now() {
    return platform::monotonicMicroseconds();
}

// Whether a host that was asked for `wanted` and has `inForce` has done as asked: it lowers the types that need a GPU
// by itself.
bool answers(uint32_t wanted, uint32_t inForce) {
    const bool needsGpu = wanted == ZELCLIENT_MODEL_LADON_AUTO || wanted == ZELCLIENT_MODEL_LADON_XNN_AUTO;
    return inForce == wanted || (needsGpu && inForce == wanted + 1);
}

constexpr AnswerChannels kOfModels = kOnMasks | kOnLadon;

zelclient_kind kindOf(ipc::FrameKind kind) {
    switch (kind) {
        case ipc::FrameKind::Face:
            return ZELCLIENT_KIND_FACES;
        case ipc::FrameKind::Content:
            return ZELCLIENT_KIND_CONTENT;
        case ipc::FrameKind::Model:
            break;
    }
    return ZELCLIENT_KIND_MODEL;
}

}  // namespace

Client::Client(Settings settings)
    : mSettings(std::move(settings)),
      mResults(mSettings.onResult, mSettings.user),
      mWantedType(mSettings.modelType),
      mWantedCapacity(mSettings.capacity),
      mAutoSkip(mSettings.autoSkip) {}

zelclient_error Client::start(std::string* error) {
    platform::sweepAbandonedObjects();
    bool channelsFailed = false;
    mStartedAt = now();
    std::unique_ptr<HostSession> session = HostSession::start(mSettings.host, *this, &channelsFailed, error);
    if (!session) return channelsFailed ? ZELCLIENT_ERROR_CHANNELS : ZELCLIENT_ERROR_HOST;
    {
        std::lock_guard lock(mMutex);
        adopt(std::move(session));
    }
    mMonitor = std::thread([this] {
        platform::setThreadName("zelcl-monitor");
        try {
            monitor();
        } catch (const std::exception& failure) {
            giveUp(failure.what());
        }
    });
    return ZELCLIENT_OK;
}

Client::~Client() {
    {
        std::lock_guard lock(mMutex);
        mStopping = true;
        finishWhenDone();
        if (mSession) mSession->terminate();
    }
    mChanged.notify_all();
    if (mMonitor.joinable()) mMonitor.join();
    if (mSession) endHost();
}

zelclient_error Client::chooseModel(uint32_t type, uint32_t capacity) {
    std::lock_guard lock(mMutex);
    if (mGivenUp) return ZELCLIENT_ERROR_FAILED;
    mWantedType = type;
    mWantedCapacity = capacity;
    mModelUnsent = true;
    mModelStatus = ModelStatus::Pending;
    finishWhenDone();
    sendCommands();
    return ZELCLIENT_OK;
}

void Client::setAutoSkip(bool on) {
    std::lock_guard lock(mMutex);
    mAutoSkip = on;
    mSkipUnsent = true;
    sendCommands();
}

zelclient_error Client::waitModel(uint32_t timeoutMs) {
    std::unique_lock lock(mMutex);
    mChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                      [this] { return mGivenUp || mStopping || mModelStatus != ModelStatus::Pending; });
    if (mGivenUp || mStopping || mModelStatus == ModelStatus::Refused) return ZELCLIENT_ERROR_FAILED;
    return mModelStatus == ModelStatus::InForce ? ZELCLIENT_OK : ZELCLIENT_TIMEOUT;
}

zelclient_error Client::submit(const FrameView& frame, uint64_t tag) {
    std::lock_guard lock(mMutex);
    if (noMasksWillCome()) return ZELCLIENT_ERROR_FAILED;
    Ticket ticket;
    ticket.number = mAccepted + 1;
    ticket.tag = tag;
    ticket.kind = frame.kind;
    ticket.width = frame.width;
    ticket.height = frame.height;
    if (!mWaiting.empty() || !sendNow(frame, ticket)) keep(frame, ticket);
    ++mAccepted;
    return ZELCLIENT_OK;
}

void Client::refuse(const std::string& why) {
    std::lock_guard lock(mMutex);
    mLastError = why;
}

zelclient_error Client::poll(uint32_t timeoutMs, zelclient_result& result) {
    if (mResults.hasCallback()) return ZELCLIENT_ERROR_ARGUMENT;
    if (mResults.poll(timeoutMs, result)) return ZELCLIENT_OK;
    std::lock_guard lock(mMutex);
    if (!noResultWillCome()) return ZELCLIENT_TIMEOUT;
    // One may have come since.
    return mResults.poll(0, result) ? ZELCLIENT_OK : ZELCLIENT_ERROR_FAILED;
}

zelclient_state Client::state() {
    std::lock_guard lock(mMutex);
    return stateNow();
}

std::string Client::lastError() {
    std::lock_guard lock(mMutex);
    return mLastError;
}

void Client::info(zelclient_info& info) {
    std::lock_guard lock(mMutex);
    info.host_pid = mSession ? mSession->processId() : 0;
    info.hosts_started = mHostsStarted;
    info.model_type = mTypeInForce;
    mModelName.copy(info.model_name, sizeof info.model_name - 1);
    info.frames_accepted = mAccepted;
    info.masks = mResults.count(ZELCLIENT_MASK);
    info.frames_failed = mResults.count(ZELCLIENT_FRAME_FAILED);
    info.frames_replaced = mResults.count(ZELCLIENT_FRAME_REPLACED);
    info.frames_lost = mResults.count(ZELCLIENT_FRAME_LOST);
    info.box_results = mResults.count(ZELCLIENT_BOXES);
    info.frames_without_result = mResults.count(ZELCLIENT_NO_RESULT);
    info.results_unread = mResults.unread();
    info.beats = mBeats;
    info.log_lines = mLogLines;
}

void Client::onHello() {
    {
        std::lock_guard lock(mMutex);
        mHello = true;
    }
    announceState();
}

void Client::onBeat() {
    std::lock_guard lock(mMutex);
    if (!mSession) return;
    ++mBeats;
    // While the host loads a model it reads no commands, an answer among them; a frame it does see. Answers would pile
    // up.
    if (mRepliesDue > 0) {
        mSession->keepAlive();
    } else {
        mSession->acknowledgeBeat();
    }
    sendCommands();
}

void Client::onModelName(const std::string& name) {
    std::lock_guard lock(mMutex);
    mModelName = name;
}

void Client::onModelType(uint32_t type) {
    {
        std::lock_guard lock(mMutex);
        if (!mSession) return;
        mHello = true;
        mTypeInForce = type;
        if (mRepliesDue > 0) --mRepliesDue;
        if (mRepliesDue == 0) mModuleUnderWay = false;
        if (mRepliesDue == 0 && !mModelUnsent && mModelStatus == ModelStatus::Pending) {
            mModelStatus = answers(mWantedType, type) ? ModelStatus::InForce : ModelStatus::Refused;
            if (mModelStatus == ModelStatus::Refused)
                mLastError = "the host could not start model type " + std::to_string(mWantedType) +
                             " and stays at type " + std::to_string(type) + "; its log says why";
        }
        mServing = mServing || type != 0;
        if (noMasksWillCome()) dropWaiting(ZELCLIENT_FRAME_FAILED);
        finishWhenDone();
        sendNextFrame();
    }
    mChanged.notify_all();
    mResults.deliver();
    announceState();
}

void Client::onLogLine(uint32_t level, const std::string& line) {
    {
        std::lock_guard lock(mMutex);
        ++mLogLines;
    }
    if (mSettings.onLog) mSettings.onLog(mSettings.user, level, line.c_str(), line.size());
}

void Client::onMask(const MaskView& mask) {
    onAnswer(kOnMasks, [&](const Ticket&, Result& result) { return readMask(mask, result); });
}

void Client::onFaces(const TextView& text) {
    onAnswer(kOnFaces, [&](const Ticket&, Result& result) { return readFaces(text, result); });
}

void Client::onContent(const TextView& text, bool valid) {
    onAnswer(kOnContent, [&](const Ticket&, Result& result) { return readContent(text, valid, result); });
}

void Client::onLadon(const ipc::LadonResult& record) {
    onAnswer(kOnLadon,
             [&](const Ticket& ticket, Result& result) { return readLadon(record, ticket.withTable, result); });
}

template <class Read>
void Client::onAnswer(AnswerChannels channel, const Read& read) {
    Ticket ticket;
    {
        std::lock_guard lock(mMutex);
        if ((mInHost.answers & channel) == 0) return;
        ticket = mInHost;
        // It stays in the host's place until its result is queued, or the next one's might come before it.
        mInHost.answers = 0;
    }
    Result result = resultOf(ticket);
    result.data = mResults.spareData();
    const std::string wrong = read(ticket, result);
    const bool masked = result.status == ZELCLIENT_MASK;
    {
        std::lock_guard lock(mMutex);
        if (mInHost.number != ticket.number) return;  // given up meanwhile
        if (masked) mNewestMaskAt = now();
        if (!wrong.empty()) mLastError = wrong;
        mResults.put(std::move(result));
        freeHost();
        sendCommands();
        sendNextFrame();
    }
    mResults.deliver();
    if (masked && mToldState.load(std::memory_order_relaxed) != ZELCLIENT_READY) announceState();
}

uint64_t Client::frameGivenBack(AnswerChannels channel) {
    std::lock_guard lock(mMutex);
    if ((mInHost.answers & channel) == 0 || !mSession || !mSession->frameGivenBack()) return 0;
    return mInHost.number;
}

void Client::onNoAnswer(AnswerChannels channel, uint64_t frame) {
    {
        std::lock_guard lock(mMutex);
        if (mInHost.number != frame || (mInHost.answers & channel) == 0) return;
        mInHost.answers &= ~channel;
        if (mInHost.answers != 0) return;
        mLastError = "the host gave no answer to a frame of " + std::to_string(mInHost.width) + "x" +
                     std::to_string(mInHost.height);
        dropFrame(mInHost, ZELCLIENT_FRAME_FAILED);
        freeHost();
        sendCommands();
        sendNextFrame();
    }
    mResults.deliver();
}

void Client::monitor() {
    for (;;) {
        const bool ended = mSession->waitForExit(kTickMs);
        {
            std::lock_guard lock(mMutex);
            if (mStopping) break;
        }
        if (!ended) {
            tick();
            continue;
        }
        hostEnded();
        if (!replaceHost()) return;
    }
    endHost();
}

void Client::tick() {
    std::string why;
    {
        std::lock_guard lock(mMutex);
        const uint64_t time = now();
        // A late tick means that this process was held up, and the host's silence may be its own.
        if (time - std::exchange(mTickAt, time) > kLateTickUs) mWatchedFrom = time;
        if (hangs(time, &why)) {
            mEndedFor = why;
            mSession->kill();
        }
        sendCommands();
        sendNextFrame();
    }
    mResults.deliver();
    announceState();
}

bool Client::hangs(uint64_t time, std::string* why) {
    if (mSession->broken()) {
        *why = "damaged its channels";
        return true;
    }
    if (mSettings.hangTimeoutMs == 0) return false;
    const uint64_t limit = uint64_t{mSettings.hangTimeoutMs} * 1000;
    const auto tooLongAgo = [&](uint64_t moment) { return time > limit + std::max(moment, mWatchedFrom); };
    if (tooLongAgo(mSession->lastLife())) {
        *why = "gave no sign of life";
    } else if (mInHost.answers != 0 && tooLongAgo(mInHost.sentAt)) {
        *why = "did not finish a frame";
    }
    return !why->empty();
}

// The session's threads are ended before the frame that the host had is given up: a mask may still lie in the channel.
void Client::hostEnded() {
    mQuickEnds = now() - mStartedAt < kQuickEndUs ? mQuickEnds + 1 : 0;
    const std::string left = crashFilesText(mSession->crashFiles());
    std::unique_ptr<HostSession> session;
    {
        std::lock_guard lock(mMutex);
        mLastError = "host process " + std::to_string(mSession->processId());
        mLastError += mEndedFor.empty() ? " ended with code " + std::to_string(mSession->exitCode())
                                        : " " + mEndedFor + " and was ended";
        mLastError += left;
        mEndedFor.clear();
        session = std::move(mSession);
        mModelStatus = ModelStatus::Pending;
        finishWhenDone();
    }
    announceState();
    session->close();
    {
        std::lock_guard lock(mMutex);
        if (mInHost.number != 0) dropFrame(mInHost, ZELCLIENT_FRAME_LOST);
        freeHost();
        mNewestMaskAt = 0;
        mHello = false;
    }
    mResults.deliver();
    announceState();
}

bool Client::replaceHost() {
    platform::sweepAbandonedObjects();
    for (;;) {
        if (!waitBeforeRestart(now())) return false;
        std::string error;
        bool channelsFailed = false;
        mStartedAt = now();
        std::unique_ptr<HostSession> session = HostSession::start(mSettings.host, *this, &channelsFailed, &error);
        std::lock_guard lock(mMutex);
        if (session) {
            adopt(std::move(session));
            return true;
        }
        mLastError = error;
        ++mQuickEnds;
    }
}

// The first host is replaced at once; hosts that end within a second get a growing pause before the next. False: give
// up, or the client is stopping.
bool Client::waitBeforeRestart(uint64_t time) {
    while (!mRestarts.empty() && time - mRestarts.front() > kMinuteUs) mRestarts.pop_front();
    if (mRestarts.size() >= mSettings.restartsPerMinute) {
        giveUp(std::to_string(mRestarts.size()) + " hosts were started again within a minute");
        return false;
    }
    mRestarts.push_back(time);
    const uint32_t pause = mQuickEnds < 2 ? 0 : std::min(kLongestPauseMs, 100u << std::min(mQuickEnds - 2, 5u));
    std::unique_lock lock(mMutex);
    return !mChanged.wait_for(lock, std::chrono::milliseconds(pause), [this] { return mStopping; });
}

void Client::giveUp(const std::string& why) {
    {
        std::lock_guard lock(mMutex);
        mGivenUp = true;
        mLastError += "; giving up: " + why;
        // An answer that is being read still comes, unless its reader has failed.
        const bool isBeingRead = mInHost.answers == 0 && mSession && !mSession->broken();
        if (mInHost.number != 0 && !isBeingRead) {
            dropFrame(mInHost, ZELCLIENT_FRAME_LOST);
            freeHost();
        }
        dropWaiting(ZELCLIENT_FRAME_LOST);
        finishWhenDone();
    }
    mChanged.notify_all();
    mResults.deliver();
    announceState();
}

void Client::endHost() {
    if (!mSession->waitForExit(mSettings.stopTimeoutMs)) {
        mSession->kill();
        mSession->waitForExit(platform::kInfinite);
    }
    std::unique_ptr<HostSession> session;
    {
        std::lock_guard lock(mMutex);
        session = std::move(mSession);
    }
    session->close();
}

void Client::adopt(std::unique_ptr<HostSession> session) {
    mSession = std::move(session);
    ++mHostsStarted;
    mModelUnsent = true;
    mModuleUnderWay = false;
    mRepliesDue = 0;
    mModelStatus = ModelStatus::Pending;
    mTypeInForce = 0;
    mServing = false;
    mInHost = Ticket();
    mTickAt = now();
    sendCommands();
    if (mStopping) mSession->terminate();
}

// A command that finds the channel full is sent with a later beat, one that must wait for a frame behind its answer.
// The option goes behind each model, whose start undoes it.
void Client::sendCommands() {
    if (!mSession) return;
    if (mModelUnsent && !frameHoldsModelBack() && mSession->chooseModel(mWantedType, mWantedCapacity)) {
        mModelUnsent = false;
        mModuleUnderWay = mModuleUnderWay || mWantedType == ZELCLIENT_MODEL_MODULE;
        if (mInHost.answers & kOfModels) mInHost.answers = kOfModels;
        mInHost.withTable = false;
        mSkipUnsent = !mAutoSkip;
        if (mWantedType == ZELCLIENT_MODEL_IDLE) {
            mModelStatus = ModelStatus::InForce;
            mServing = true;
        } else {
            ++mRepliesDue;
        }
    }
    if (!mModelUnsent && mSkipUnsent && mSession->setAutoSkip(mAutoSkip)) mSkipUnsent = false;
}

void Client::sendNextFrame() {
    if (mWaiting.empty()) return;
    Waiting& next = mWaiting.front();
    const Ticket& ticket = next.ticket;
    FrameView frame{ticket.kind, ticket.width, ticket.height, 0, next.pixels.data()};
    frame.stride = frame.rowBytes();
    if (sendNow(frame, ticket)) popWaiting();
}

bool Client::sendNow(const FrameView& frame, Ticket ticket) {
    if (!mSession || !mServing || mInHost.number != 0) return false;
    if (frame.kind == ipc::FrameKind::Model && layoutMayChange()) return false;
    const PixelLayout layout = layoutFor(frame.kind);
    if (frame.bytes(layout) > ipc::kFrameBytes) {
        mLastError = "a frame for the module has at most " + std::to_string(ipc::kFrameBytes / 4) + " pixels, not " +
                     std::to_string(frame.width) + "x" + std::to_string(frame.height);
        dropFrame(ticket, ZELCLIENT_FRAME_FAILED);
        return true;
    }
    ticket.sentAt = now();
    ticket.answers = answersFor(ticket.kind);
    ticket.withTable = tableComes();
    if (!mSession->sendFrame(frame, layout, mAutoSkip, ticket.answers)) return false;
    mInHost = ticket;
    return true;
}

// Whether the host's model is the one that it told last, and no other has been asked for.
bool Client::modelIsSettled() const {
    return mRepliesDue == 0 && !mModelUnsent;
}

PixelLayout Client::layoutFor(ipc::FrameKind kind) const {
    return kind == ipc::FrameKind::Model && mTypeInForce == ZELCLIENT_MODEL_MODULE ? PixelLayout::Bgra
                                                                                   : PixelLayout::AsGiven;
}

// Whether the host may be on its way to or from the module at this moment, which reads frames in another layout.
bool Client::layoutMayChange() const {
    return !modelIsSettled() &&
           (mModuleUnderWay || mWantedType == ZELCLIENT_MODEL_MODULE || mTypeInForce == ZELCLIENT_MODEL_MODULE);
}

// A frame that the host has must not meet a model that reads it in another layout.
bool Client::frameHoldsModelBack() const {
    const bool changes = (mWantedType == ZELCLIENT_MODEL_MODULE) != (mTypeInForce == ZELCLIENT_MODEL_MODULE);
    return changes && mInHost.number != 0 && mInHost.kind == ipc::FrameKind::Model;
}

AnswerChannels Client::answersFor(ipc::FrameKind kind) const {
    if (kind == ipc::FrameKind::Face) return kOnFaces;
    if (kind == ipc::FrameKind::Content) return kOnContent;
    if (!modelIsSettled()) return kOfModels;
    return mTypeInForce >= ZELCLIENT_MODEL_LADON_AUTO ? kOnLadon : kOnMasks;
}

bool Client::tableComes() const {
    return modelIsSettled() && mTypeInForce >= ZELCLIENT_MODEL_LADON_XNN_AUTO;
}

void Client::keep(const FrameView& frame, const Ticket& ticket) {
    Waiting kept;
    kept.ticket = ticket;
    if (!mSpareFrames.empty()) {
        kept.pixels = std::move(mSpareFrames.back());
        mSpareFrames.pop_back();
    }
    kept.pixels.resize(frame.rowBytes() * frame.height);
    frame.copyTo(kept.pixels.data());
    if (mWaiting.size() == mSettings.framesInFlight) {
        dropFrame(mWaiting.front().ticket, ZELCLIENT_FRAME_REPLACED);
        popWaiting();
    }
    mWaiting.push_back(std::move(kept));
}

void Client::popWaiting() {
    std::vector<uint8_t> pixels = std::move(mWaiting.front().pixels);
    mWaiting.pop_front();
    mSpareFrames.push_back(std::move(pixels));
}

Result Client::resultOf(const Ticket& ticket) {
    Result result;
    result.tag = ticket.tag;
    result.kind = kindOf(ticket.kind);
    result.width = ticket.width;
    result.height = ticket.height;
    result.roundTripUs = ticket.sentAt ? now() - ticket.sentAt : 0;
    return result;
}

void Client::dropFrame(const Ticket& ticket, zelclient_status status) {
    Result result = resultOf(ticket);
    result.status = status;
    mResults.put(std::move(result));
}

void Client::dropWaiting(zelclient_status status) {
    for (; !mWaiting.empty(); popWaiting()) dropFrame(mWaiting.front().ticket, status);
}

void Client::freeHost() {
    mInHost = Ticket();
    finishWhenDone();
}

bool Client::noMasksWillCome() const {
    return mGivenUp || (mModelStatus == ModelStatus::Refused && mTypeInForce == 0);
}

bool Client::noResultWillCome() const {
    return mStopping || (noMasksWillCome() && mInHost.number == 0);
}

void Client::finishWhenDone() {
    mResults.finish(noResultWillCome());
}

zelclient_state Client::stateNow() const {
    if (noMasksWillCome()) return ZELCLIENT_FAILED;
    if (!mSession || !mHello) return ZELCLIENT_STARTING;
    if (mNewestMaskAt == 0) return ZELCLIENT_WARMING;
    return now() - mNewestMaskAt <= uint64_t{mSettings.staleAfterMs} * 1000 ? ZELCLIENT_READY : ZELCLIENT_STALE;
}

void Client::announceState() {
    if (!mSettings.onState) return;
    std::lock_guard telling(mTellMutex);
    zelclient_state state;
    {
        std::lock_guard lock(mMutex);
        state = stateNow();
    }
    if (mToldState.exchange(state, std::memory_order_relaxed) != state) mSettings.onState(mSettings.user, state);
}

}  // namespace client
