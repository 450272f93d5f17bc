#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "engines/vino/LadonFrames.h"
#include "engines/xnn/PluginEngine.h"
#include "util/include/CmMutex.h"

// Runs the Ladon network, with its colour table, through an inference library that is loaded at run time. The frame's
// road is that of LadonFrames; the helper owns the engines.
//
// A start always brings the network up on the processor first, on the caller's thread, and serves from there. Another
// device compiles for many seconds, so its engine is built by a job of its own, and a watcher puts it in place once it
// is ready. Frames never wait for such a job.
//
// Life: construct; then `uninit`, `preInit`, `init` for each start. Frames may come at any time and fail while not
// inited. Threads: one frame at a time in runInference and the decoders after it, which read what that frame's
// inference gave, whatever engine has come into place meanwhile; starts on one other thread. The destructor waits for a
// job under way.
class ZelLadonXnnHelper {
  public:
    // `directory` holds the library, "xnn.dll" or this system's name for it; UTF-8. The watcher looks for finished jobs
    // once in `watchPeriod`.
    explicit ZelLadonXnnHelper(const char* directory,
                               std::chrono::milliseconds watchPeriod = std::chrono::milliseconds(1000));
    virtual ~ZelLadonXnnHelper();
    ZelLadonXnnHelper(const ZelLadonXnnHelper&) = delete;
    ZelLadonXnnHelper& operator=(const ZelLadonXnnHelper&) = delete;

    // Chooses the network of the next init: 640x360 for performance 1, 256x144 for any other. Turns skipping on.
    void preInit(uint32_t devPerformance);

    // Makes `device` ("CPU", "GPU", "AUTO" or "NPU") the wanted one. Serves on the processor when it returns, unless a
    // processor's engine serves already, and begins a job for any other device, unless one is under way. Does nothing
    // for the device that is wanted already while frames are served. False when no frames are served; the lines tell
    // why. Raises std::system_error when no thread can be had.
    bool init(const std::string& device);

    // Ten frames are inferred before one may be skipped, and the mask to repeat is empty. Keeps the engines.
    void uninit();

    // The watcher's step: puts the engine of a finished job in place when its device is still the wanted one, and ends
    // the engines that are no longer used, while frames go on. Never waits for a job.
    void switchEngine();

    // One frame of width x height pixels, 3 bytes each, rows packed, `size` bytes in all, at the network's size, which
    // must stay as it is until the decoders have run. True when the decoders may be asked: for an inferred frame, and
    // for a skipped one (lastChanged 0), which repeats what the last inference gave and prevMask. Raises
    // std::runtime_error with the library's words.
    bool runInference(int32_t width, int32_t height, const uint8_t* data, int32_t size);

    // The decoders, after a runInference that gave true; see LadonFrames. What they give is valid until the next
    // runInference. They raise std::runtime_error when the network lacks the output.
    void parseSegmentationOutput();
    void getGestureOutput(const float** gesture);
    void parseLandmarksOutput(const float** landmarks);
    float motionOutput();
    // The colour table, 3x33x33x33 values, its 3x33 vertices, and how far it can be trusted. All three are left alone,
    // and a line written, when an output has another shape.
    void parseLutOutput(const float** lut, const float** vertices, float* confidence);

    // The state of the frame under way, and its switches.
    LadonFrames& frames() { return mFrames; }
    const LadonFrames& frames() const { return mFrames; }

    bool inited() const { return mInited; }
    // Milliseconds that the network took to be made on the wanted device, 0 until it is known. Any thread.
    int32_t loadMs() const { return mLoadMs.load(std::memory_order_relaxed); }
    // The wanted device. Any thread.
    std::string deviceType() const;
    // The device of the engine that serves. Any thread.
    std::string currentDeviceType() const;
    // The device of the last job. Any thread.
    std::string backupDeviceType() const;
    // Name of the network that the last init made on the processor, "" before. Any thread.
    std::string networkName() const;

  private:
    class Serving;

    // What initXnn makes.
    struct Built {
        std::unique_ptr<xnn::inference::PluginEngine> engine;  // null when it failed
        std::string networkName;
    };

    Built initXnn(const std::string& device, bool large);
    Built buildEngine(const std::string& device, bool large);
    std::unique_ptr<xnn::inference::PluginEngine> loadEngine() const;
    std::shared_ptr<Serving> serving(Built&& built);
    bool rebuildOnCpu() ZEL_REQUIRES(mLock);
    void dispatchJob() ZEL_REQUIRES(mLock);
    void startWatcher() ZEL_REQUIRES(mLock);
    void retire(std::shared_ptr<Serving> engine) ZEL_REQUIRES(mLock);
    void takeFinishedJob() ZEL_REQUIRES(mLock);
    void watch();
    bool pauseWatch();
    bool backupFits() ZEL_REQUIRES(mLock);
    void putBackupInPlace() ZEL_REQUIRES(mLock);
    void fallBackToCpu() ZEL_REQUIRES(mLock);
    void wantDevice(const std::string& device);
    const Serving& decoded() const ZEL_REQUIRES(mLock);

    const std::string mDirectory;
    const std::string mXnnPath;
    const std::chrono::milliseconds mWatchPeriod;
    LadonFrames mFrames{"ZelLadonXnnHelper"};
    std::vector<float> mInputBuffer;  // four planes of 640x360
    std::atomic<bool> mInited{false};
    std::atomic<int32_t> mLoadMs{0};

    mutable CCmMutexThreadRecursive mLock;
    std::shared_ptr<Serving> m_xnnEngine ZEL_GUARDED_BY(mLock);            // what serves
    std::shared_ptr<Serving> m_backupXnnEngine ZEL_GUARDED_BY(mLock);      // of the last finished job, not in place
    std::shared_ptr<Serving> mDecoded ZEL_GUARDED_BY(mLock);               // what inferred the last frame
    std::vector<std::shared_ptr<Serving>> mRetired ZEL_GUARDED_BY(mLock);  // left to the watcher to end
    std::string mCurrentDeviceType ZEL_GUARDED_BY(mLock);
    std::string mBackupDeviceType ZEL_GUARDED_BY(mLock);
    std::string mNetworkName ZEL_GUARDED_BY(mLock);
    bool mKeepRawMask ZEL_GUARDED_BY(mLock) = false;  // the larger network is chosen
    std::thread mWatcher ZEL_GUARDED_BY(mLock);

    // Taken last. The job asks for the wanted device, and takes no other lock.
    mutable cm::Mutex mDeviceLock;
    std::string mDeviceType ZEL_GUARDED_BY(mDeviceLock);

    cm::Mutex mWatchLock;
    cm::Condition mWatchEnds;
    bool mWatcherRun ZEL_GUARDED_BY(mWatchLock) = true;

    // A job in flight or unclaimed. Last: its destruction waits for a job that uses what is above.
    std::future<Built> mInitFuture ZEL_GUARDED_BY(mLock);
};
