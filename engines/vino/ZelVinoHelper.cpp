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
using InferenceEngine::Core;
using InferenceEngine::ExecutableNetwork;
using InferenceEngine::InferRequest;
using InferenceEngine::SizeVector;

namespace {

constexpr int32_t kWindowInferences = 1000;
constexpr float kMaskScale = 255.0f;

CNNNetwork readOwnResources(const Core& core, int xmlId, int binId) {
    const ModelPair pair(xmlId, binId);
    QOR_INFO("zelipc>> load bin size: " << pair.weightsBytes() << ", model size = " << pair.xmlBytes());
    return pair.read(core);
}

size_t elements(const SizeVector& dims) {
    return std::accumulate(dims.begin(), dims.end(), size_t{1}, std::multiplies<>());
}

std::string shapeText(const SizeVector& dims) {
    std::string text;
    for (const size_t dim : dims) text += (text.empty() ? "" : "x") + std::to_string(dim);
    return text;
}

int64_t frameBytes(int32_t width, int32_t height) {
    return static_cast<int64_t>(width) * height * 3;
}

}  // namespace

// A loaded network on its way to the members.
struct ZelVinoHelper::Place {
    CNNNetwork network;
    ExecutableNetwork executable;
    InferRequest request;
    InferenceEngine::InputsDataMap inputs;
    InferenceEngine::OutputsDataMap outputs;
    std::string outputName;
    int32_t width = 0;
    int32_t height = 0;
};

ZelVinoHelper::ZelVinoHelper() : ZelVinoHelper(readOwnResources) {}

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

ZelVinoHelper::PendingInit ZelVinoHelper::beginInit() {
    mInited.exchange(false);
    const CCmMutexGuard lock(mLock);
    mSkip.clearUpdateCount();
    return {mNetwork, mGeneration};
}

bool ZelVinoHelper::finishInit(const PendingInit& pending, const std::string& strDevType) {
    if (strDevType == "GPU") configureGpu();
    const uint32_t start = platform::tickCount();
    ExecutableNetwork executable = mCore.LoadNetwork(pending.network, strDevType, {});
    if (strDevType == "GPU") QOR_INFO("zelipc>>loadgpu finished, cache is ready.");
    QOR_INFO("zelipc>>ZelVinoHelper::init LoadNetwork time :" << platform::tickCount() - start);
    return putInPlace(pending, std::move(executable), strDevType);
}

void ZelVinoHelper::configureGpu() {
    const std::string cachePath = getTestDataPath("gpucache");
    {
        const CCmMutexGuard lock(mLock);
        mGpuCachePath = cachePath;
    }
    applyGpuConfiguration(mCore, cachePath);
}

bool ZelVinoHelper::putInPlace(const PendingInit& pending, ExecutableNetwork executable,
                               const std::string& strDevType) {
    Place place;  // outlives the lock: what the swap leaves in it may take long to free
    place.network = pending.network;
    place.executable = std::move(executable);
    const CCmMutexGuard lock(mLock);
    if (pending.generation != mGeneration) {
        QOR_INFO("zelipc>> ZelVinoHelper::init network is no longer wanted, strDevType = " << strDevType);
        return false;
    }
    if (!prepare(place)) return false;
    std::swap(mExecutableNetwork, place.executable);
    std::swap(mInferRequest, place.request);
    mInputInfo = std::move(place.inputs);
    mOutputInfo = std::move(place.outputs);
    mOutputName = place.outputName;
    mModelWidth.store(place.width, std::memory_order_relaxed);
    mModelHeight.store(place.height, std::memory_order_relaxed);
    allocateMasks();
    mInited.exchange(true);
    mInitDone.notify_all();
    mDeviceType = strDevType;
    return true;
}

bool ZelVinoHelper::prepare(Place& place) {
    place.request = place.executable.CreateInferRequest();
    place.inputs = place.network.getInputsInfo();
    if (place.inputs.size() != 1) {
        QOR_ERROR("zelipc>> ZelVinoHelper::init mInputInfo.size() != 1");
        return false;
    }
    InferenceEngine::InputInfo& input = *place.inputs.begin()->second;
    input.setPrecision(InferenceEngine::Precision::FP32);
    input.setLayout(InferenceEngine::Layout::NCHW);
    input.getPreProcess().setColorFormat(InferenceEngine::BGR);

    const size_t batch = place.network.getBatchSize();
    QOR_INFO("zelipc>> ZelVinoHelper::init mNetwork.getBatchSize() = " << batch);
    place.network.setBatchSize(batch);

    place.outputs = place.network.getOutputsInfo();
    place.outputName = mOutputName;
    for (const auto& [name, output] : place.outputs) {
        if (!output) throw InferenceEngine::details::InferenceEngineException("output data pointer is not valid");
        if (place.outputName.empty()) place.outputName = name;
        output->setPrecision(InferenceEngine::Precision::FP32);
    }
    return maskFits(place);
}

// The feedback needs a mask of the frame's size, and both masks have kMaskBytes. (An input of another rank has been
// refused by its layout.)
bool ZelVinoHelper::maskFits(Place& place) {
    const SizeVector& in = place.inputs.begin()->second->getTensorDesc().getDims();
    const auto output = place.outputs.find(place.outputName);
    if (output == place.outputs.end()) {
        QOR_ERROR("zelipc>> ZelVinoHelper::init network has no mask output, mOutputName = " << place.outputName);
        return false;
    }
    const SizeVector& out = output->second->getDims();
    const bool sameSize = out.size() == 4 && out[2] == in[2] && out[3] == in[3];
    if (!sameSize || elements(out) > kMaskBytes || in[2] * in[3] > kMaskBytes || elements(out) == 0) {
        QOR_ERROR("zelipc>> ZelVinoHelper::init mask output not usable, output: " << shapeText(out)
                                                                                  << ", input: " << shapeText(in));
        return false;
    }
    place.width = static_cast<int32_t>(in[3]);
    place.height = static_cast<int32_t>(in[2]);
    return true;
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
    const Blob::Ptr input = mInferRequest.GetBlob(mInputInfo.begin()->first);
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
    mInferRequest.Infer();
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
    const Blob::Ptr output = mInferRequest.GetBlob(mOutputName);
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
