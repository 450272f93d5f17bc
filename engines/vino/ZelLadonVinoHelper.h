#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "engines/inference_engine/InferenceEngine.h"
#include "engines/vino/LadonFrames.h"
#include "engines/vino/LoadedNetwork.h"
#include "engines/vino/ModelStore.h"
#include "util/include/CmMutex.h"

// Runs the Ladon network through the engine of this folder: one inference gives a mask, gesture scores, faces with
// their landmarks, and motion. The frame's road is that of LadonFrames; the helper owns the network and its loads.
//
// Life: construct; then `uninit`, `preInit`, `init` for each start. Frames may come at any time and fail while not
// inited. Threads: one frame at a time in runInference and the decoders after it, which read what that frame's
// inference gave, whatever network has come into place meanwhile; starts on one other thread; a load begun with
// beginInit may finish on a third one. Whoever runs such a load shares ownership of the helper, and catches what it
// throws.
class ZelLadonVinoHelper {
  public:
    // The type number that the callback is given.
    static constexpr uint32_t kLoadedType = 6;

    // Reads the network of performance 0. Raises like preInit.
    ZelLadonVinoHelper();
    explicit ZelLadonVinoHelper(NetworkSource source);
    virtual ~ZelLadonVinoHelper();
    ZelLadonVinoHelper(const ZelLadonVinoHelper&) = delete;
    ZelLadonVinoHelper& operator=(const ZelLadonVinoHelper&) = delete;

    // To be set before the first load: called with kLoadedType when the last "GPU" load under way has ended, on the
    // thread of that load, without a lock. It may drop the caller's share of this helper.
    void setGpuLoadedCallback(std::function<void(uint32_t)> callback) { mGpuLoadedCallback = std::move(callback); }

    // Makes `strDevType` the wanted device and reads the network: 256x144 for performance 0, 640x360 for any other.
    // Turns skipping on. What was loaded stays loaded, and a load of an earlier network that is still under way will be
    // dropped. Raises InferenceEngineException when the pair is missing or cannot be read; only the device has changed
    // then.
    void preInit(const std::string& strDevType, uint32_t devPerformance);

    // Loads the network on the device and puts it in place; frames are refused meanwhile. False, with a line, for a
    // network that does not have one input, and when a later preInit has chosen another network meanwhile. When "GPU"
    // is no longer wanted at the end of such a load, the wanted device is loaded as well. Raises what the engine
    // raises.
    bool init(const std::string& strDevType) { return finishInit(beginInit(strDevType)); }

    // The same in two steps, for a load in the background. beginInit refuses frames from now on, so it runs before
    // another init makes the helper serve; finishInit takes its time, on any thread, and touches no frame until it puts
    // the finished network in place.
    PendingLoad beginInit(const std::string& strDevType);
    bool finishInit(const PendingLoad& pending);

    // Not while a frame is under way, decoders included. Refuses frames from now on; after the next init ten of them
    // are inferred before one may be skipped, and the mask to repeat is empty.
    void uninit();

    // One frame of width x height pixels, 3 bytes each, rows packed, `size` bytes in all, at the network's size, which
    // must stay as it is until the decoders have run. True when the decoders may be asked: for an inferred frame, and
    // for a skipped one (lastChanged 0), which repeats what the last inference gave and prevMask. Nothing beyond `size`
    // bytes is read, whatever the numbers. Raises what the engine raises.
    bool runInference(int32_t width, int32_t height, const uint8_t* data, int32_t size);

    // The decoders, after a runInference that gave true; see LadonFrames. What they give is valid until the next
    // runInference. They raise when the network lacks the output.
    void parseSegmentationOutput();
    void getGestureOutput(const float** gesture);
    void parseLandmarksOutput(const float** landmarks);
    float motionOutput();

    // The state of the frame under way, and its switches.
    LadonFrames& frames() { return mFrames; }
    const LadonFrames& frames() const { return mFrames; }

    bool inited() const { return mInited; }
    // Whether a "GPU" load is under way. Any thread.
    bool loading() const { return mGpuInitCount.load() != 0; }
    // Milliseconds that the load on the wanted device took, 0 until it is known. Any thread.
    int32_t loadMs() const { return mLoadMs.load(std::memory_order_relaxed); }
    // The wanted device. Any thread.
    std::string deviceType() const;
    // Name of the network that preInit has read. Any thread.
    std::string networkName() const;

  private:
    class Engine;
    enum class Placed { kServing, kRefused, kOutdated };

    Placed load(const PendingLoad& pending);
    Placed putInPlace(LoadedNetwork&& loaded, const PendingLoad& pending, uint32_t elapsedMs);
    void loadWantedDevice(const std::string& loadedDevice);
    void endGpuLoad();
    void fallBackToCpu() ZEL_REQUIRES(mLock);
    const Engine& decoded() const ZEL_REQUIRES(mLock);

    const NetworkSource mSource;
    std::atomic<bool> mInited{false};
    std::condition_variable mInitDone;
    InferenceEngine::Core mCore;
    InferenceEngine::CNNNetwork mNetwork ZEL_GUARDED_BY(mLock);  // the chosen one
    uint32_t mGeneration ZEL_GUARDED_BY(mLock) = 0;              // counts preInit
    std::shared_ptr<Engine> mEngine ZEL_GUARDED_BY(mLock);       // what serves
    std::shared_ptr<Engine> mDecoded ZEL_GUARDED_BY(mLock);      // what inferred the last frame
    LadonFrames mFrames{"ZelLadonVinoHelper"};
    std::string mDeviceType ZEL_GUARDED_BY(mLock);
    std::string mNetworkName ZEL_GUARDED_BY(mLock);
    std::string mGpuCachePath ZEL_GUARDED_BY(mLock);
    std::atomic<int32_t> mLoadMs{0};
    std::atomic<int32_t> mGpuInitCount{0};
    std::function<void(uint32_t)> mGpuLoadedCallback;
    bool mFallbackToCpu ZEL_GUARDED_BY(mLock) = false;
    mutable CCmMutexThreadRecursive mLock;
};
