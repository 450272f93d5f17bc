#include "host/ZelMLHost.h"

#include <system_error>

#include "platform/include/clock.h"
#include "platform/include/exception_filter.h"
#include "util/include/CmTrace.h"

namespace {

constexpr uint32_t kFrameGraceMs = 1000;
constexpr size_t kMaskBytes = 640 * 360;
constexpr uint32_t kRetryMs = 20;
constexpr uint32_t kTerminateLimitMs = 13000;

// Built by static initialisation before the entry runs; its destructor ends background loads at process exit.
ZelMLHost gHost;

template <class Channel>
void stopChannel(const std::shared_ptr<Channel>& channel) {
    if (channel) channel->stop();
}

}  // namespace

ZelMLHost::ZelMLHost() : mSkippedMask(kMaskBytes) {}

ZelMLHost::~ZelMLHost() {
    if (mLoadThread.joinable()) {
        try {
            mLoadThread.join();
        } catch (const std::system_error&) {
            QOR_WARNING("ZelMLHost::loadgpu::stop(). thread join failed");
        }
    }
    mLoadsInWork.waitIdle();
    {
        const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
        mZelHelper.Release();
        setHelper(m_pVinoHelper, {});
        setHelper(m_pLadonVinoHelper, {});
        setHelper(m_pLadonXnnHelper, {});
    }
    teardown();
}

ZelMLHost& ZelMLHost::instance() {
    return gHost;
}

bool ZelMLHost::init(const std::string& ipc_id) {
    const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
    QOR_INFO("zelipc>>ZelMLHost::init, ipc_id=" << ipc_id);
    if (!openChannels(ipc_id)) {
        QOR_ERROR("zelipc>>ZelMLHost::init, failed to open IPC channels");
        release();
        return false;
    }
    startHeartBeat();
    return true;
}

bool ZelMLHost::openChannels(const std::string& ipc_id) {
    const std::lock_guard<std::mutex> lock(mChannelMutex);
    mCommandChannel = ipc::CommandChannel::openForRead(ipc_id + ipc::kCommandSuffix);
    mEventChannel = ipc::EventChannel::openForWrite(ipc_id + ipc::kEventSuffix);
    mFrameChannel = ipc::FrameChannel::openForRead(ipc_id + ipc::kFrameSuffix);
    mSharingChannel = ipc::FrameChannel::openForRead(ipc_id + ipc::kSharingSuffix);
    mResultChannel = ipc::FrameChannel::openForWrite(ipc_id + ipc::kResultSuffix);
    mRoiChannel = ipc::RoiChannel::openForWrite(ipc_id + ipc::kRoiSuffix);
    mContentChannel = ipc::ContentChannel::openForWrite(ipc_id + ipc::kContentSuffix);
    mLadonChannel = ipc::LadonChannel::openForWrite(ipc_id + ipc::kLadonSuffix);
    mLogChannel = ipc::LogChannel::openForWrite(ipc_id + ipc::kLogSuffix);
    return mCommandChannel && mEventChannel && mFrameChannel && mSharingChannel && mResultChannel && mRoiChannel;
}

bool ZelMLHost::listenOnFrame() {
    if (const auto channel = copyOf(mFrameChannel)) {
        QOR_INFO("zelipc>>ZelMLHost::listenOnFrame, start...");
        mFrameListener.start(
            channel,
            [this](const FramePacket& packet) {
                onFrame(packet, "zelipc>>ZelMLHost::listenOnFrame, invalid frame, sz1=");
            },
            platform::kInfinite);
    }
    if (const auto channel = copyOf(mSharingChannel)) {
        QOR_INFO("zelipc>>ZelMLHost::listenOnFrame, start for sharing...");
        mSharingListener.start(
            channel,
            [this](const FramePacket& packet) {
                onFrame(packet, "zelipc>>ZelMLHost::listenOnFrame, invalid frame, sz2=");
            },
            platform::kInfinite);
    }
    return true;
}

void ZelMLHost::run() {
    while (!mStop) {
        const auto channel = copyOf(mCommandChannel);
        if (!channel) return;
        const bool served = channel->read([this](const ipc::packet<ipc::Command>& packet) { onIpcCommand(packet); },
                                          platform::kInfinite);
        // A wait that fails must not turn the loop into a spin.
        if (!served && !mStop) platform::sleepMilliseconds(kRetryMs);
    }
}

void ZelMLHost::teardown() {
    platform::yieldToFilter();  // its lines need the channels
    const std::lock_guard<std::mutex> lock(mTeardownMutex);
    if (mTornDown) return;
    mTornDown = true;
    armLastResort(kTerminateLimitMs);
    beginStop();
    stopWriters();
    stopHeartBeat();
    mFrameListener.stop();
    mSharingListener.stop();
    release();
}

void ZelMLHost::beginStop() {
    mStopping = true;
    mStop = true;
}

// A frame in work gets its time to be answered; whoever still waits for a slot then gives up. Log writes bound their
// own waits, so "L" stays open for the last lines.
void ZelMLHost::stopWriters() {
    mFramesInWork.waitIdleFor(kFrameGraceMs);
    stopChannel(copyOf(mEventChannel));
    stopChannel(copyOf(mResultChannel));
    stopChannel(copyOf(mRoiChannel));
    stopChannel(copyOf(mContentChannel));
    stopChannel(copyOf(mLadonChannel));
}

void ZelMLHost::release() {
    QOR_INFO("zelipc>>ZelMLHost::release");
    const auto drop = [this](auto& member) {
        auto channel = copyOf(member);
        stopChannel(channel);
        const std::lock_guard<std::mutex> lock(mChannelMutex);
        member.reset();
    };
    drop(mCommandChannel);
    drop(mEventChannel);
    drop(mFrameChannel);
    drop(mSharingChannel);
    drop(mResultChannel);
    drop(mRoiChannel);
    drop(mContentChannel);
    drop(mLadonChannel);
    drop(mLogChannel);
}

void ZelMLHost::setLastResort(void (*endProcess)()) {
    mEndProcess = endProcess;
}

void ZelMLHost::armLastResort(uint32_t delayMs) {
    void (*const endProcess)() = mEndProcess;
    if (!endProcess || mLastResortArmed.exchange(true)) return;
    std::thread([endProcess, delayMs] {
        platform::prepareThreadForFilter();
        platform::sleepMilliseconds(delayMs);
        endProcess();
    }).detach();
}
