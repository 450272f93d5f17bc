#include <algorithm>
#include <cstring>
#include <span>

#include "host/Frame.h"
#include "host/ZelMLHost.h"
#include "util/include/CmMemory.h"
#include "util/include/CmTrace.h"

namespace {

using LadonRecord = ipc::LadonResultHolder<ipc::kFrameBytes>;

// What one run gave: the helper's memory, valid until its next run.
struct LadonOutputs {
    std::span<const uint8_t> mask;
    const float* gesture = nullptr;
    const float* landmarks = nullptr;
    float motion = 0;
    uint32_t skipRun = 0;
    // Of a helper that has the colour table.
    bool hasTable = false;
    const float* lut = nullptr;
    const float* lutVertices = nullptr;
    float lutConfidence = 0;
};

// The mask of the frame; the last one again for a frame that was skipped; none when there is nothing that could be
// decoded.
template <class LadonHelper>
std::span<const uint8_t> chooseMask(LadonHelper& helper) {
    const LadonFrames& frames = helper.frames();
    const bool skipped = frames.autoSkipVBG() && frames.lastChanged() == 0 && frames.frameSkipAllowed();
    if (skipped) return frames.prevMask();
    helper.parseSegmentationOutput();
    return frames.segmentationValid() ? frames.outMask() : std::span<const uint8_t>();
}

void readTable(ZelLadonVinoHelper&, LadonOutputs&) {}

void readTable(ZelLadonXnnHelper& helper, LadonOutputs& outputs) {
    outputs.hasTable = true;
    helper.parseLutOutput(&outputs.lut, &outputs.lutVertices, &outputs.lutConfidence);
}

template <class LadonHelper>
LadonOutputs gather(LadonHelper& helper) {
    LadonOutputs outputs;
    outputs.mask = chooseMask(helper);
    outputs.skipRun = static_cast<uint32_t>(helper.frames().skipRun());
    helper.getGestureOutput(&outputs.gesture);
    helper.parseLandmarksOutput(&outputs.landmarks);
    outputs.motion = helper.motionOutput();
    readTable(helper, outputs);
    return outputs;
}

// A slot still holds an older record: what there is nothing for becomes zero.
void fill(void* field, size_t capacity, const void* source, size_t available, size_t wanted) {
    const size_t copied = std::min(available, wanted);
    if (copied != 0) cm::checkedCopy(field, capacity, source, copied);
    if (copied < wanted) std::memset(static_cast<uint8_t*>(field) + copied, 0, wanted - copied);
}

// All of the field, or zeros when there are no values.
template <size_t N>
void fillValues(float (&field)[N], const float* values) {
    fill(field, sizeof field, values, values ? sizeof field : 0, sizeof field);
}

void fillRecord(LadonRecord& record, const LadonOutputs& outputs, size_t pixels) {
    record.size = static_cast<uint32_t>(pixels);
    fill(record.mask, sizeof record.mask, outputs.mask.data(), outputs.mask.size(), pixels);
    fillValues(record.gesture, outputs.gesture);
    fillValues(record.landmarks, outputs.landmarks);
    record.motion = outputs.motion;
    record.skipRun = outputs.skipRun;
    if (!outputs.hasTable) return;
    fillValues(record.lut, outputs.lut);
    fillValues(record.lutVertices, outputs.lutVertices);
    record.lutConfidence = outputs.lutConfidence;
}

}  // namespace

template <class LadonHelper>
bool ZelMLHost::runLadon(LadonHelper& helper, const Frame& frame) {
    helper.frames().setFrameSkipAllowed(frame.skipAllowed);
    if (!helper.runInference(static_cast<int32_t>(frame.width), static_cast<int32_t>(frame.height), frame.data,
                             static_cast<int32_t>(frame.size))) {
        return false;
    }
    reportLoadTime(helper.loadMs());
    const LadonOutputs outputs = gather(helper);
    // A frame of another size than the network's gets as far as this when it was skipped.
    if (frame.pixels() > ipc::kFrameBytes) {
        QOR_ERROR("zelipc>> ZelMLHost::onSDFrameIpcPacket, frame exceeds mask size: w = " << frame.width
                                                                                          << ", h = " << frame.height);
        return true;
    }
    sendLadonResults("", [&](LadonRecord& record) { fillRecord(record, outputs, frame.pixels()); });
    return true;
}

template bool ZelMLHost::runLadon(ZelLadonVinoHelper& helper, const Frame& frame);
template bool ZelMLHost::runLadon(ZelLadonXnnHelper& helper, const Frame& frame);

// Once for each start of an engine, as soon as the load on the wanted device is done.
void ZelMLHost::reportLoadTime(int32_t loadMs) {
    if (mModelLoadTime != 0) return;
    mModelLoadTime = static_cast<uint32_t>(loadMs);
    sendModelLoadTime();
}
