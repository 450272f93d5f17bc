#include <algorithm>
#include <exception>

#include "host/Frame.h"
#include "host/ZelMLHost.h"
#include "util/include/CmMemory.h"
#include "util/include/CmTrace.h"

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
    const Frame frame{record.width, record.height, std::min(size, uint32_t{ipc::kFrameBytes}), record.kind,
                      packet.record.data};
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
    uint8_t* mask = mSkippedMask.data();
    bool done = false;
    if (mZelType == ZEL_TYPE::kVinoAuto || mZelType == ZEL_TYPE::kVinoCpu) done = runSegmentation(frame, &mask);
    if (!done) {
        QOR_ERROR("zelipc>> ZelMLHost::onSDFrameIpcPacket VinoHelper->process failed. mZelType="
                  << static_cast<uint32_t>(mZelType));
        return;
    }
    sendMask(frame, mask);
}

bool ZelMLHost::runSegmentation(const Frame& frame, uint8_t** mask) {
    if (!m_pVinoHelper) return false;
    try {
        return m_pVinoHelper->process(static_cast<int32_t>(frame.width), static_cast<int32_t>(frame.height), frame.data,
                                      static_cast<int32_t>(frame.size), mask);
    } catch (const std::exception& failure) {
        QOR_ERROR("zelipc>> ZelMLHost::onSDFrameIpcPacket, inference failed: " << failure.what());
        return false;
    }
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
