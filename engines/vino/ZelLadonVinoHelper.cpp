#include "engines/vino/ZelLadonVinoHelper.h"

#include <exception>
#include <utility>

#include "engines/vino/DevicePolicy.h"
#include "util/include/CmTrace.h"

using InferenceEngine::Blob;
using InferenceEngine::CNNNetwork;
using InferenceEngine::details::InferenceEngineException;

namespace {

constexpr int32_t kSmallXml = 214;
constexpr int32_t kSmallWeights = 213;
constexpr int32_t kLargeXml = 212;
constexpr int32_t kLargeWeights = 211;
constexpr int32_t kPresetWidth = 640;
constexpr int32_t kPresetHeight = 360;

}  // namespace

// One loaded network as the frames' road sees it.
class ZelLadonVinoHelper::Engine : public LadonEngine {
  public:
    explicit Engine(LoadedNetwork loaded) : mLoaded(std::move(loaded)), mInput(mLoaded.inputBlob()) {}

    int32_t width() const override { return static_cast<int32_t>(mLoaded.inputDims()[3]); }
    int32_t height() const override { return static_cast<int32_t>(mLoaded.inputDims()[2]); }
    size_t planes() const override { return mLoaded.inputDims()[1]; }
    float* input() override { return mInput->buffer().as<float*>(); }
    void infer() override { mLoaded.request.Infer(); }
    LadonOutput output(const std::string& name) const override {
        const Blob::Ptr blob = mLoaded.request.GetBlob(name);  // the request keeps it
        return {blob->cbuffer().as<const float*>(), blob->getTensorDesc().getDims()};
    }

  private:
    LoadedNetwork mLoaded;
    Blob::Ptr mInput;
};

ZelLadonVinoHelper::ZelLadonVinoHelper() : ZelLadonVinoHelper(loadNetwork) {}

ZelLadonVinoHelper::ZelLadonVinoHelper(NetworkSource source) : mSource(std::move(source)), mCore(std::string()) {
    preInit("CPU", 0);
}

ZelLadonVinoHelper::~ZelLadonVinoHelper() {
    QOR_INFO("zelipc>> :~ZelLadonVinoHelper() " << deviceType());
}

void ZelLadonVinoHelper::preInit(const std::string& strDevType, uint32_t devPerformance) {
    {
        const CCmMutexGuard lock(mLock);
        mDeviceType = strDevType;
        mFrames.clearUpdateCount();
        mLoadMs.store(0, std::memory_order_relaxed);
    }
    const bool large = devPerformance != 0;
    CNNNetwork network = large ? mSource(mCore, kLargeXml, kLargeWeights) : mSource(mCore, kSmallXml, kSmallWeights);
    QOR_INFO("zelipc>> load model, model name: " << network.getName());
    applyCpuConfiguration(mCore, "ZelLadonVinoHelper");

    const CCmMutexGuard lock(mLock);
    mNetwork = std::move(network);
    ++mGeneration;
    mFrames.choose(large);
    mNetworkName = mNetwork.getName();
}

PendingLoad ZelLadonVinoHelper::beginInit(const std::string& strDevType) {
    mInited.exchange(false);
    if (strDevType == "GPU") ++mGpuInitCount;
    const CCmMutexGuard lock(mLock);
    mFrames.clearUpdateCount();
    return {mNetwork, mGeneration, strDevType};
}

// A network with other than one input leaves the count of loads as it is: the helper then never counts as idle.
bool ZelLadonVinoHelper::finishInit(const PendingLoad& pending) {
    if (pending.device != "GPU") return load(pending) == Placed::kServing;
    Placed placed = Placed::kOutdated;
    try {
        placed = load(pending);
        if (placed == Placed::kRefused) return false;
        loadWantedDevice(pending.device);
    } catch (const std::exception&) {
        endGpuLoad();
        throw;
    }
    endGpuLoad();
    return placed == Placed::kServing;
}

ZelLadonVinoHelper::Placed ZelLadonVinoHelper::load(const PendingLoad& pending) {
    if (pending.device == "GPU") {
        const std::string cachePath = getTestDataPath("gpucache");
        {
            const CCmMutexGuard lock(mLock);
            mGpuCachePath = cachePath;
        }
        applyGpuConfiguration(mCore, cachePath);
    }
    LoadedNetwork loaded(pending.network);
    const uint32_t elapsed = compileTraced(mCore, loaded, pending.device);
    return putInPlace(std::move(loaded), pending, elapsed);
}

ZelLadonVinoHelper::Placed ZelLadonVinoHelper::putInPlace(LoadedNetwork&& loaded, const PendingLoad& pending,
                                                          uint32_t elapsedMs) {
    std::shared_ptr<Engine> retired;  // outlives the lock: it may take long to free
    const CCmMutexGuard lock(mLock);
    if (pending.generation != mGeneration) {
        QOR_INFO("zelipc>> ZelLadonVinoHelper::init network is no longer wanted, strDevType = " << pending.device);
        return Placed::kOutdated;
    }
    if (mDeviceType == pending.device) mLoadMs.store(static_cast<int32_t>(elapsedMs), std::memory_order_relaxed);
    if (!prepareInput(loaded)) return Placed::kRefused;
    const auto width = static_cast<int32_t>(loaded.inputDims()[3]);
    const auto height = static_cast<int32_t>(loaded.inputDims()[2]);
    if (height > kPresetHeight || width > kPresetWidth) {
        QOR_ERROR("zelipc>> ZelLadonVinoHelper::init, model input size not equal to predefined, input:"
                  << width << " * " << height << ", predefined:" << kPresetWidth << " * " << kPresetHeight);
    }
    prepareOutputs(loaded);
    mFrames.setModelSize(width, height);
    retired = std::exchange(mEngine, std::make_shared<Engine>(std::move(loaded)));
    mInited.exchange(true);
    mInitDone.notify_all();
    return Placed::kServing;
}

// Frames go on meanwhile on what serves.
void ZelLadonVinoHelper::loadWantedDevice(const std::string& loadedDevice) {
    PendingLoad wanted;
    {
        const CCmMutexGuard lock(mLock);
        if (mDeviceType == loadedDevice) return;
        wanted = {mNetwork, mGeneration, mDeviceType};
    }
    QOR_INFO("zelipc>> ZelLadonVinoHelper::init, change to mDeviceType: " << wanted.device << ", strDevType"
                                                                          << loadedDevice);
    load(wanted);
}

void ZelLadonVinoHelper::endGpuLoad() {
    const auto callback = mGpuLoadedCallback;  // it may end this helper
    if (--mGpuInitCount == 0 && callback) callback(kLoadedType);
}

void ZelLadonVinoHelper::uninit() {
    mInited.exchange(false);
    const CCmMutexGuard lock(mLock);
    mFrames.reset();
}

bool ZelLadonVinoHelper::runInference(int32_t width, int32_t height, const uint8_t* data, int32_t size) {
    const LadonFrames::Verdict verdict = mFrames.begin(mInited, width, height, data, size);
    if (verdict != LadonFrames::Verdict::kInfer) return verdict == LadonFrames::Verdict::kSkipped;
    const CCmMutexGuard lock(mLock);
    // While the frame waited here another load may have begun, or have put another network in place.
    if (mFrames.refusedAsNotInited(mInited)) return false;
    if (!mFrames.sizeFits(width, height, mEngine->width(), mEngine->height())) return false;
    mDecoded = mEngine;
    const bool slow = mFrames.infer(*mEngine, data);
    if (slow && mDeviceType == "GPU") mFallbackToCpu = true;
    if (mFallbackToCpu) fallBackToCpu();
    return true;
}

// Without preInit: the network that the GPU was too slow for goes on, on the CPU. A load on the GPU that is under way
// waits for the lock, and then finds the CPU wanted.
void ZelLadonVinoHelper::fallBackToCpu() {
    QOR_INFO("zelipc>> ZelLadonVinoHelper, GPU exceed max processing time, fall back to CPU");
    mFallbackToCpu = false;
    uninit();
    mDeviceType = "CPU";
    init("CPU");
}

const ZelLadonVinoHelper::Engine& ZelLadonVinoHelper::decoded() const {
    const Engine* engine = mDecoded ? mDecoded.get() : mEngine.get();
    if (!engine) throw InferenceEngineException("no network has been loaded", InferenceEngine::NETWORK_NOT_LOADED);
    return *engine;
}

void ZelLadonVinoHelper::parseSegmentationOutput() {
    const CCmMutexGuard lock(mLock);
    mFrames.parseSegmentation(decoded());
}

void ZelLadonVinoHelper::getGestureOutput(const float** gesture) {
    const CCmMutexGuard lock(mLock);
    mFrames.readGesture(decoded(), gesture);
}

void ZelLadonVinoHelper::parseLandmarksOutput(const float** landmarks) {
    const CCmMutexGuard lock(mLock);
    mFrames.readLandmarks(decoded(), landmarks);
}

float ZelLadonVinoHelper::motionOutput() {
    const CCmMutexGuard lock(mLock);
    return mFrames.readMotion(decoded());
}

std::string ZelLadonVinoHelper::deviceType() const {
    const CCmMutexGuard lock(mLock);
    return mDeviceType;
}

std::string ZelLadonVinoHelper::networkName() const {
    const CCmMutexGuard lock(mLock);
    return mNetworkName;
}
