#include <iostream>

#include "host/LogWaitBound.h"
#include "host/ZelMLHost.h"
#include "platform/include/exception_filter.h"
#include "util/include/CmTrace.h"

namespace {

constexpr uint32_t kMissLimit = 11;
constexpr uint32_t kBeatWaitMs = 1000;
constexpr uint32_t kLastResortMs = 2300;

}  // namespace

void ZelMLHost::startHeartBeat() {
    if (mDispatchThread) return;
    ACmThreadSingletonFactory::Instance().GetSingletonThread("zelml-disp", mDispatchThread);
    if (!mDispatchThread) return;
    mTimer = std::make_shared<CCmAsyncTimer>();
    mTimer->ScheduleInThread(mDispatchThread, this, CCmTimeValue(1, 0), 0);
}

void ZelMLHost::stopHeartBeat() {
    if (!mDispatchThread) return;
    mTimer->Cancel();
    ACmThreadSingletonFactory::Instance().ResleseSingletonThread("zelml-disp", mDispatchThread);
    mDispatchThread = nullptr;
}

void ZelMLHost::OnTimer(CCmAsyncTimer* timer) {
    if (timer != mTimer.get()) return;
    // The failed thread answers nobody, and what the filter writes must not be cut off.
    if (platform::isFilterRunning()) return;
    const LogWaitBound boundedLogs;
    reportBrokenChannels();
    if (mHeartBeatMisses < kMissLimit) {
        sendEvent(
            "", [](ipc::Event& event) { event.code = static_cast<uint32_t>(ipc::EventCode::HeartBeat); }, kBeatWaitMs);
        ++mHeartBeatMisses;
        return;
    }
    armLastResort(kLastResortMs);
    mStopping = true;
    QOR_ERROR("zelipc>>ZelMLHost::OnTimer, heart beat timeout, will terminate process");
    mTimer->Cancel();
    beginStop();
    if (const auto channel = copyOf(mCommandChannel)) channel->stop();
    // The main thread may itself be waiting behind a writer, so the writers are stopped from here.
    stopWriters();
}

// A channel whose shared bytes make no sense stands still; that is said once for each. The line for "L" cannot go
// there.
void ZelMLHost::reportBrokenChannels() {
    uint32_t bit = 1;
    const auto report = [this, &bit](const auto& member, const char* suffix) {
        const auto channel = copyOf(member);
        const bool isNew = channel && channel->broken() && !(mBrokenReported.fetch_or(bit) & bit);
        bit <<= 1;
        return isNew ? suffix : nullptr;
    };
    for (const char* suffix : {report(mCommandChannel, ipc::kCommandSuffix), report(mEventChannel, ipc::kEventSuffix),
                               report(mFrameChannel, ipc::kFrameSuffix), report(mSharingChannel, ipc::kSharingSuffix),
                               report(mResultChannel, ipc::kResultSuffix), report(mRoiChannel, ipc::kRoiSuffix),
                               report(mContentChannel, ipc::kContentSuffix), report(mLadonChannel, ipc::kLadonSuffix)})
        if (suffix) QOR_ERROR("zelipc>>ZelMLHost, damaged shared memory, channel out of use: " << suffix);
    if (report(mLogChannel, ipc::kLogSuffix))
        std::cerr << "zelipc>>ZelMLHost, damaged shared memory, channel out of use: " << ipc::kLogSuffix << std::endl;
}
