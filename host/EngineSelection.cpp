#include <algorithm>
#include <cstring>
#include <system_error>

#include "engines/vino/DevicePolicy.h"
#include "host/ZelMLHost.h"
#include "platform/include/exception_filter.h"
#include "util/include/CmException.h"
#include "util/include/CmTrace.h"

namespace {

constexpr uint32_t kModelNameBytes = 255;

bool isSegmentation(ZEL_TYPE type) {
    return type == ZEL_TYPE::kVinoAuto || type == ZEL_TYPE::kVinoCpu;
}

bool isLadonOnVino(ZEL_TYPE type) {
    return type == ZEL_TYPE::kLadonVinoGpu || type == ZEL_TYPE::kLadonVinoCpu;
}

void fillModelName(ipc::Event& event, const std::string& name) {
    event.code = static_cast<uint32_t>(ipc::EventCode::ModelName);
    std::memcpy(event.text, name.data(), std::min<size_t>(name.size(), kModelNameBytes));
}

}  // namespace

void ZelMLHost::setModelType(uint32_t type, DEV_PERFORMANCE_TYPE capacity) {
    std::string device = "CPU";
    std::unique_lock<std::recursive_mutex> lock(mEngineMutex);
    QOR_INFO("zelipc>>ZelMLHost::setModelType, oldType = " << static_cast<uint32_t>(mZelType) << ", newType = " << type
                                                           << ", devCapacity = " << capacity);
    if (type == static_cast<uint32_t>(ZEL_TYPE::kIdle)) {
        mZelType = ZEL_TYPE::kIdle;
        QOR_INFO("zelipc>>ZelMLHost::setModelType, modelType = 0, set to idle model type");
        return;
    }
    if (type == static_cast<uint32_t>(ZEL_TYPE::kRefused) || type > kLastZelType) {
        QOR_INFO("zelipc>>ZelMLHost::setModelType, modelType invalid, remain old modelType:"
                 << static_cast<uint32_t>(mZelType));
        return;
    }
    const ZEL_TYPE oldType = mZelType;
    const auto differs = [&] {
        return !mEngineReady || static_cast<uint32_t>(mZelType) != type || mDevCapacity != capacity;
    };
    if (differs()) device = resolveDevice(type);
    const bool restart = differs();
    const auto newType = static_cast<ZEL_TYPE>(type);
    lock.unlock();

    if (restart) {
        if (initMLengine(newType, device, capacity)) {
            lock.lock();
            mDevCapacity = capacity;
            mZelType = newType;
            mModelLoadTime = 0;
            if (mEngineReady) retireEngine(oldType, newType);
            mEngineReady = true;
            lock.unlock();
        } else {
            QOR_ERROR("zelipc>>ZelMLHost::initMLengine, failed to initMLengine");
        }
    }
    const auto inForce = static_cast<uint32_t>(mZelType);
    sendEvent("", [inForce](ipc::Event& event) {
        event.code = static_cast<uint32_t>(ipc::EventCode::ModelType);
        event.modelType = inForce;
    });
}

// The device that a type asks for; types 6 and 8 become their CPU neighbours on a machine without a GPU, 2 keeps its
// number.
std::string ZelMLHost::resolveDevice(uint32_t& type) const {
    switch (static_cast<ZEL_TYPE>(type)) {
        case ZEL_TYPE::kVinoAuto:
            return CheckGPUSupported() ? "GPU" : "CPU";
        case ZEL_TYPE::kLadonVinoGpu:
        case ZEL_TYPE::kLadonXnnGpu:
            if (CheckGPUSupported()) return "GPU";
            ++type;
            return "CPU";
        case ZEL_TYPE::kLadonXnnNpu:
            return "NPU";
        default:
            return "CPU";
    }
}

// A module that is started again goes with the old one: the host then has no model for its type until the next start.
void ZelMLHost::retireEngine(ZEL_TYPE oldType, ZEL_TYPE newType) {
    if (oldType == ZEL_TYPE::kModule) mZelHelper.Release();
    if (isSegmentation(oldType) && !isSegmentation(newType)) setHelper(m_pVinoHelper, {});
    if (isLadonOnVino(oldType) && !isLadonOnVino(newType) && m_pLadonVinoHelper) retireLadonVinoHelper();
}

// A helper that still loads waits for onLadonLoaded.
void ZelMLHost::retireLadonVinoHelper() {
    mDeleteLadonPending = m_pLadonVinoHelper->loading();
    if (!mDeleteLadonPending) setHelper(m_pLadonVinoHelper, {});
}

// On the thread of the load, which has a share of the helper of its own.
void ZelMLHost::onLadonLoaded(uint32_t type) {
    const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
    if (!isLadonOnVino(static_cast<ZEL_TYPE>(type)) || !m_pLadonVinoHelper || isLadonOnVino(mZelType)) return;
    if (m_pLadonVinoHelper->loading() || !mDeleteLadonPending) return;
    mDeleteLadonPending = false;
    setHelper(m_pLadonVinoHelper, {});
}

// A first switch to type 10 leaves the name as it was.
bool ZelMLHost::takesNameOfXnn(ZEL_TYPE type) {
    if (type != ZEL_TYPE::kLadonXnnNpu) return true;
    const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
    return mZelType == ZEL_TYPE::kLadonXnnNpu;
}

bool ZelMLHost::initMLengine(ZEL_TYPE type, const std::string& device, DEV_PERFORMANCE_TYPE capacity) {
    QOR_FUNC_TRACE("ZelMLHost::initMLengine", "zelipc>> ZelBBLHelper::initMLengine");
    bool started = false;
    switch (type) {
        case ZEL_TYPE::kModule:
            return startModule();
        case ZEL_TYPE::kVinoAuto:
        case ZEL_TYPE::kVinoCpu:
            started = initHelper(ZEL_HELPER_TYPE::kVino, device, capacity);
            if (const auto helper = helperOf(m_pVinoHelper)) mModelName = helper->networkName();
            break;
        case ZEL_TYPE::kLadonVinoGpu:
        case ZEL_TYPE::kLadonVinoCpu:
            started = initHelper(ZEL_HELPER_TYPE::kLadonVino, device, capacity);
            if (const auto helper = helperOf(m_pLadonVinoHelper)) mModelName = helper->networkName();
            break;
        case ZEL_TYPE::kLadonXnnGpu:
        case ZEL_TYPE::kLadonXnnCpu:
        case ZEL_TYPE::kLadonXnnNpu:
            started = initHelper(ZEL_HELPER_TYPE::kLadonXnn, device, capacity);
            if (takesNameOfXnn(type)) {
                if (const auto helper = helperOf(m_pLadonXnnHelper)) mModelName = helper->networkName();
            }
            break;
        default:
            break;
    }
    if (!mModelName.empty()) sendEvent("", [this](ipc::Event& event) { fillModelName(event, mModelName); });
    QOR_INFO("zelipc::initMLengine end" << CM_THIS);
    return started;
}

// The types that have no helper here answer as a failed start.
bool ZelMLHost::initHelper(ZEL_HELPER_TYPE type, const std::string& device, DEV_PERFORMANCE_TYPE capacity) {
    try {
        if (type == ZEL_HELPER_TYPE::kModule) return startModule();
        if (type == ZEL_HELPER_TYPE::kVino) return startVinoHelper(device, capacity);
        if (type == ZEL_HELPER_TYPE::kLadonVino) return startLadonVinoHelper(device, capacity);
        if (type == ZEL_HELPER_TYPE::kLadonXnn) return startLadonXnnHelper(device, capacity);
        return false;
    } catch (const std::system_error&) {
        throw;
    } catch (...) {
        QOR_ERROR("zelipc>>ZelMLHost::initMLengine, load failed: " << cm::currentExceptionText());
        return false;
    }
}

// Frames go on with the model that serves, until the new one takes its place: then the old one ends, outside the lock.
bool ZelMLHost::startModule() {
    ZelHelper started;
    if (!started.Init()) return false;
    const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
    mZelHelper.swap(started);
    return true;
}

bool ZelMLHost::startVinoHelper(const std::string& device, DEV_PERFORMANCE_TYPE capacity) {
    std::shared_ptr<ZelVinoHelper> helper = helperOf(m_pVinoHelper);
    if (!helper) {
        helper = std::make_shared<ZelVinoHelper>();
        const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
        setHelper(m_pVinoHelper, helper);
    }
    helper->uninit();
    return startOn(helper, device, capacity);
}

bool ZelMLHost::startLadonVinoHelper(const std::string& device, DEV_PERFORMANCE_TYPE capacity) {
    return startOn(restingLadonVinoHelper(), device, capacity);
}

// The helper has a background of its own. It stays, and takes frames meanwhile if it serves.
bool ZelMLHost::startLadonXnnHelper(const std::string& device, DEV_PERFORMANCE_TYPE capacity) {
    std::shared_ptr<ZelLadonXnnHelper> helper;
    {
        const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
        if (!m_pLadonXnnHelper) setHelper(m_pLadonXnnHelper, std::make_shared<ZelLadonXnnHelper>(mXnnLibPath));
        helper = m_pLadonXnnHelper;
    }
    const std::string wanted = device.empty() ? helper->deviceType() : device;
    helper->uninit();
    helper->preInit(capacity);
    return helper->init(wanted == "AUTO" ? "GPU" : wanted);
}

// The helper, made at first use. It takes no frames until its start, and none is under way.
std::shared_ptr<ZelLadonVinoHelper> ZelMLHost::restingLadonVinoHelper() {
    const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
    mDeleteLadonPending = false;
    if (!m_pLadonVinoHelper) {
        setHelper(m_pLadonVinoHelper, std::make_shared<ZelLadonVinoHelper>());
        m_pLadonVinoHelper->setGpuLoadedCallback([this](uint32_t type) { onLadonLoaded(type); });
    }
    m_pLadonVinoHelper->uninit();
    return m_pLadonVinoHelper;
}

// On the GPU the start is split: the CPU serves at once, and the GPU network takes over when its load has finished.
template <class Helper>
bool ZelMLHost::startOn(const std::shared_ptr<Helper>& helper, const std::string& device,
                        DEV_PERFORMANCE_TYPE capacity) {
    const std::string wanted = device.empty() ? helper->deviceType() : device;
    helper->preInit(wanted, capacity);
    if (wanted != "GPU") return helper->init(wanted);
    loadInBackground(helper, wanted);
    return helper->init("CPU");
}

template <class Helper>
void ZelMLHost::loadInBackground(std::shared_ptr<Helper> helper, const std::string& device) {
    detachLoadThread();
    auto counted = std::make_shared<WorkCounter::Scope>(mLoadsInWork);
    PendingLoad pending = helper->beginInit(device);
    mLoadThread = std::thread([counted, helper = std::move(helper), pending = std::move(pending)]() mutable {
        platform::prepareThreadForFilter();
        try {
            helper->finishInit(pending);
        } catch (...) {
            QOR_ERROR("zelipc>>ZelMLHost::initMLengine, background load failed: " << cm::currentExceptionText());
        }
        // The helper may end here: before the load counts as done.
        pending = {};
        helper.reset();
        counted.reset();
    });
}

void ZelMLHost::detachLoadThread() {
    try {
        mLoadThread.detach();
        QOR_INFO("zelipc>>ZelMLHost::initMLengine. old thread detached" << CM_THIS);
    } catch (const std::system_error&) {
        QOR_INFO("zelipc>>ZelMLHost::initMLengine. thread detach failed");
    }
}
