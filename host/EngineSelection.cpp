#include <algorithm>
#include <cstring>
#include <exception>
#include <system_error>

#include "engines/vino/DevicePolicy.h"
#include "host/ZelMLHost.h"
#include "util/include/CmTrace.h"

namespace {

constexpr uint32_t kModelNameBytes = 255;

bool isSegmentation(ZEL_TYPE type) {
    return type == ZEL_TYPE::kVinoAuto || type == ZEL_TYPE::kVinoCpu;
}

void fillModelName(ipc::Event& event, const std::string& name) {
    event.code = static_cast<uint32_t>(ipc::EventCode::ModelName);
    std::memcpy(event.text, name.data(), std::min<size_t>(name.size(), kModelNameBytes));
}

}  // namespace

std::shared_ptr<ZelVinoHelper> ZelMLHost::vinoHelper() {
    const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
    return m_pVinoHelper;
}

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

void ZelMLHost::retireEngine(ZEL_TYPE oldType, ZEL_TYPE newType) {
    if (isSegmentation(oldType) && !isSegmentation(newType)) m_pVinoHelper.reset();
}

bool ZelMLHost::initMLengine(ZEL_TYPE type, const std::string& device, DEV_PERFORMANCE_TYPE capacity) {
    QOR_FUNC_TRACE("ZelMLHost::initMLengine", "zelipc>> ZelBBLHelper::initMLengine");
    bool started = false;
    switch (type) {
        case ZEL_TYPE::kModule:
            return false;
        case ZEL_TYPE::kVinoAuto:
        case ZEL_TYPE::kVinoCpu:
            started = initHelper(ZEL_HELPER_TYPE::kVino, device, capacity);
            if (const auto helper = vinoHelper()) mModelName = helper->networkName();
            break;
        case ZEL_TYPE::kLadonVinoGpu:
        case ZEL_TYPE::kLadonVinoCpu:
            started = initHelper(ZEL_HELPER_TYPE::kLadonVino, device, capacity);
            break;
        case ZEL_TYPE::kLadonXnnGpu:
        case ZEL_TYPE::kLadonXnnCpu:
        case ZEL_TYPE::kLadonXnnNpu:
            started = initHelper(ZEL_HELPER_TYPE::kLadonXnn, device, capacity);
            break;
        default:
            break;
    }
    if (!mModelName.empty()) sendEvent("", [this](ipc::Event& event) { fillModelName(event, mModelName); });
    QOR_INFO("zelipc::initMLengine end" << CM_THIS);
    return started;
}

// Only the segmentation family has a helper so far; the others answer as a failed start.
bool ZelMLHost::initHelper(ZEL_HELPER_TYPE type, const std::string& device, DEV_PERFORMANCE_TYPE capacity) {
    if (type != ZEL_HELPER_TYPE::kVino) return false;
    try {
        return startVinoHelper(device, capacity);
    } catch (const std::system_error&) {
        throw;
    } catch (const std::exception& failure) {
        QOR_ERROR("zelipc>>ZelMLHost::initMLengine, load failed: " << failure.what());
        return false;
    }
}

bool ZelMLHost::startVinoHelper(const std::string& device, DEV_PERFORMANCE_TYPE capacity) {
    std::shared_ptr<ZelVinoHelper> helper = vinoHelper();
    if (!helper) {
        helper = std::make_shared<ZelVinoHelper>();
        const std::lock_guard<std::recursive_mutex> lock(mEngineMutex);
        m_pVinoHelper = helper;
    }
    const std::string wanted = device.empty() ? helper->deviceType() : device;
    helper->uninit();
    if (wanted == "GPU") return splitStart(helper, capacity);
    helper->preInit(wanted, capacity);
    return helper->init(wanted);
}

// The CPU serves at once; the GPU network takes over when its load has finished.
bool ZelMLHost::splitStart(const std::shared_ptr<ZelVinoHelper>& helper, DEV_PERFORMANCE_TYPE capacity) {
    helper->preInit("GPU", capacity);
    detachLoadThread();
    auto counted = std::make_shared<WorkCounter::Scope>(mLoadsInWork);
    mLoadThread = std::thread([helper, counted, pending = helper->beginInit(), device = std::string("GPU")] {
        try {
            helper->finishInit(pending, device);
        } catch (const std::exception& failure) {
            QOR_ERROR("zelipc>>ZelMLHost::initMLengine, background load failed: " << failure.what());
        }
    });
    counted.reset();
    return helper->init("CPU");
}

void ZelMLHost::detachLoadThread() {
    try {
        mLoadThread.detach();
        QOR_INFO("zelipc>>ZelMLHost::initMLengine. old thread detached" << CM_THIS);
    } catch (const std::system_error&) {
        QOR_INFO("zelipc>>ZelMLHost::initMLengine. thread detach failed");
    }
}
