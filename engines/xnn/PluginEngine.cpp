#include "engines/xnn/PluginEngine.h"

#include <algorithm>
#include <iostream>
#include <new>
#include <stdexcept>
#include <utility>

#include "engines/xnn/SharedLibrary.h"
#include "platform/include/folders.h"
#include "platform/include/text.h"
#include "util/include/CmException.h"
#include "util/include/CmTrace.h"

namespace xnn::inference {

namespace {

constexpr char kNoHandle[] = "Please create xnn library handle first of all!";
constexpr char kLoadFailed[] = "Dynamic load xnn library failed, please check!";
constexpr char kCreateFailed[] = "Create xnn engine failed, please check!";

// Beyond these a number is not what the library meant to tell.
constexpr uint64_t kLongestText = 1u << 20;
constexpr uint64_t kMostEntries = 1u << 10;
constexpr char kTextLength[] = "length of a text";

using LogCallback = std::function<void(const std::string&)>;

// The one callback of the process. Lines that are being told when it is replaced still go to the callback before.
class LogSlot {
  public:
    std::shared_ptr<const LogCallback> set(LogCallback callback) ZEL_EXCLUDES(m_mutex) {
        auto next = std::make_shared<const LogCallback>(std::move(callback));
        auto previous = next;  // destroyed after the lock has been given back
        const cm::LockGuard lock(m_mutex);
        m_callback.swap(previous);
        return next;
    }

    void tell(const std::string& line) ZEL_EXCLUDES(m_mutex) {
        const std::shared_ptr<const LogCallback> callback = current();
        if (callback) (*callback)(line);
    }

  private:
    std::shared_ptr<const LogCallback> current() ZEL_EXCLUDES(m_mutex) {
        const cm::LockGuard lock(m_mutex);
        return m_callback;
    }

    cm::Mutex m_mutex;
    std::shared_ptr<const LogCallback> m_callback ZEL_GUARDED_BY(m_mutex);
};

// Never destroyed: a thread of a library may still tell a line while the program ends.
LogSlot& logSlot() {
    static LogSlot* const slot = new LogSlot;
    return *slot;
}

void tellLine(const char* line) noexcept {
    try {
        logSlot().tell(line != nullptr ? line : "");
    } catch (...) {
        // The library's code, and perhaps its thread, cannot take an exception.
    }
}

// Calls the library. What it throws becomes an exception of ours at once: on its way out the library may go, and with
// it the type of what was thrown.
template <class Result, class... Parameters, class... Arguments>
Result callEntry(Result (*entry)(Parameters...), Arguments&&... arguments) {
    try {
        return entry(std::forward<Arguments>(arguments)...);
    } catch (...) {
        throw std::runtime_error(cm::currentExceptionText());
    }
}

template <class Entry>
void resolve(const std::shared_ptr<void>& library, const char* name, Entry& entry) {
    entry = reinterpret_cast<Entry>(util::get_symbol(library, name));
}

#define XNN_RESOLVE(name) resolve(functions.library, #name, functions.name)

template <class Entry>
void resolveOptional(const std::shared_ptr<void>& library, const char* name, Entry& entry) {
    try {
        resolve(library, name, entry);
    } catch (const std::runtime_error& error) {
        std::cerr << "This XNN library no " << name << " function:" << error.what() << std::endl;
    }
}

// A library that is too old has no such entries. They are not called.
void checkAge(const std::shared_ptr<void>& library) {
    for (const char* const name :
         {"xnnGetPluginModelVersionLengthWithString", "xnnGetPluginModelVersionWithString",
          "xnnGetPluginModelVersionLengthWithWstring", "xnnGetPluginModelVersionWithWstring"}) {
        util::get_symbol(library, name);
    }
}

void resolveCreation(FunctionHandle& functions) {
    XNN_RESOLVE(xnnSelfVersion);
    XNN_RESOLVE(xnnCreateWithLibraryLoader);
    XNN_RESOLVE(xnnDestory);
}

void resolveLibrary(FunctionHandle& functions) {
    XNN_RESOLVE(xnnCreate);
    XNN_RESOLVE(xnnCreateWithLibraryLoader);
    XNN_RESOLVE(xnnDestory);
    XNN_RESOLVE(xnnRegisterModelAsInnerIDwithString);
    XNN_RESOLVE(xnnRegisterModelAsInnerIDwithWString);
    XNN_RESOLVE(xnnUnregisterInnerID);
    XNN_RESOLVE(xnnGetSupportEngineNumber);
    XNN_RESOLVE(xnnGetSupportEngineLength);
    XNN_RESOLVE(xnnGetSupportEngine);
    XNN_RESOLVE(xnnSelfVersion);
    XNN_RESOLVE(xnnVersion);
    XNN_RESOLVE(xnnGetSupportDeviceNumber);
    XNN_RESOLVE(xnnGetSupportDeviceLength);
    XNN_RESOLVE(xnnGetSupportDevice);
}

void resolveNetworks(FunctionHandle& functions) {
    XNN_RESOLVE(xnnCreateNetByFiles);
    XNN_RESOLVE(xnnCreateNetByFilesWithWstring);
    XNN_RESOLVE(xnnCreateNetByBuffers);
    XNN_RESOLVE(xnnRemoveNetwork);
    XNN_RESOLVE(xnnGetSupportBuiltinModelNumber);
    XNN_RESOLVE(xnnGetSupportBuiltinModelLength);
    XNN_RESOLVE(xnnGetSupportBuiltinModelID);
    XNN_RESOLVE(xnnCreateNetByBuiltin);
    XNN_RESOLVE(xnnSwitchNetwork);
    XNN_RESOLVE(xnnGetCreatedNetworkIdentifiersNumber);
    XNN_RESOLVE(xnnGetCreatedNetworkIdentifierLength);
    XNN_RESOLVE(xnnGetCreatedNetworkIdentifier);
    XNN_RESOLVE(xnnGetNetworkEngineLength);
    XNN_RESOLVE(xnnGetNetworkEngine);
    XNN_RESOLVE(xnnGetNetworkDeviceLength);
    XNN_RESOLVE(xnnGetNetworkDevice);
    XNN_RESOLVE(xnnGetCurrentEngineLength);
    XNN_RESOLVE(xnnGetCurrentEngine);
    XNN_RESOLVE(xnnGetCurrentIdentifierLength);
    XNN_RESOLVE(xnnGetCurrentIdentifier);
    XNN_RESOLVE(xnnGetCurrentNetworkDeviceLength);
    XNN_RESOLVE(xnnGetCurrentNetworkDevice);
}

void resolveLayers(FunctionHandle& functions) {
    XNN_RESOLVE(xnnSetLayerData);
    XNN_RESOLVE(xnnGetLayerData);
    XNN_RESOLVE(xnnGetInputLayerNumber);
    XNN_RESOLVE(xnnGetInputLayerLength);
    XNN_RESOLVE(xnnGetInputLayer);
    XNN_RESOLVE(xnnGetOutputLayerNumber);
    XNN_RESOLVE(xnnGetOutputLayerLength);
    XNN_RESOLVE(xnnGetOutputLayer);
    XNN_RESOLVE(xnnGetLayerDims);
    XNN_RESOLVE(xnnInfer);
    XNN_RESOLVE(xnnHasException);
    XNN_RESOLVE(xnnGetExceptionStringLength);
    XNN_RESOLVE(xnnGetExceptionString);
    XNN_RESOLVE(xnnResetExceptionString);
}

void resolveProperties(FunctionHandle& functions) {
    XNN_RESOLVE(xnnGetEngineMutableProperties);
    XNN_RESOLVE(xnnGetDeviceSupportPropertiesNumber);
    XNN_RESOLVE(xnnGetDeviceSupportPropertiesByIndex);
    XNN_RESOLVE(xnnGetDevicePropertyTypeID);
    XNN_RESOLVE(xnnGetDevicePropertyTypeString);
    XNN_RESOLVE(xnnGetDevicePropertyTypeUnorderedMap_String_Float);
    XNN_RESOLVE(xnnGetDevicePropertyTypeGeneral);
    XNN_RESOLVE(xnnSetEnginePropertyForNetwork);
    resolveOptional(functions.library, "xnnGetLayerPrecision", functions.xnnGetLayerPrecision);
    resolveOptional(functions.library, "xnnSetLogCallback", functions.xnnSetLogCallback);
}

#undef XNN_RESOLVE

// In the table's order but for xnnCreateNetByBuiltin: the first entry that is missing is the one that is told.
void resolveAll(FunctionHandle& functions) {
    resolveLibrary(functions);
    resolveNetworks(functions);
    resolveLayers(functions);
    resolveProperties(functions);
}

// Whoever lets a handle go cannot take an exception.
void destroyHandle(const FunctionHandle& functions, void* handle) noexcept {
    try {
        functions.xnnDestory(handle);
    } catch (...) {
        QOR_ERROR("zelipc>> PluginEngine, xnnDestory threw: " << cm::currentExceptionText());
    }
}

// The deleter has its own share of the table, so that it works whoever goes first.
std::shared_ptr<void> makeHandle(const std::shared_ptr<FunctionHandle>& functions, XnnLibraryLoader first,
                                 XnnLibraryLoader second) {
    void* const handle = callEntry(functions->xnnCreateWithLibraryLoader, first, second);
    if (handle == nullptr) return nullptr;
    return std::shared_ptr<void>(handle, [functions](void* created) { destroyHandle(*functions, created); });
}

std::string describeExcess(uint64_t told, const char* what) {
    return "The xnn library told " + std::to_string(told) + " as the " + what +
           ". Please check that it fits this program.";
}

size_t checkedSize(uint64_t told, uint64_t limit, const char* what) {
    if (told > limit) throw std::runtime_error(describeExcess(told, what));
    return static_cast<size_t>(told);
}

// What a library tells as an int; one below zero is none.
uint64_t notNegative(int told) {
    return static_cast<uint64_t>(std::max(told, 0));
}

// Room for a text that the library writes.
std::string textRoom(uint64_t length) {
    return std::string(checkedSize(length, kLongestText, kTextLength), '\0');
}

// A terminator that the library has counted is no part of its text.
std::string upToZero(std::string text) {
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

std::string readException(const FunctionHandle& functions, void* handle) {
    uint64_t length = 0;
    callEntry(functions.xnnGetExceptionStringLength, handle, &length);
    if (length > kLongestText) return describeExcess(length, kTextLength);
    std::string text = textRoom(length);
    callEntry(functions.xnnGetExceptionString, handle, text.data());
    return upToZero(text);
}

void raisePending(const FunctionHandle& functions, void* handle) {
    if (!callEntry(functions.xnnHasException, handle)) return;
    const std::string text = readException(functions, handle);
    callEntry(functions.xnnResetExceptionString, handle);
    throw std::runtime_error(text);
}

std::string readVersion(const FunctionHandle& functions, void* handle) {
    uint64_t length = 0;
    callEntry(functions.xnnSelfVersion, handle, &length, nullptr);
    std::string text = textRoom(length);
    callEntry(functions.xnnSelfVersion, handle, nullptr, text.data());
    return upToZero(text);
}

std::shared_ptr<FunctionHandle> makeTable(const std::string& form) {
    std::shared_ptr<FunctionHandle> functions(new (std::nothrow) FunctionHandle);
    if (!functions) throw std::runtime_error(form + kLoadFailed);
    return functions;
}

// The version of a library that is loaded for this question only.
std::string probeVersion(const std::wstring& library, XnnLibraryLoader first, XnnLibraryLoader second) {
    const std::shared_ptr<FunctionHandle> functions = makeTable("");
    try {
        functions->library = util::load_shared_object(library);
    } catch (const std::runtime_error& error) {
        std::cerr << error.what() << std::endl;
        throw std::runtime_error(kLoadFailed);
    }
    resolveCreation(*functions);
    const std::shared_ptr<void> handle = makeHandle(functions, first, second);
    if (!handle) throw std::runtime_error(kCreateFailed);
    return readVersion(*functions, handle.get());
}

std::string describeMismatch(const std::string& version, char open, char close) {
    return std::string("[XNN Warning] Program build with XNN header version") + open + kHeaderVersion + close +
           ", not match current use XNN dynamic library version" + open + version + close +
           ". If init() there have any issue, please make two versions same first.";
}

[[noreturn]] void raiseNotListed(const std::string& engine, const std::string& property) {
    throw std::runtime_error(engine + " no " + property + " property! Please check.");
}

template <class Value>
const Value& valueOf(const std::string& name, const std::string& type, const std::any& value) {
    const Value* const held = std::any_cast<Value>(&value);
    if (held == nullptr) {
        throw std::runtime_error(name + " need " + type + " type, but the property_value is not! Please check.");
    }
    return *held;
}

}  // namespace

void PluginEngine::init(const std::filesystem::path& library, XnnLibraryLoader first, XnnLibraryLoader second) {
    const cm::LockGuard lock(mMutex);
    const std::wstring wide = util::wideOf(library);
    const std::string shown = util::wstringToString(wide);
    if (platform::folders().kindOf(shown) == platform::PathKind::kMissing) {
        throw std::runtime_error(shown + " not exists.");
    }
    const std::string version = probeVersion(wide, first, second);
    if (version != kHeaderVersion) std::cerr << describeMismatch(version, '(', ')') << std::endl;
    try {
        private_init(platform::narrow(wide), first, second);
    } catch (const std::exception&) {
        // Perhaps the path has no narrow form.
        private_init(wide, first, second);
    }
    mLibraryVersion = version;
}

void PluginEngine::private_init(const std::string& library, XnnLibraryLoader first, XnnLibraryLoader second) {
    const cm::LockGuard lock(mMutex);
    createHandle(library, "[string] ", first, second);
}

void PluginEngine::private_init(const std::wstring& library, XnnLibraryLoader first, XnnLibraryLoader second) {
    const cm::LockGuard lock(mMutex);
    createHandle(library, "[wstring] ", first, second);
}

template <class Path>
void PluginEngine::createHandle(const Path& library, const std::string& form, XnnLibraryLoader first,
                                XnnLibraryLoader second) {
    const std::shared_ptr<FunctionHandle> functions = makeTable(form);
    functions->library = util::load_shared_object(library);
    checkAge(functions->library);
    resolveAll(*functions);
    const std::shared_ptr<void> handle = makeHandle(functions, first, second);
    raisePending(*functions, handle.get());
    if (!handle) throw std::runtime_error(form + kCreateFailed);
    mHandle = handle;
    mFunctions = functions;
}

std::vector<std::string> PluginEngine::getSupportEngines() {
    const cm::LockGuard lock(mMutex);
    requireHandle();
    void* const handle = mHandle.get();
    const int number = callEntry(mFunctions->xnnGetSupportEngineNumber, handle);
    checkException();
    checkedSize(notNegative(number), kMostEntries, "number of engines");
    std::vector<std::string> engines;
    for (int i = 0; i < number; ++i) {
        const int length = callEntry(mFunctions->xnnGetSupportEngineLength, handle, i);
        checkException();
        std::string name = textRoom(notNegative(length));
        callEntry(mFunctions->xnnGetSupportEngine, handle, i, name.data());
        checkException();
        engines.push_back(upToZero(name));
    }
    return engines;
}

void PluginEngine::checkEngineName(const std::string& engine) {
    const cm::LockGuard lock(mMutex);
    requireHandle();
    if (engine.empty()) throw std::runtime_error("engine_name argument is a empty string. please check!");
    const std::vector<std::string> engines = getSupportEngines();
    if (std::find(engines.begin(), engines.end(), engine) != engines.end()) return;
    std::string text = "[" + engine + "] is not a supported Engine.\n";
    text += engines.empty() ? "This library Not Supported any Engine." : "Supported Engines: ";
    for (const std::string& name : engines) text.append(name).append(" ");
    throw std::runtime_error(text);
}

std::map<std::string, std::string> PluginEngine::getEngineMutableProperties(const std::string& engine) {
    const cm::LockGuard lock(mMutex);
    if (!mHandle) return {};
    checkEngineName(engine);
    const auto call = mFunctions->xnnGetEngineMutableProperties;
    void* const handle = mHandle.get();
    int number = 0;
    callEntry(call, handle, &number, -1, nullptr, nullptr, nullptr, nullptr, engine.c_str());
    checkException();
    checkedSize(notNegative(number), kMostEntries, "number of properties");
    std::map<std::string, std::string> properties;
    for (int i = 0; i < number; ++i) {
        int count = number, nameLength = 0, typeLength = 0;
        callEntry(call, handle, &count, i, &nameLength, nullptr, &typeLength, nullptr, engine.c_str());
        checkException();
        std::string name = textRoom(notNegative(nameLength));
        std::string type = textRoom(notNegative(typeLength));
        callEntry(call, handle, &count, i, &nameLength, name.data(), &typeLength, type.data(), engine.c_str());
        checkException();
        properties[upToZero(name)] = upToZero(type);
    }
    return properties;
}

void PluginEngine::createNetwork(const std::string& engine, const std::string& identifier, const std::string& device,
                                 const std::vector<std::string_view>& buffers, const Properties& properties) {
    const cm::LockGuard lock(mMutex);
    requireHandle();
    if (buffers.empty()) throw std::runtime_error("model_buffers is empty");
    if (!properties.empty()) setProperties(engine, identifier, properties);
    const std::string_view first = buffers[0];
    const std::string_view second = engine == "OpenVINO" && buffers.size() >= 2 ? buffers[1] : std::string_view();
    callEntry(mFunctions->xnnCreateNetByBuffers, mHandle.get(), engine.c_str(), identifier.c_str(), device.c_str(),
              first.data(), first.size(), second.data(), second.size());
    checkException();
}

void PluginEngine::setProperties(const std::string& engine, const std::string& identifier,
                                 const Properties& properties) {
    const std::map<std::string, std::string> types = getEngineMutableProperties(engine);
    for (const auto& [name, value] : properties) {
        const auto listed = types.find(name);
        if (listed == types.end()) raiseNotListed(engine, name);
        setProperty(engine, identifier, name, listed->second, value);
    }
}

void PluginEngine::setProperty(const std::string& engine, const std::string& identifier, const std::string& name,
                               const std::string& type, const std::any& value) {
    const auto set = [&, call = mFunctions->xnnSetEnginePropertyForNetwork, handle = mHandle.get()](const void* text) {
        callEntry(call, handle, engine.c_str(), identifier.c_str(), name.c_str(), type.c_str(), text);
    };
    if (type == "std::filesystem::path") {
        set(util::wideOf(valueOf<std::filesystem::path>(name, type, value)).c_str());
    } else if (type == "std::string") {
        set(valueOf<std::string>(name, type, value).c_str());
    }
    checkException();
}

std::vector<uint64_t> PluginEngine::getLayerDims(const std::string& layer) {
    const cm::LockGuard lock(mMutex);
    requireHandle();
    uint64_t count = 0;
    callEntry(mFunctions->xnnGetLayerDims, mHandle.get(), layer.c_str(), nullptr, &count);
    checkException();
    std::vector<uint64_t> dims(checkedSize(count, kMostEntries, "number of dimensions"));
    callEntry(mFunctions->xnnGetLayerDims, mHandle.get(), layer.c_str(), dims.data(), &count);
    checkException();
    return dims;
}

float* PluginEngine::getLayerData(const std::string& layer) {
    const cm::LockGuard lock(mMutex);
    requireHandle();
    float* const data = callEntry(mFunctions->xnnGetLayerData, mHandle.get(), layer.c_str());
    checkException();
    return data;
}

void PluginEngine::setLayerData(const std::string& layer, const float* data, const std::vector<uint64_t>& dims) {
    const cm::LockGuard lock(mMutex);
    requireHandle();
    callEntry(mFunctions->xnnSetLayerData, mHandle.get(), layer.c_str(), data, dims.data(), dims.size());
    checkException();
}

void PluginEngine::infer() {
    const cm::LockGuard lock(mMutex);
    requireHandle();
    callEntry(mFunctions->xnnInfer, mHandle.get());
    checkException();
}

void PluginEngine::setLogCallback(std::function<void(const std::string&)> callback) {
    const cm::LockGuard lock(mMutex);
    requireHandle();
    if (mFunctions->xnnSetLogCallback == nullptr) return;
    if (callback) {
        const auto stored = logSlot().set(std::move(callback));
        if (mLibraryVersion != kHeaderVersion) (*stored)(describeMismatch(mLibraryVersion, '[', ']'));
        callEntry(mFunctions->xnnSetLogCallback, mHandle.get(), tellLine);
    } else {
        callEntry(mFunctions->xnnSetLogCallback, mHandle.get(), nullptr);
    }
    checkException();
}

void PluginEngine::checkException() {
    const cm::LockGuard lock(mMutex);
    if (mFunctions) raisePending(*mFunctions, mHandle.get());
}

std::string PluginEngine::version() {
    const cm::LockGuard lock(mMutex);
    requireHandle();
    std::string version = readVersion(*mFunctions, mHandle.get());
    checkException();
    return version;
}

void PluginEngine::requireHandle() const {
    if (!mFunctions || !mHandle) throw std::runtime_error(kNoHandle);
}

}  // namespace xnn::inference
