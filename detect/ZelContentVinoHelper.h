#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <string>
#include <vector>

#include "detect/ObjectDetectCommon.h"
#include "engines/inference_engine/InferenceEngine.h"
#include "engines/vino/LoadedNetwork.h"
#include "engines/vino/ModelStore.h"
#include "util/include/CmMutex.h"

// Finds the regions of a shared screen whose picture moves, on the CPU, and tells them in a text. Three grey frames in
// a row are the three channels of the network's picture, so every third frame gives a result.
//
// Life: construct, init once, then one frame after the other. Threads: one at a time, and one helper in a process at a
// time. What the engine raises leaves every operation: InferenceEngineException.
class ZelContentVinoHelper {
  public:
    ZelContentVinoHelper();
    explicit ZelContentVinoHelper(const NetworkSource& source);
    virtual ~ZelContentVinoHelper() = default;
    ZelContentVinoHelper(const ZelContentVinoHelper&) = delete;
    ZelContentVinoHelper& operator=(const ZelContentVinoHelper&) = delete;

    // Loads the network, on the CPU: the argument is only logged. A network that is no content detector of the right
    // shapes leaves the helper uninitialised, with a line.
    void init(const std::string& strDevType);

    // One frame of width x height bytes, one for each pixel, rows packed, 512 at most in each direction; `size` is not
    // used. True with every third frame: `result` is the text of the regions, see contentText, in pixels of this frame.
    // False, and `result` untouched, for the two before, when not inited, and for a frame that is too large.
    bool processVino(int32_t width, int32_t height, const uint8_t* data, int32_t size, std::string& result);

  private:
    size_t planeBytes() const { return static_cast<size_t>(mWidth) * static_cast<size_t>(mHeight); }
    std::string pictureInput() const ZEL_REQUIRES(mLock);
    bool shapesFit() ZEL_REQUIRES(mLock);
    bool stackFrame(int32_t width, int32_t height, const uint8_t* data) ZEL_REQUIRES(mLock);
    void fillInput(const InferenceEngine::Blob& input) const ZEL_REQUIRES(mLock);
    void findBoxes() ZEL_REQUIRES(mLock);

    // Frames that wait in a stack. It outlives a helper: the next one goes on counting.
    static int32_t m_numframe;

    std::atomic<bool> mInited{false};
    std::condition_variable mInitDone;
    std::vector<DetectBox> mBoxes ZEL_GUARDED_BY(mLock);
    InferenceEngine::Core mCore;
    LoadedNetwork mLoaded ZEL_GUARDED_BY(mLock);
    const std::string mDevice = "CPU";
    std::string mOutputName ZEL_GUARDED_BY(mLock);
    ObjectDetectCommon mDetect ZEL_GUARDED_BY(mLock);
    std::vector<uint8_t> mStack ZEL_GUARDED_BY(mLock);
    const float mObjectnessThreshold = 0.7f;
    const float mClassThreshold = 0.25f;  // of the overlap too
    const int32_t mRowCount = 16128;
    int32_t mBoxCount ZEL_GUARDED_BY(mLock) = 0;
    const int32_t mMaxBoxes = 20;
    const int32_t mWidth = 512;
    const int32_t mHeight = 512;
    const int32_t mChannels = 3;
    const int32_t mClassCount = 4;
    const int32_t mRowStride = 9;
    CCmMutexThreadRecursive mLock;
};
