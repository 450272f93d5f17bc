#include "engines/vino/ZelVinoHelper.h"

#include <cstring>
#include <functional>
#include <numeric>
#include <utility>

#include "engines/vino/DevicePolicy.h"
#include "engines/vino/MotionDetect.h"
#include "engines/vino/PixelLoops.h"
#include "platform/include/clock.h"
#include "util/include/CmTrace.h"

using InferenceEngine::Blob;
using InferenceEngine::CNNNetwork;
using InferenceEngine::SizeVector;

namespace {

constexpr int32_t kWindowInferences = 1000;
constexpr float kMaskScale = 255.0f;

size_t elements(const SizeVector& dims) {
    return std::accumulate(dims.begin(), dims.end(), size_t{1}, std::multiplies<>());
}

int64_t frameBytes(int32_t width, int32_t height) {
    return static_cast<int64_t>(width) * height * 3;
}

}  // namespace

ZelVinoHelper::ZelVinoHelper() : ZelVinoHelper(ownNetworks("zelipc>> load bin size: ")) {}

ZelVinoHelper::ZelVinoHelper(NetworkSource source) : mSource(std::move(source)), mCore(std::string()) {
    preInit("CPU", 0);
}

ZelVinoHelper::~ZelVinoHelper() {
    uninit();
}

void ZelVinoHelper::preInit(const std::string& strDevType, uint32_t devPerformance) {
    QOR_FUNC_TRACE("ZelVinoHelper::preInit", "zelipc>> ZelVinoHelper::preInit");
    mSkip.clearUpdateCount();
    const Choice choice = chooseNetwork(strDevType, devPerformance);
    CNNNetwork network = mSource(mCore, choice.xmlId, choice.binId);
    applyCpuConfiguration(mCore, "ZelVinoHelper");

    const CCmMutexGuard lock(mLock);
    mXmlResourceId = choice.xmlId;
    mBinResourceId = choice.binId;
    mKeepRawMask = choice.keepRawMask;
    mNetwork = std::move(network);
    ++mGeneration;
    mSkip.clearEdgeCount();
    setAutoSkipVBG(true);
    mNetworkName = mNetwork.getName();
}

ZelVinoHelper::Choice ZelVinoHelper::chooseNetwork(const std::string& strDevType, uint32_t devPerformance) const {
    const bool large = devPerformance == 1;
    if (devPerformance <= 1 && strDevType == "GPU") return large ? Choice{160, 170, true} : Choice{101, 100, false};
    if (devPerformance <= 1 && strDevType == "CPU") return large ? Choice{180, 190, true} : Choice{140, 150, false};
    const CCmMutexGuard lock(mLock);
    return {mXmlResourceId, mBinResourceId, false};
}

PendingLoad ZelVinoHelper::beginInit(const std::string& strDevType) {
    mInited.exchange(false);
    const CCmMutexGuard lock(mLock);
    mSkip.clearUpdateCount();
    return {mNetwork, mGeneration, strDevType};
}

bool ZelVinoHelper::finishInit(const PendingLoad& pending) {
    if (pending.device == "GPU") configureGpu();
    LoadedNetwork loaded(pending.network);  // after the swap it holds what served until then
    compileTraced(mCore, loaded, pending.device);
    return putInPlace(loaded, pending);
}

void ZelVinoHelper::configureGpu() {
    const std::string cachePath = getTestDataPath("gpucache");
    {
        const CCmMutexGuard lock(mLock);
        mGpuCachePath = cachePath;
    }
    applyGpuConfiguration(mCore, cachePath);
}

bool ZelVinoHelper::putInPlace(LoadedNetwork& loaded, const PendingLoad& pending) {
    const CCmMutexGuard lock(mLock);
    if (pending.generation != mGeneration) {
        QOR_INFO("zelipc>> ZelVinoHelper::init network is no longer wanted, strDevType = " << pending.device);
        return false;
    }
    if (!prepareInput(loaded)) return false;
    prepareOutputs(loaded);
    if (!takeOutputName(loaded) || !maskFits(loaded)) return false;
    std::swap(mLoaded, loaded);
    mModelWidth.store(static_cast<int32_t>(mLoaded.inputDims()[3]), std::memory_order_relaxed);
    mModelHeight.store(static_cast<int32_t>(mLoaded.inputDims()[2]), std::memory_order_relaxed);
    allocateMasks();
    mInited.exchange(true);
    mInitDone.notify_all();
    mDeviceType = pending.device;
    return true;
}

// The first output that was ever seen; later networks are asked for the same.
bool ZelVinoHelper::takeOutputName(const LoadedNetwork& loaded) {
    const std::string name =
        mOutputName.empty() && !loaded.outputs.empty() ? loaded.outputs.begin()->first : mOutputName;
    if (!loaded.outputs.contains(name)) {
        QOR_ERROR("zelipc>> ZelVinoHelper::init network has no mask output, mOutputName = " << name);
        return false;
    }
    mOutputName = name;
    return true;
}

// The feedback needs a mask of the frame's size, and both masks have kMaskBytes. (An input of another rank has been
// refused by its layout.)
bool ZelVinoHelper::maskFits(const LoadedNetwork& loaded) const {
    const SizeVector& in = loaded.inputDims();
    const SizeVector out = loaded.outputDims(mOutputName);
    const bool sameSize = out.size() == 4 && out[2] == in[2] && out[3] == in[3];
    if (sameSize && elements(out) <= kMaskBytes && in[2] * in[3] <= kMaskBytes && elements(out) != 0) return true;
    QOR_ERROR("zelipc>> ZelVinoHelper::init mask output not usable, output: " << shapeText(out)
                                                                              << ", input: " << shapeText(in));
    return false;
}

void ZelVinoHelper::allocateMasks() {
    if (!mRawMask) mRawMask = std::make_unique<uint8_t[]>(kMaskBytes);
    if (!mOutMask) mOutMask = std::make_unique<uint8_t[]>(kMaskBytes);
}

void ZelVinoHelper::uninit() {
    mInited.store(false);
}

bool ZelVinoHelper::process(int32_t width, int32_t height, const uint8_t* data, int32_t size, uint8_t** outMask) {
    if (!data || size < 1 || !outMask) {
        QOR_ERROR("zelipc>> ZelVinoHelper::process param invalid.");
        return false;
    }
    if (refusedAsShort(width, height, size)) return false;
    if (autoSkipVBG() && skipFrame(width, height, data, size, *outMask)) return true;
    return processUsingV5Model(width, height, data, size, outMask);
}

bool ZelVinoHelper::refusedAsNotInited() const {
    if (mInited) return false;
    QOR_ERROR("ZelVinoHelper::processUsingV5Model not inited.");
    return true;
}

// A frame that has the network's size and too few bytes for it must not get as far as the change test: that one would
// compare what there is of it. Frames of another size are the size check's affair.
bool ZelVinoHelper::refusedAsShort(int32_t width, int32_t height, int32_t size) const {
    if (width != mModelWidth.load(std::memory_order_relaxed) ||
        height != mModelHeight.load(std::memory_order_relaxed)) {
        return false;
    }
    if (size >= frameBytes(width, height)) return false;
    QOR_ERROR("zelipc>> ZelVinoHelper frame data too short, size = " << size << ", input sample: w = " << width
                                                                     << " h = " << height);
    return true;
}

bool ZelVinoHelper::skipFrame(int32_t width, int32_t height, const uint8_t* data, int32_t size, uint8_t* outMask) {
    const uint32_t start = platform::tickCount();
    const bool changed = mSkip.test(width, height, data, size) != 0;
    const bool skipped = mSkip.hasMask() && !changed && outMask;
    if (skipped) {
        mSkip.countSkip();
        const auto mask = mSkip.previousMask();
        if (outMask != mask.data()) std::memcpy(outMask, mask.data(), mask.size());
    }
    mSkip.addCost(platform::tickCount() - start);
    return skipped;
}

bool ZelVinoHelper::processUsingV5Model(int32_t width, int32_t height, const uint8_t* data, int32_t size,
                                        uint8_t** outMask) {
    if (refusedAsNotInited()) return false;
    {
        const CCmMutexGuard lock(mLock);
        // A frame that waited here while a new init began must not count as a mask of that one.
        if (refusedAsNotInited()) return false;
        if (!inferMask(width, height, data, size, outMask)) return false;
    }
    if (mFallbackToCpu) fallBackToCpu();
    return true;
}

bool ZelVinoHelper::inferMask(int32_t width, int32_t height, const uint8_t* data, int32_t size, uint8_t** outMask) {
    const Blob::Ptr input = mLoaded.inputBlob();
    const SizeVector& dims = input->getTensorDesc().getDims();
    const auto modelWidth = static_cast<int32_t>(dims[3]);
    const auto modelHeight = static_cast<int32_t>(dims[2]);
    if (width != modelWidth || height != modelHeight) {
        QOR_ERROR("zelipc>> ZelVinoHelper model size not the same, tensor: w ="
                  << modelWidth << " h = " << modelHeight << ", input sample: w = " << width << " h = " << height);
        return false;
    }
    if (refusedAsShort(width, height, size)) return false;
    PixelLoops::active().fillPlanes(data, mRawMask.get(), dims[2] * dims[3], dims[1], input->buffer().as<float*>());
    infer();
    const bool skipping = autoSkipVBG();
    if (!skipping) mSkip.ownPreviousMask();
    *outMask = decodeMask(skipping);
    if (skipping) mSkip.update(width, height, mRawMask.get(), *outMask, data);
    return true;
}

void ZelVinoHelper::infer() {
    const uint32_t start = platform::tickCount();
    mLoaded.request.Infer();
    ++mInferCount;
    mInferTotalMs += platform::tickCount() - start;
    if (mInferCount >= kWindowInferences) closeWindow();
}

void ZelVinoHelper::closeWindow() {
    QOR_INFO("zelipc>> ZelVinoHelper infer_request.Infer() predict 1000 times, total = "
             << mInferTotalMs << " msg"
             << " average= " << mInferTotalMs / 1000.0 << " ms,"
             << " Skip/active is about " << mSkip.skipCount() / 1000.0 << " VBG update " << mSkip.updateCount()
             << ", skip VBG cost(ms)" << mSkip.skipCostMs() / 1000.0);
    mSkip.clearStatistics();
    if (gpuTooSlow(mDeviceType, mInferTotalMs, kWindowInferences)) mFallbackToCpu = true;
    mInferCount = 0;
    mInferTotalMs = 0;
}

// The mask to hand out. A raw one is handed out itself while it is also the mask to repeat, so that a skipped frame
// which is given it back writes nothing; otherwise its copy, so that such a frame leaves the feedback alone.
uint8_t* ZelVinoHelper::decodeMask(bool skipping) {
    const Blob::Ptr output = mLoaded.request.GetBlob(mOutputName);
    const SizeVector& dims = output->getTensorDesc().getDims();
    PixelLoops::active().floatsToBytes(output->cbuffer().as<const float*>(), output->size(), kMaskScale,
                                       mRawMask.get());
    if (mKeepRawMask && skipping) return mRawMask.get();
    if (mKeepRawMask) {
        std::memcpy(mOutMask.get(), mRawMask.get(), dims[2] * dims[3]);
    } else {
        MotionDetect::erodeMask(static_cast<int32_t>(dims[3]), static_cast<int32_t>(dims[2]), mRawMask.get(),
                                mOutMask.get());
    }
    return mOutMask.get();
}

// Without preInit: the network that the GPU was too slow for goes on, on the CPU.
void ZelVinoHelper::fallBackToCpu() {
    QOR_INFO("zelipc>> ZelVinoHelper, GPU exceed max processing time, fall back to CPU");
    uninit();
    mFallbackToCpu = false;
    init("CPU");
}

std::string ZelVinoHelper::deviceType() const {
    const CCmMutexGuard lock(mLock);
    return mDeviceType;
}

std::string ZelVinoHelper::networkName() const {
    const CCmMutexGuard lock(mLock);
    return mNetworkName;
}
