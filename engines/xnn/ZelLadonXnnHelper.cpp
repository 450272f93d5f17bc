#include "engines/xnn/ZelLadonXnnHelper.h"

#include <algorithm>
#include <any>
#include <exception>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "engines/inference_engine/NetworkXml.h"
#include "engines/vino/LoadedNetwork.h"
#include "engines/vino/ModelStore.h"
#include "engines/xnn/SharedLibrary.h"
#include "platform/include/clock.h"
#include "platform/include/exception_filter.h"
#include "platform/include/module.h"
#include "platform/include/thread.h"
#include "util/include/CmException.h"
#include "util/include/CmSystem.h"
#include "util/include/CmTrace.h"

using xnn::inference::PluginEngine;

namespace {

constexpr const char* kEngineName = "OpenVINO";
constexpr const char* kInputName = "input";
constexpr const char* kLutName = "lut";
constexpr const char* kLutVerticesName = "lut_vertices";
constexpr const char* kLutConfidenceName = "lut_confidence";

constexpr int kSmallXml = 218;
constexpr int kSmallWeights = 217;
constexpr int kLargeXml = 216;
constexpr int kLargeWeights = 215;
constexpr int32_t kPresetWidth = 640;
constexpr int32_t kPresetHeight = 360;
constexpr size_t kPlanes = 4;
constexpr size_t kInputFloats = kPlanes * kPresetWidth * kPresetHeight;

constexpr const char* kThrottleLevel = "LOW";
constexpr const char* kEngineLine = "zelipc>>ZelLadonXnnHelper::initXnn, xnn [";
constexpr const char* kCreateLine = "] create model with device:";

// Without the batch.
const InferenceEngine::SizeVector kLutShape = {3, 33, 33, 33};
const InferenceEngine::SizeVector kVerticesShape = {3, 33};

using Dims = std::vector<uint64_t>;

std::filesystem::path pathOf(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

// Where a network for `device` is made, and with what.
struct CreateOrder {
    explicit CreateOrder(const std::string& wanted) : device(wanted) {
        properties["CACHE_DIR"] = pathOf(getTestDataPath("gpucachexnn"));
        properties["GPU_THROTTLE_HINT_LEVEL"] = std::string(kThrottleLevel);
        if (wanted != "NPU") return;
        properties["MULTI_DEVICE_PRIORITIES"] = std::string("NPU,GPU");
        device = "AUTO";
    }
    std::string device;
    xnn::inference::Properties properties;
};

// As many dimensions behind the batch, 0 for one that is not there.
std::string shapeBehindBatch(const LadonOutput& output, size_t count) {
    InferenceEngine::SizeVector shape(count, 0);
    for (size_t i = 0; i < count && i + 1 < output.dims.size(); ++i) shape[i] = output.dims[i + 1];
    return shapeText(shape);
}

// One of a batch.
bool hasShape(const LadonOutput& output, const InferenceEngine::SizeVector& shape) {
    return output.dims.size() == shape.size() + 1 && output.dims[0] == 1 &&
           std::equal(shape.begin(), shape.end(), output.dims.begin() + 1);
}

std::string_view textOf(const ModelResource& resource) {
    return {static_cast<const char*>(resource.data()), resource.size()};
}

template <enPathAppendType type>
void* loadForPlugin(const wchar_t* path) {
    if (!path) return nullptr;
    try {
        return kmo_load_library_s(xnn::util::wstringToString(path).c_str(), type, true);
    } catch (...) {
        return nullptr;  // it may be a C library that asks
    }
}

bool isAccelerator(const std::string& device) {
    return device == "GPU" || device == "AUTO" || device == "NPU";
}

std::string named(const char* name, const std::string& value) {
    return std::string(", ") + name + "=" + value;
}

}  // namespace

// One engine with its network, as the frames' road sees it. Its input is the helper's.
class ZelLadonXnnHelper::Serving : public LadonEngine {
  public:
    Serving(std::unique_ptr<PluginEngine> engine, float* input)
        : mEngine(std::move(engine)), mInput(input), mDims(mEngine->getLayerDims(kInputName)) {
        if (mDims.size() != 4) throw std::runtime_error("the input has not 4 dimensions");
    }

    int32_t width() const override { return static_cast<int32_t>(std::min<uint64_t>(mDims[3], INT32_MAX)); }
    int32_t height() const override { return static_cast<int32_t>(std::min<uint64_t>(mDims[2], INT32_MAX)); }
    size_t planes() const override { return mDims[1]; }
    float* input() override { return mInput; }
    void handInput() override {
        if (mEngine->getLayerDims(kInputName) != mDims) throw std::runtime_error("the input has changed its shape");
        mEngine->setLayerData(kInputName, mInput, mDims);
    }
    void infer() override { mEngine->infer(); }
    LadonOutput output(const std::string& name) const override {
        const float* data = mEngine->getLayerData(name);
        Dims& dims = mOutputDims[name];
        dims = mEngine->getLayerDims(name);
        if (!data) throw std::runtime_error("the layer \"" + name + "\" has no data");
        return {data, dims};
    }

    // Whether the picture fits into the helper's buffers.
    bool fits() const {
        return height() <= kPresetHeight && width() <= kPresetWidth && mDims[1] <= kPlanes && mDims[0] == 1;
    }

  private:
    std::unique_ptr<PluginEngine> mEngine;
    float* const mInput;
    const Dims mDims;
    mutable std::map<std::string, Dims> mOutputDims;
};

ZelLadonXnnHelper::ZelLadonXnnHelper(const char* directory, std::chrono::milliseconds watchPeriod)
    : mDirectory(directory),
      mXnnPath(mDirectory + platform::pathSeparator() + platform::libraryFileName("xnn.dll")),
      mWatchPeriod(watchPeriod),
      mInputBuffer(kInputFloats) {
    platform::addLibraryDirectory(mDirectory);
    QOR_INFO("zelipc>>ZelLadonXnnHelper::ZelLadonXnnHelper xnn lib path: " << mDirectory);
}

ZelLadonXnnHelper::~ZelLadonXnnHelper() {
    QOR_INFO("zelipc>>ZelLadonXnnHelper::~ZelLadonXnnHelper");
    mInited = false;
    {
        const cm::LockGuard<cm::Mutex> lock(mWatchLock);
        mWatcherRun = false;
    }
    mWatchEnds.notify_all();
    if (mWatcher.joinable()) mWatcher.join();
    if (mInitFuture.valid()) mInitFuture.wait();
    uninit();
}

void ZelLadonXnnHelper::preInit(uint32_t devPerformance) {
    const CCmMutexGuard lock(mLock);
    mKeepRawMask = devPerformance == 1;
    mFrames.choose(mKeepRawMask);
}

bool ZelLadonXnnHelper::init(const std::string& device) {
    const CCmMutexGuard lock(mLock);
    if (mInited && device == deviceType()) {
        QOR_INFO("ZelLadonXnnHelper::Init(), has init already.");
        return true;
    }
    wantDevice(device);
    QOR_INFO("ZelLadonXnnHelper::Init()" << named("mDeviceType", device));
    if ((!m_xnnEngine || mCurrentDeviceType != "CPU") && !rebuildOnCpu()) {
        QOR_ERROR("ZelLadonXnnHelper::init fail, create xnn engine fail");
        return false;
    }
    if (isAccelerator(device)) dispatchJob();
    const int32_t width = m_xnnEngine->width();
    const int32_t height = m_xnnEngine->height();
    QOR_INFO("zelipc>>ZelLadonXnnHelper::init, input layer size: " << height << ", " << width);
    if (!m_xnnEngine->fits()) {
        QOR_ERROR("zelipc>> ZelLadonXnnHelper::init, model input size not equal to predefined, input:"
                  << width << " * " << height << ", predefined:" << kPresetWidth << " * " << kPresetHeight);
        return mInited;
    }
    mFrames.setModelSize(width, height);
    mFrames.clearRawMask();
    mInited = true;
    startWatcher();
    return true;
}

void ZelLadonXnnHelper::wantDevice(const std::string& device) {
    const cm::LockGuard<cm::Mutex> lock(mDeviceLock);
    mDeviceType = device;
}

bool ZelLadonXnnHelper::rebuildOnCpu() {
    mCurrentDeviceType = "CPU";
    mInited = false;
    if (m_xnnEngine) {
        m_xnnEngine.reset();
        uninit();
    }
    Built built = initXnn("CPU", mKeepRawMask);
    mNetworkName = built.networkName;
    m_xnnEngine = serving(std::move(built));
    return m_xnnEngine != nullptr;
}

// The engine with its input's shape; null for a failed one.
std::shared_ptr<ZelLadonXnnHelper::Serving> ZelLadonXnnHelper::serving(Built&& built) {
    if (!built.engine) return nullptr;
    try {
        return std::make_shared<Serving>(std::move(built.engine), mInputBuffer.data());
    } catch (...) {
        QOR_ERROR("zelipc >> ZelLadonXnnHelper::initXnn, " << cm::currentExceptionText());
        return nullptr;
    }
}

void ZelLadonXnnHelper::dispatchJob() {
    if (mInitFuture.valid()) {
        QOR_INFO("ZelLadonXnnHelper::init, initXnn future is still running, ignore this init"
                 << named("mBackupDeviceType", mBackupDeviceType));
        return;
    }
    mBackupDeviceType = deviceType();
    mInitFuture = std::async(std::launch::async, [this, device = mBackupDeviceType, large = mKeepRawMask] {
        platform::prepareThreadForFilter();
        return initXnn(device, large);
    });
    QOR_INFO("zelipc>> ZelLadonXnnHelper::init, dispatch init job [from]"
             << named("mCurrentDeviceType", mCurrentDeviceType) << " [to]"
             << named("mBackupDeviceType", mBackupDeviceType));
}

// On the caller's thread or on a job's, which shares nothing of the helper but the library's path and the wanted
// device. Raises nothing.
ZelLadonXnnHelper::Built ZelLadonXnnHelper::initXnn(const std::string& device, bool large) {
    QOR_FUNC_TRACE("ZelLadonXnnHelper::initXnn", "zelipc>> ZelLadonXnnHelper::initXnn, strDevType = " << device);
    Built built;
    try {
        built = buildEngine(device, large);
    } catch (...) {
        QOR_ERROR("zelipc >> ZelLadonXnnHelper::initXnn, " << cm::currentExceptionText());
    }
    platform::prepareThreadForFilter();  // a runtime may leave a small stack for handlers behind
    return built;
}

ZelLadonXnnHelper::Built ZelLadonXnnHelper::buildEngine(const std::string& device, bool large) {
    const ModelResource description(large ? kLargeXml : kSmallXml);
    const ModelResource weights(large ? kLargeWeights : kSmallWeights);
    const CreateOrder order(device);

    const uint32_t start = platform::tickCount();
    Built built{loadEngine(), InferenceEngine::details::scanNetworkEnds(std::string(textOf(description))).name};
    void* const address = built.engine.get();
    QOR_INFO(kEngineLine << address << kCreateLine << order.device << named("gpu_throttle_level", kThrottleLevel)
                         << ", version:" << built.engine->version()
                         << named("initTime", std::to_string(platform::tickCount() - start)));

    const uint32_t created = platform::tickCount();
    built.engine->createNetwork(kEngineName, "ladon_" + device, order.device, {textOf(description), textOf(weights)},
                                order.properties);
    const uint32_t elapsed = platform::tickCount() - created;
    if (device == deviceType()) mLoadMs.store(static_cast<int32_t>(elapsed), std::memory_order_relaxed);
    QOR_INFO(kEngineLine << address << kCreateLine << order.device << named("modelLoadTime", std::to_string(elapsed)));
    return built;
}

// Loads the library and takes its log.
std::unique_ptr<PluginEngine> ZelLadonXnnHelper::loadEngine() const {
    auto engine = std::make_unique<PluginEngine>();
    engine->init(pathOf(mXnnPath), loadForPlugin<enPathAppendNone>, loadForPlugin<enPathAppendProgramFirst>);
    engine->setLogCallback([address = static_cast<void*>(engine.get())](const std::string& text) {
        QOR_INFO("zelipc>>ZelLadonXnnHelper || xnnEngine [" << address << "] - " << text);
    });
    return engine;
}

void ZelLadonXnnHelper::startWatcher() {
    if (mWatcher.joinable()) return;
    mWatcher = std::thread([this] { watch(); });
}

void ZelLadonXnnHelper::watch() {
    platform::prepareThreadForFilter();
    platform::setThreadName("ladon-watcher");
    do {
        switchEngine();
    } while (pauseWatch());
}

// Sleeps for a period. False when the watch is to end.
bool ZelLadonXnnHelper::pauseWatch() {
    const auto end = std::chrono::steady_clock::now() + mWatchPeriod;
    const cm::LockGuard<cm::Mutex> lock(mWatchLock);
    while (mWatcherRun && std::chrono::steady_clock::now() < end) mWatchEnds.wait_until(mWatchLock, end);
    return mWatcherRun;
}

void ZelLadonXnnHelper::switchEngine() {
    std::vector<std::shared_ptr<Serving>> retired;
    {
        const CCmMutexGuard lock(mLock);
        takeFinishedJob();
        retired.swap(mRetired);
    }
    // They end here: that takes as long as several frames, which do not wait for it.
}

void ZelLadonXnnHelper::retire(std::shared_ptr<Serving> engine) {
    if (engine) mRetired.push_back(std::move(engine));
}

void ZelLadonXnnHelper::takeFinishedJob() {
    if (!mInitFuture.valid() || mInitFuture.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return;
    retire(std::exchange(m_backupXnnEngine, serving(mInitFuture.get())));
    if (!m_backupXnnEngine) return;
    const std::string wanted = deviceType();
    QOR_INFO("zelipc>> ZelLadonXnnHelper::switchEngin" << named("mDeviceType", wanted)
                                                       << named("mCurrentDeviceType", mCurrentDeviceType)
                                                       << named("mBackupDeviceType", mBackupDeviceType));
    if (wanted == mCurrentDeviceType) {
        retire(std::move(m_backupXnnEngine));
        QOR_INFO("zelipc>> ZelLadonXnnHelper::switchEngine, delete m_backupXnnEngine");
        return;
    }
    if (wanted == mBackupDeviceType && backupFits()) putBackupInPlace();
}

// The network need not be the one that was chosen last: like the engine on the CPU, it stays what its start made it.
bool ZelLadonXnnHelper::backupFits() {
    if (m_backupXnnEngine->fits()) return true;
    retire(std::move(m_backupXnnEngine));
    QOR_INFO("zelipc>> ZelLadonXnnHelper::switchEngine, the network is too large"
             << named("mBackupDeviceType", mBackupDeviceType));
    return false;
}

void ZelLadonXnnHelper::putBackupInPlace() {
    retire(std::exchange(m_xnnEngine, std::move(m_backupXnnEngine)));
    QOR_INFO("zelipc>> ZelLadonXnnHelper::switchEngine,[from]" << named("mCurrentDeviceType", mCurrentDeviceType)
                                                               << " [to]"
                                                               << named("mBackupDeviceType", mBackupDeviceType));
    mCurrentDeviceType = mBackupDeviceType;
    mFrames.setModelSize(m_xnnEngine->width(), m_xnnEngine->height());
    uninit();
    QOR_INFO("zelipc>> ZelLadonXnnHelper::switchEngine, switchEngine success, current device: " << mCurrentDeviceType);
}

void ZelLadonXnnHelper::uninit() {
    QOR_FUNC_TRACE("ZelLadonXnnHelper::uninit", "zelipc>> ZelLadonXnnHelper::uninit");
    mFrames.requestReset();
}

bool ZelLadonXnnHelper::runInference(int32_t width, int32_t height, const uint8_t* data, int32_t size) {
    const LadonFrames::Verdict verdict = mFrames.begin(mInited, width, height, data, size);
    if (verdict != LadonFrames::Verdict::kInfer) return verdict == LadonFrames::Verdict::kSkipped;
    const CCmMutexGuard lock(mLock);
    // While the frame waited here the engine may have been taken away, or another one have come into place.
    if (mFrames.refusedAsNotInited(mInited)) return false;
    if (!mFrames.sizeFits(width, height, m_xnnEngine->width(), m_xnnEngine->height())) return false;
    if (mDecoded != m_xnnEngine) retire(std::exchange(mDecoded, m_xnnEngine));
    const bool slow = mFrames.infer(*m_xnnEngine, data);
    if (slow && (mCurrentDeviceType == "GPU" || mCurrentDeviceType == "AUTO")) fallBackToCpu();
    return true;
}

// The frame under way still reads what its inference gave.
void ZelLadonXnnHelper::fallBackToCpu() {
    QOR_INFO("zelipc>> ZelLadonXnnHelper, GPU exceed max processing time, fall back to CPU");
    uninit();
    init("CPU");
}

const ZelLadonXnnHelper::Serving& ZelLadonXnnHelper::decoded() const {
    const Serving* engine = mDecoded ? mDecoded.get() : m_xnnEngine.get();
    if (!engine) throw std::runtime_error("Please create xnn library handle first of all!");
    return *engine;
}

void ZelLadonXnnHelper::parseSegmentationOutput() {
    const CCmMutexGuard lock(mLock);
    mFrames.parseSegmentation(decoded());
}

void ZelLadonXnnHelper::getGestureOutput(const float** gesture) {
    const CCmMutexGuard lock(mLock);
    mFrames.readGesture(decoded(), gesture);
}

void ZelLadonXnnHelper::parseLandmarksOutput(const float** landmarks) {
    const CCmMutexGuard lock(mLock);
    mFrames.readLandmarks(decoded(), landmarks);
}

float ZelLadonXnnHelper::motionOutput() {
    const CCmMutexGuard lock(mLock);
    return mFrames.readMotion(decoded());
}

void ZelLadonXnnHelper::parseLutOutput(const float** lut, const float** vertices, float* confidence) {
    const CCmMutexGuard lock(mLock);
    const LadonOutput table = decoded().output(kLutName);
    const LadonOutput axes = decoded().output(kLutVerticesName);
    const LadonOutput trust = decoded().output(kLutConfidenceName);
    if (!hasShape(table, kLutShape)) {
        QOR_ERROR("zelipc >> ZelLadonXnnHelper::parseLutOutput, output lut shape is not equal to preset shape, actual: "
                  << shapeBehindBatch(table, kLutShape.size()) << ", preset: " << shapeText(kLutShape));
        return;
    }
    if (!hasShape(axes, kVerticesShape)) {
        QOR_ERROR(
            "zelipc >> ZelLadonXnnHelper::parseLutOutput, output lut_vertices shape is not equal to preset shape, "
            "actual: "
            << shapeBehindBatch(axes, kVerticesShape.size()) << ", preset: " << shapeText(kVerticesShape));
        return;
    }
    *lut = table.data;
    *vertices = axes.data;
    *confidence = trust.first();
}

std::string ZelLadonXnnHelper::deviceType() const {
    const cm::LockGuard<cm::Mutex> lock(mDeviceLock);
    return mDeviceType;
}

std::string ZelLadonXnnHelper::currentDeviceType() const {
    const CCmMutexGuard lock(mLock);
    return mCurrentDeviceType;
}

std::string ZelLadonXnnHelper::backupDeviceType() const {
    const CCmMutexGuard lock(mLock);
    return mBackupDeviceType;
}

std::string ZelLadonXnnHelper::networkName() const {
    const CCmMutexGuard lock(mLock);
    return mNetworkName;
}
