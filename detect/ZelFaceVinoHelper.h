#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <string>

#include "detect/ObjectDetectCommon.h"
#include "engines/inference_engine/InferenceEngine.h"
#include "engines/vino/LoadedNetwork.h"
#include "engines/vino/ModelStore.h"
#include "util/include/CmMutex.h"

// Finds up to four faces in a small picture, on the CPU, and tells them in a text.
//
// Life: construct, init once, then one frame after the other. Threads: one at a time. What the engine raises leaves
// every operation: InferenceEngineException.
class ZelFaceVinoHelper {
  public:
    // How long a frame waits for its inference, in milliseconds.
    static constexpr int64_t kLongestWaitMs = 50;

    ZelFaceVinoHelper();
    explicit ZelFaceVinoHelper(const NetworkSource& source, int64_t longestWaitMs = kLongestWaitMs);
    virtual ~ZelFaceVinoHelper() = default;
    ZelFaceVinoHelper(const ZelFaceVinoHelper&) = delete;
    ZelFaceVinoHelper& operator=(const ZelFaceVinoHelper&) = delete;

    // Loads the network, on the CPU: the argument is only logged. A network that is no face detector of the right
    // shapes leaves the helper uninitialised, with a line. Raises std::logic_error for an output without data.
    void init(const std::string& strDevType);

    // One picture of the network's size, 160x90: 3 bytes each pixel, rows packed; `width` and `height` are not used. On
    // success `result` is the text of the faces, see faceText, in pixels of that picture; or empty when the inference
    // took too long: the next frame then raises REQUEST_BUSY if it still runs. False, and `result` untouched, when not
    // inited and when `size` is too small for the picture.
    bool processVino(int32_t width, int32_t height, const uint8_t* data, int32_t size, std::string& result);

    // 2, the default, finds several faces; 1 only the best one, without a look at the last row of the outputs; any
    // other mode none.
    void setDecodeMode(int32_t mode) { mDecodeMode = mode; }

  private:
    static constexpr int32_t kMostFaces = 4;

    bool outputsFit() ZEL_REQUIRES(mLock);
    void fillInput(const InferenceEngine::Blob& input, const uint8_t* data) ZEL_REQUIRES(mLock);
    InferenceEngine::StatusCode infer() ZEL_REQUIRES(mLock);
    void countTime(uint32_t milliseconds) ZEL_REQUIRES(mLock);
    void decodeFaceOutputs(const float* scores, const float* boxes) ZEL_REQUIRES(mLock);
    void decodeSeveral(const float* scores, const float* boxes) ZEL_REQUIRES(mLock);
    void decodeBest(const float* scores, const float* boxes) ZEL_REQUIRES(mLock);

    const int64_t mLongestWaitMs;
    std::atomic<bool> mInited{false};
    std::condition_variable mInitDone;
    InferenceEngine::Core mCore;
    LoadedNetwork mLoaded ZEL_GUARDED_BY(mLock);
    const std::string mDevice = "CPU";
    std::string mScoreName ZEL_GUARDED_BY(mLock);
    std::string mBoxName ZEL_GUARDED_BY(mLock);
    int32_t mDecodeMode = 2;
    const ObjectDetectCommon mDetect;
    const float mScoreThreshold = 0.75f;
    const float mNmsThreshold = 0.3f;
    const int32_t mCandidateCount = 690;
    DetectBox mFaces[kMostFaces] ZEL_GUARDED_BY(mLock) = {};
    int32_t mFaceCount ZEL_GUARDED_BY(mLock) = 0;
    int32_t mStatCount ZEL_GUARDED_BY(mLock) = 0;
    uint32_t mStatSum ZEL_GUARDED_BY(mLock) = 0;
    uint32_t mStatMax ZEL_GUARDED_BY(mLock) = 0;
    CCmMutexThreadRecursive mLock;
};
