#include "engines/inference_engine/InferenceEngine.h"

#include <chrono>
#include <sstream>

#include "engines/inference_engine/ConfigKeys.h"
#include "engines/inference_engine/DeviceAlias.h"
#include "engines/inference_engine/FlushDenormals.h"
#include "engines/inference_engine/Network.h"
#include "engines/inference_engine/Runtime.h"
#include "platform/include/clock.h"
#include "platform/include/exception_filter.h"
#include "util/include/CmMutex.h"

namespace InferenceEngine {
namespace details {

void raise(StatusCode status, const std::string& what) {
    throw InferenceEngineException(what, status);
}

namespace {

// The runtime's last words on one line, without the lines that tell where in its sources it gave up. The runtime keeps
// them for the whole process, so that two failures at once may swap their words.
std::string lastWords() {
    const Owned<char> words(const_cast<char*>(ov_get_last_err_msg()));
    std::istringstream lines(words ? words.get() : "");
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || (line.starts_with("Exception from ") && line.ends_with(':'))) continue;
        text += (text.empty() ? "" : " ") + line;
    }
    return text;
}

}  // namespace

void raiseRuntimeError(ov_status_e status, const std::string& what) {
    // Codes below the old ones are the C interface's own, and come without words.
    if (status < static_cast<int>(INFER_CANCELLED)) raise(UNEXPECTED, what + ": " + ov_get_error_info(status));
    const std::string words = lastWords();
    raise(static_cast<StatusCode>(status), what + ": " + (words.empty() ? ov_get_error_info(status) : words));
}

constexpr const char* kPrecisionKey = "INFERENCE_PRECISION_HINT";
constexpr const char* kDenormalsKey = "CPU_DENORMALS_OPTIMIZATION";

// What the processor is to do where a helper asks for nothing else: left to itself it computes in bfloat16 where it
// can, which is too coarse for the filters, and minds denormal numbers, which no mask can show, for a tenth of the
// time.
void addProcessorDefaults(Settings& settings) {
    if (!settings.contains(kPrecisionKey)) addSetting(settings, kPrecisionKey, "f32");
    if (!settings.contains(kDenormalsKey)) addSetting(settings, kDenormalsKey, "YES");
}

// The runtime's core and the settings per device name as the helpers write it.
class CoreImpl {
  public:
    explicit CoreImpl(const std::string& xmlConfigFile) {
        check(xmlConfigFile.empty() ? ov_core_create(out(mCore))
                                    : ov_core_create_with_config(xmlConfigFile.c_str(), out(mCore)),
              [&] { return "the inference runtime did not start with the plug-in list \"" + xmlConfigFile + '"'; });
    }

    const ov_core_t* core() const { return mCore.get(); }

    void store(const ConfigMap& config, const std::string& deviceName) {
        const cm::LockGuard guard(mMutex);
        for (const auto& [key, value] : config) addSetting(mSettings[deviceName], key, value);
    }

    // What a load on `deviceName` hands to `runtimeName`: the stored settings, then `config`, without the keys that the
    // device does not know. `failure` begins the text of a failure.
    Settings settingsFor(const std::string& deviceName, const std::string& runtimeName, const ConfigMap& config,
                         const std::string& failure) {
        Settings settings = stored(deviceName);
        for (const auto& [key, value] : config) addSetting(settings, key, value);
        if (runtimeName == "CPU") addProcessorDefaults(settings);
        if (settings.empty()) return settings;
        const std::string supported = supportedKeys(runtimeName, failure);
        std::erase_if(settings, [&](const auto& entry) {
            if (knowsKey(supported, entry.first)) return false;
            reportDroppedKey(deviceName, entry.second.askedAs);
            return true;
        });
        return settings;
    }

    std::string value(const std::string& deviceName, const std::string& key) {
        const Settings settings = stored(deviceName);
        const auto found = settings.find(key);
        return found == settings.end() ? std::string() : found->second.value;
    }

  private:
    Settings stored(const std::string& deviceName) {
        const cm::LockGuard guard(mMutex);
        const auto found = mSettings.find(deviceName);
        return found == mSettings.end() ? Settings() : found->second;
    }

    std::string supportedKeys(const std::string& runtimeName, const std::string& failure) const {
        Owned<char> keys;
        check(ov_core_get_property(core(), runtimeName.c_str(), "SUPPORTED_PROPERTIES", out(keys)),
              [&] { return failure; });
        return keys.get();
    }

    Owned<ov_core_t> mCore;
    cm::Mutex mMutex;
    std::map<std::string, Settings> mSettings ZEL_GUARDED_BY(mMutex);
};

class ExecutableImpl {
  public:
    ExecutableImpl(std::shared_ptr<CoreImpl> core, std::shared_ptr<NetworkImpl> network, const std::string& deviceName,
                   const ConfigMap& config)
        : mCore(std::move(core)), mNetwork(std::move(network)), mDevice(deviceName) {
        if (const uint32_t delay = loadDelayMs(deviceName)) platform::sleepMilliseconds(delay);
        if (loadFails(deviceName)) raise(GENERAL_ERROR, describe("LoadNetwork") + ": told to fail");
        compile(config);
    }

    const NetworkImpl& network() const { return *mNetwork; }
    const ov_compiled_model_t* compiled() const { return mCompiled.get(); }
    const std::string& device() const { return mDevice; }

    std::string describe(const char* step) const {
        return std::string(step) + " failed for the network \"" + mNetwork->name() + "\" on the device " + mDevice;
    }

  private:
    void compile(const ConfigMap& config) {
        const std::string device = runtimeDevice(mDevice);
        const Settings settings = mCore->settingsFor(mDevice, device, config, describe("LoadNetwork"));
        std::vector<ov_property_t> properties;
        for (const auto& [key, setting] : settings) properties.push_back({key.c_str(), setting.value.c_str()});
        const ModelUse use(*mNetwork, mCore->core());
        const FlushDenormals flush;  // puts back what the runtime leaves changed on this thread
        const ov_status_e status = ov_core_compile_model_props(mCore->core(), use.model(), device.c_str(),
                                                               properties.size(), properties.data(), out(mCompiled));
        platform::prepareThreadForFilter();  // the runtime leaves a small stack for handlers behind
        check(status, [&] { return describe("LoadNetwork"); });
    }

    std::shared_ptr<CoreImpl> mCore;
    std::shared_ptr<NetworkImpl> mNetwork;
    std::string mDevice;
    Owned<ov_compiled_model_t> mCompiled;
};

// Told by the runtime when a started inference has ended. The runtime has a timed wait of its own, but under Wine that
// one sleeps to the end of its time.
class Completion {
  public:
    Completion() = default;
    Completion(const Completion&) = delete;
    Completion& operator=(const Completion&) = delete;

    // For the runtime, which keeps the address: it goes on being read until the request is gone.
    const ov_callback_t* callback() const { return &mCallback; }

    void arm() {
        const cm::LockGuard guard(mMutex);
        mEnded = false;
    }

    bool waitFor(int64_t timeoutMs) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        const cm::LockGuard guard(mMutex);
        while (!mEnded) {
            if (mChanged.wait_until(mMutex, end) == std::cv_status::timeout) break;
        }
        return mEnded;
    }

  private:
    void signal() {
        const cm::LockGuard guard(mMutex);
        mEnded = true;
        mChanged.notify_all();
    }

    const ov_callback_t mCallback{[](void* self) { static_cast<Completion*>(self)->signal(); }, this};
    cm::Mutex mMutex;
    cm::Condition mChanged;
    bool mEnded ZEL_GUARDED_BY(mMutex) = false;
};

class RequestImpl {
  public:
    explicit RequestImpl(std::shared_ptr<ExecutableImpl> executable)
        : mExecutable(std::move(executable)), mDelayMs(inferDelayMs(mExecutable->device())) {
        check(ov_compiled_model_create_infer_request(mExecutable->compiled(), out(mRequest)),
              [&] { return mExecutable->describe("CreateInferRequest"); });
        check(ov_infer_request_set_callback(mRequest.get(), mCompletion.callback()),
              [&] { return mExecutable->describe("CreateInferRequest"); });
        const NetworkImpl& network = mExecutable->network();
        for (size_t i = 0; i < network.inputs().size(); ++i) {
            wrap(network.inputs()[i], ov_infer_request_get_input_tensor_by_index, i);
        }
        for (size_t i = 0; i < network.outputs().size(); ++i) {
            wrap(network.outputs()[i], ov_infer_request_get_output_tensor_by_index, i);
        }
    }

    const Blob::Ptr& blob(const std::string& name) {
        raiseIfBusy("GetBlob");
        const auto found = mBlobs.find(name);
        if (found == mBlobs.end()) {
            raise(NOT_FOUND, mExecutable->describe("GetBlob") + ": it has no input or output \"" + name + '"');
        }
        return found->second;
    }

    void infer() {
        raiseIfBusy("Infer");
        if (mDelayMs != 0) platform::sleepMilliseconds(mDelayMs);
        mStarted = true;
        const FlushDenormals flush;
        check(ov_infer_request_infer(mRequest.get()), [&] { return mExecutable->describe("Infer"); });
    }

    void start() {
        raiseIfBusy("StartAsync");
        mCompletion.arm();
        check(ov_infer_request_start_async(mRequest.get()), [&] { return mExecutable->describe("StartAsync"); });
        mStarted = true;
        mRunning = true;
        if (mDelayMs != 0) mDelayEnd = platform::monotonicMicroseconds() + mDelayMs * uint64_t{1000};
    }

    StatusCode wait(int64_t timeoutMs) {
        if (!mStarted) return INFER_NOT_STARTED;
        if (!mRunning) return OK;
        const StatusCode status = outcome(timeoutMs);
        if (status == RESULT_NOT_READY) return status;
        mRunning = false;
        if (status != OK && status != INFER_CANCELLED) {
            raiseRuntimeError(static_cast<ov_status_e>(status), mExecutable->describe("Wait"));
        }
        return status;
    }

    void cancel() {
        check(ov_infer_request_cancel(mRequest.get()), [&] { return mExecutable->describe("Cancel"); });
    }

  private:
    using TensorAt = ov_status_e (*)(const ov_infer_request_t*, size_t, ov_tensor_t**);

    void wrap(const NetworkEnd& end, TensorAt tensorAt, size_t index) {
        const auto describe = [&] { return mExecutable->describe("GetBlob") + " at \"" + end.name + '"'; };
        Owned<ov_tensor_t> tensor;
        void* memory = nullptr;
        check(tensorAt(mRequest.get(), index, out(tensor)), describe);
        check(ov_tensor_data(tensor.get(), &memory), describe);
        mBlobs[end.name] = make_shared_blob<float>(end.desc, static_cast<float*>(memory));
        mTensors.push_back(std::move(tensor));
    }

    void raiseIfBusy(const char* step) {
        if (!mRunning) return;
        if (outcome(0) == RESULT_NOT_READY) {
            raise(REQUEST_BUSY, mExecutable->describe(step) + ": the request is busy with an inference");
        }
        mRunning = false;
    }

    // How the started inference stands after at most `timeoutMs`.
    StatusCode outcome(int64_t timeoutMs) {
        if (!sleepTillDelayEnd(timeoutMs)) return RESULT_NOT_READY;
        if (timeoutMs >= 0 && !mCompletion.waitFor(timeoutMs)) return RESULT_NOT_READY;
        return static_cast<StatusCode>(ov_infer_request_wait(mRequest.get()));
    }

    // False when the time-out is over before the delay that a test asked for.
    bool sleepTillDelayEnd(int64_t timeoutMs) const {
        if (mDelayMs == 0) return true;
        const uint64_t now = platform::monotonicMicroseconds();
        if (now >= mDelayEnd) return true;
        const int64_t rest = static_cast<int64_t>((mDelayEnd - now + 999) / 1000);
        const bool inTime = timeoutMs < 0 || rest <= timeoutMs;
        platform::sleepMilliseconds(static_cast<uint32_t>(inTime ? rest : timeoutMs));
        return inTime;
    }

    std::shared_ptr<ExecutableImpl> mExecutable;
    uint32_t mDelayMs;
    uint64_t mDelayEnd = 0;
    Completion mCompletion;
    Owned<ov_infer_request_t> mRequest;
    std::vector<Owned<ov_tensor_t>> mTensors;
    std::map<std::string, Blob::Ptr> mBlobs;
    bool mStarted = false;
    bool mRunning = false;
};

namespace {

template <class Impl>
Impl& use(const std::shared_ptr<Impl>& impl, const char* what) {
    if (!impl) raise(NOT_ALLOCATED, std::string(what) + " is empty: nothing has been read or loaded into it");
    return *impl;
}

}  // namespace
}  // namespace details

Blob::Blob(TensorDesc desc, const void* memory, bool writable)
    : mDesc(std::move(desc)), mMemory(memory), mWritable(writable) {}

size_t Blob::size() const {
    size_t elements = 1;
    for (const size_t dim : mDesc.getDims()) elements *= dim;
    return elements;
}

LockedMemory Blob::buffer() const {
    if (!mWritable) details::raise(NOT_ALLOCATED, "a blob over constant memory cannot be written");
    return LockedMemory(const_cast<void*>(mMemory));
}

void Data::setPrecision(Precision precision) const {
    if (precision != getPrecision()) {
        details::raise(PARAMETER_MISMATCH, '"' + mName + "\" is FP32 and takes no other precision");
    }
}

void Data::setLayout(Layout layout) const {
    if (layout != getLayout()) {
        details::raise(PARAMETER_MISMATCH, '"' + mName + "\" has " + std::to_string(getDims().size()) +
                                               " dimensions in the network's order and takes no other layout");
    }
}

InputsDataMap CNNNetwork::getInputsInfo() const {
    return details::use(mImpl, "CNNNetwork").inputsInfo();
}

OutputsDataMap CNNNetwork::getOutputsInfo() const {
    return details::use(mImpl, "CNNNetwork").outputsInfo();
}

size_t CNNNetwork::getBatchSize() const {
    const auto& inputs = details::use(mImpl, "CNNNetwork").inputs();
    if (inputs.empty() || inputs.front().desc.getDims().empty()) return 1;
    return inputs.front().desc.getDims().front();
}

void CNNNetwork::setBatchSize(size_t size) {
    if (size != getBatchSize()) {
        details::raise(NOT_IMPLEMENTED, "the network \"" + getName() + "\" keeps its batch size of " +
                                            std::to_string(getBatchSize()) + "; asked for " + std::to_string(size));
    }
}

const std::string& CNNNetwork::getName() const {
    return details::use(mImpl, "CNNNetwork").name();
}

Blob::Ptr InferRequest::GetBlob(const std::string& name) const {
    return details::use(mImpl, "InferRequest").blob(name);
}

void InferRequest::Infer() {
    details::use(mImpl, "InferRequest").infer();
}

void InferRequest::StartAsync() {
    details::use(mImpl, "InferRequest").start();
}

StatusCode InferRequest::Wait(int64_t timeoutMs) const {
    return details::use(mImpl, "InferRequest").wait(timeoutMs);
}

void InferRequest::Cancel() {
    details::use(mImpl, "InferRequest").cancel();
}

InferRequest ExecutableNetwork::CreateInferRequest() {
    details::use(mImpl, "ExecutableNetwork");
    return InferRequest(std::make_shared<details::RequestImpl>(mImpl));
}

Core::Core(const std::string& xmlConfigFile) : mImpl(std::make_shared<details::CoreImpl>(xmlConfigFile)) {}

CNNNetwork Core::ReadNetwork(const std::string& model, const Blob::CPtr& weights) const {
    return CNNNetwork(std::make_shared<details::NetworkImpl>(mImpl->core(), model, weights));
}

ExecutableNetwork Core::LoadNetwork(const CNNNetwork& network, const std::string& deviceName, const ConfigMap& config) {
    details::use(network.mImpl, "CNNNetwork");
    return ExecutableNetwork(std::make_shared<details::ExecutableImpl>(mImpl, network.mImpl, deviceName, config));
}

void Core::SetConfig(const ConfigMap& config, const std::string& deviceName) {
    mImpl->store(config, deviceName);
}

std::string Core::GetConfig(const std::string& deviceName, const std::string& key) const {
    return mImpl->value(deviceName, key);
}

}  // namespace InferenceEngine
