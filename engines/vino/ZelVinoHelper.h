#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <string>

#include "engines/inference_engine/InferenceEngine.h"
#include "engines/vino/LoadedNetwork.h"
#include "engines/vino/ModelStore.h"
#include "engines/vino/SkipLogic.h"
#include "util/include/CmMutex.h"

// Turns one video frame into one person mask. The helper owns the network and its request, the mask that is fed back as
// fourth input channel, the skip logic that reuses the last mask while the picture stands still, and the rule that
// moves it from the GPU to the CPU when the GPU is too slow.
//
// Life: construct; then `uninit`, `preInit`, `init` for each start. Frames may come at any time and fail while not
// inited. Threads: one frame at a time in process; starts on one other thread; a load begun with beginInit may finish
// on a third one, at any time after, while frames run on the network that another init has put in place. Whoever runs
// such a load shares ownership of the helper, and catches what it throws: InferenceEngineException and others leave the
// network in place serving.
class ZelVinoHelper {
  public:
    // Both masks have this many bytes, whatever the network; larger networks are refused.
    static constexpr int32_t kMaskBytes = 640 * 360;

    // Reads the CPU network of performance 0. Raises like preInit.
    ZelVinoHelper();
    explicit ZelVinoHelper(NetworkSource source);
    virtual ~ZelVinoHelper();
    ZelVinoHelper(const ZelVinoHelper&) = delete;
    ZelVinoHelper& operator=(const ZelVinoHelper&) = delete;

    // Chooses the network by "CPU" or "GPU" and the device performance (1 is 640x360, 0 is 256x144) and reads it; any
    // other combination reads the last one again. Turns skipping on. What was loaded stays loaded, and a load of an
    // earlier network that is still under way will be dropped. Raises InferenceEngineException when the pair is missing
    // or cannot be read; network and options then stay as they were.
    void preInit(const std::string& strDevType, uint32_t devPerformance);

    // Loads the network on the device and puts it in place; frames are refused meanwhile. The last one to finish
    // serves. False, with a line, for a network that does not have one input of the right kind and a mask output of its
    // size, and when a later preInit has chosen another network meanwhile. Raises what the engine raises.
    bool init(const std::string& strDevType) { return finishInit(beginInit(strDevType)); }

    // The same in two steps, for a load in the background. beginInit refuses frames from now on, so it runs before
    // another init makes the helper serve; finishInit takes its time, on any thread, and touches no state until it puts
    // the finished network in place.
    PendingLoad beginInit(const std::string& strDevType);
    bool finishInit(const PendingLoad& pending);

    // Refuses frames from now on, and nothing else.
    void uninit();

    // One frame of width x height pixels, 3 bytes each, rows packed, `size` bytes in all, at the network's size. On
    // success *outMask is a mask of width x height bytes: the helper's own, to be read only and valid until the next
    // call; or, for a frame that was skipped, the buffer that *outMask held on entry, into which the last mask has been
    // copied. So that buffer has kMaskBytes, and is the caller's or the mask of the call before; when *outMask is null,
    // no frame is skipped. On false *outMask is untouched. Nothing beyond `size` bytes of the frame is read, whatever
    // the numbers.
    bool process(int32_t width, int32_t height, const uint8_t* data, int32_t size, uint8_t** outMask);
    // The inference half of process: no skipping.
    bool processUsingV5Model(int32_t width, int32_t height, const uint8_t* data, int32_t size, uint8_t** outMask);

    // Skipping on or off, until the next preInit turns it on. Any thread.
    void setAutoSkipVBG(bool on) { mAutoSkipVBG.store(on, std::memory_order_relaxed); }
    bool autoSkipVBG() const { return mAutoSkipVBG.load(std::memory_order_relaxed); }

    bool inited() const { return mInited; }
    // Device of the last init to finish, "" until then. Any thread.
    std::string deviceType() const;
    // Name of the network that preInit has read. Any thread.
    std::string networkName() const;

  private:
    struct Choice {
        int32_t xmlId, binId;
        bool keepRawMask;
    };

    Choice chooseNetwork(const std::string& strDevType, uint32_t devPerformance) const;
    void configureGpu();
    bool putInPlace(LoadedNetwork& loaded, const PendingLoad& pending);
    bool takeOutputName(const LoadedNetwork& loaded) ZEL_REQUIRES(mLock);
    bool maskFits(const LoadedNetwork& loaded) const ZEL_REQUIRES(mLock);
    void allocateMasks() ZEL_REQUIRES(mLock);

    bool refusedAsNotInited() const;
    bool refusedAsShort(int32_t width, int32_t height, int32_t size) const;
    bool skipFrame(int32_t width, int32_t height, const uint8_t* data, int32_t size, uint8_t* outMask);
    bool inferMask(int32_t width, int32_t height, const uint8_t* data, int32_t size, uint8_t** outMask)
        ZEL_REQUIRES(mLock);
    void infer() ZEL_REQUIRES(mLock);
    void closeWindow() ZEL_REQUIRES(mLock);
    uint8_t* decodeMask(bool skipping) ZEL_REQUIRES(mLock);
    void fallBackToCpu();

    const NetworkSource mSource;
    std::atomic<bool> mInited{false};
    std::condition_variable mInitDone;
    InferenceEngine::Core mCore;
    InferenceEngine::CNNNetwork mNetwork ZEL_GUARDED_BY(mLock);  // the chosen one
    uint32_t mGeneration ZEL_GUARDED_BY(mLock) = 0;              // counts preInit
    LoadedNetwork mLoaded ZEL_GUARDED_BY(mLock);                 // what serves
    std::string mOutputName ZEL_GUARDED_BY(mLock);
    SkipLogic mSkip;
    std::unique_ptr<uint8_t[]> mRawMask ZEL_GUARDED_BY(mLock);
    std::unique_ptr<uint8_t[]> mOutMask ZEL_GUARDED_BY(mLock);
    std::string mDeviceType ZEL_GUARDED_BY(mLock);
    std::string mNetworkName ZEL_GUARDED_BY(mLock);
    std::string mGpuCachePath ZEL_GUARDED_BY(mLock);
    int32_t mInferCount ZEL_GUARDED_BY(mLock) = 0;
    uint32_t mInferTotalMs ZEL_GUARDED_BY(mLock) = 0;
    bool mKeepRawMask ZEL_GUARDED_BY(mLock) = false;
    std::atomic<bool> mAutoSkipVBG{true};
    bool mFallbackToCpu = false;  // the frame thread's
    int32_t mXmlResourceId ZEL_GUARDED_BY(mLock) = 101;
    int32_t mBinResourceId ZEL_GUARDED_BY(mLock) = 100;
    std::atomic<int32_t> mModelWidth{0};  // of the network in place
    std::atomic<int32_t> mModelHeight{0};
    mutable CCmMutexThreadRecursive mLock;
};
