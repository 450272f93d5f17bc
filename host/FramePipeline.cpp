#include <algorithm>

#include "host/Frame.h"
#include "host/ZelMLHost.h"
#include "util/include/CmException.h"
#include "util/include/CmMemory.h"
#include "util/include/CmTrace.h"

namespace {

constexpr uint32_t kMostModulePixels = ipc::kFrameBytes / 4;

}  // namespace

void ZelMLHost::onFrame(const FramePacket& packet, const char* invalidText) {
    if (mStop) return;
    const WorkCounter::Scope working(mFramesInWork);
    const uint32_t size = packet.record.size;
    if (size > ipc::kFrameBytes) {
        QOR_ERROR(invalidText << size);
        return;
    }
    onSDFrameIpcPacket(packet);
}

void ZelMLHost::onSDFrameIpcPacket(const FramePacket& packet) {
    const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
    mHeartBeatMisses = 0;
    // One read of each field; a size that has changed since its check is cut to the slot.
    const volatile auto& record = packet.record;
    const uint32_t size = record.size;
    const Frame frame{record.width, record.height,           std::min(size, uint32_t{ipc::kFrameBytes}),
                      record.kind,  record.skipAllowed != 0, packet.record.data};
    switch (static_cast<ipc::FrameKind>(frame.kind)) {
        case ipc::FrameKind::Face:
            runFaceDetection(frame);
            break;
        case ipc::FrameKind::Model:
            runModelInForce(frame);
            break;
        case ipc::FrameKind::Content:
            runContentDetection(frame);
            break;
        default:
            break;
    }
}

void ZelMLHost::runModelInForce(const Frame& frame) {
    bool done = false;
    try {
        done = inferAndSend(frame);
    } catch (...) {
        QOR_ERROR("zelipc>> ZelMLHost::onSDFrameIpcPacket, inference failed: " << cm::currentExceptionText());
    }
    if (!done) {
        QOR_ERROR("zelipc>> ZelMLHost::onSDFrameIpcPacket VinoHelper->process failed. mZelType="
                  << static_cast<uint32_t>(mZelType));
    }
}

// False when no model is in force or the one in force failed.
bool ZelMLHost::inferAndSend(const Frame& frame) {
    switch (mZelType) {
        case ZEL_TYPE::kModule:
            return runModule(frame);
        case ZEL_TYPE::kVinoAuto:
        case ZEL_TYPE::kVinoCpu:
            return m_pVinoHelper && runSegmentation(frame);
        case ZEL_TYPE::kLadonVinoGpu:
        case ZEL_TYPE::kLadonVinoCpu:
            return mEngineReady && m_pLadonVinoHelper && runLadon(*m_pLadonVinoHelper, frame);
        case ZEL_TYPE::kLadonXnnGpu:
        case ZEL_TYPE::kLadonXnnCpu:
        case ZEL_TYPE::kLadonXnnNpu:
            return mEngineReady && m_pLadonXnnHelper && runLadon(*m_pLadonXnnHelper, frame);
        default:
            return false;
    }
}

bool ZelMLHost::runModule(const Frame& frame) {
    // A side is looked at too: none of them may be negative to the module.
    if (frame.width > kMostModulePixels || frame.height > kMostModulePixels || frame.pixels() > kMostModulePixels) {
        QOR_ERROR("zelipc>> ZelMLHost::onSDFrameIpcPacket, frame exceeds module size: w = " << frame.width << ", h = "
                                                                                            << frame.height);
        return false;
    }
    uint8_t* mask = nullptr;
    if (!mZelHelper.processByZelML(static_cast<int32_t>(frame.width), static_cast<int32_t>(frame.height), frame.data,
                                   static_cast<int32_t>(frame.size), &mask)) {
        return false;
    }
    sendMask(frame, mask);
    return true;
}

bool ZelMLHost::runSegmentation(const Frame& frame) {
    uint8_t* mask = mSkippedMask.data();
    if (!m_pVinoHelper->process(static_cast<int32_t>(frame.width), static_cast<int32_t>(frame.height), frame.data,
                                static_cast<int32_t>(frame.size), &mask)) {
        return false;
    }
    sendMask(frame, mask);
    return true;
}

void ZelMLHost::sendMask(const Frame& frame, const uint8_t* mask) {
    if (frame.pixels() > mSkippedMask.size()) {
        QOR_ERROR("zelipc>> ZelMLHost::onSDFrameIpcPacket, frame exceeds mask size: w = " << frame.width
                                                                                          << ", h = " << frame.height);
        return;
    }
    sendFrame("", [&frame, mask](ipc::FrameHolder<ipc::kFrameBytes>& result) {
        const auto bytes = static_cast<uint32_t>(frame.pixels());
        cm::checkedCopy(result.data, result.size, mask, bytes);
        result.width = frame.width;
        result.height = frame.height;
        result.size = bytes;
    });
}
