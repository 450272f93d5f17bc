#include <algorithm>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>

#include "plugins/xnn/DeviceNames.h"
#include "plugins/xnn/DeviceProperties.h"
#include "plugins/xnn/Handle.h"
#include "plugins/xnn/Text.h"
#include "plugins/xnn/xnn.h"

// The functions of the interface: they check their arguments and leave what fails pending at the handle.

namespace {

using xnn::fail;
using xnn::Handle;
using xnn::kMutableProperties;

constexpr std::string_view kEngines[] = {xnn::kEngine};

// Runs `body`, whose exceptions become the pending one; the answer is then 0, false or null.
template <class Body>
auto guarded(xnn::PendingException& pending, const char* function, const Body& body) noexcept {
    using Result = std::invoke_result_t<const Body&>;
    try {
        return body();
    } catch (const std::exception& error) {
        pending.set(function, error.what());
    } catch (...) {
        pending.set(function, "unknown failure");
    }
    return Result();
}

template <class Body>
auto call(void* handle, const char* function, const Body& body) noexcept {
    Handle* const self = static_cast<Handle*>(handle);
    return guarded(self != nullptr ? self->pending() : xnn::pendingOnThread(), function, [&] {
        if (self == nullptr) fail("the handle is null");
        return body(*self);
    });
}

void* createHandle(const char* function) noexcept {
    xnn::pendingOnThread().reset();
    return guarded(xnn::pendingOnThread(), function, []() -> void* { return new Handle(); });
}

xnn::PendingException& pendingOf(void* handle) {
    return handle != nullptr ? static_cast<Handle*>(handle)->pending() : xnn::pendingOnThread();
}

std::string named(const char* text, const char* what) {
    if (text == nullptr) fail(std::string("the ") + what + " is null");
    if (*text == '\0') fail(std::string("the ") + what + " is empty");
    return text;
}

template <class Character>
std::filesystem::path path(const Character* text) {
    if (text == nullptr) fail("the path is null");
    if (*text == Character()) fail("the path is empty");
    return xnn::pathOf(text);
}

template <class Character>
xnn::ModelFiles files(const Character* first, const Character* second) {
    return {path(first), second != nullptr ? path(second) : std::filesystem::path()};
}

// The element at a caller's index.
template <class List>
auto& at(List& list, int index) {
    if (index < 0 || static_cast<size_t>(index) >= std::size(list)) {
        fail("the index " + std::to_string(index) + " is not below " + std::to_string(std::size(list)));
    }
    return list[static_cast<size_t>(index)];
}

const xnn::Network& networkOf(const Handle& self, const char* identifier) {
    return self.network(named(identifier, "network's identifier"));
}

[[noreturn]] void failWithoutBuiltinModel(int index) {
    fail("there is no built-in model at the index " + std::to_string(index) + ": the library carries none");
}

void checkEngine(const char* engine) {
    Handle::checkEngine(named(engine, "engine's name"));
}

std::string_view bytes(const void* data, uint64_t size, const char* what) {
    if (data == nullptr) fail(std::string("the ") + what + " is null");
    if (size == 0) fail(std::string("the ") + what + " has no bytes");
    return {static_cast<const char*>(data), size};
}

xnn::NetworkRequest request(const char* engine, const char* identifier, const char* device) {
    checkEngine(engine);
    return {engine, named(identifier, "network's identifier"), named(device, "device"), {}, {}};
}

const xnn::Layer& layerOf(Handle& self, const char* layer) {
    if (layer == nullptr) fail("the layer's name is null");
    return self.current().layer(layer);
}

int number(size_t count) {
    return static_cast<int>(count);
}

void copy(std::string_view text, char* out) {
    if (out == nullptr) fail("the buffer is null");
    std::copy(text.begin(), text.end(), out);
}

// The two steps in one function.
void tell(std::string_view text, uint64_t* length, char* out) {
    if (length == nullptr && out == nullptr) fail("length and text are both null");
    if (length != nullptr) *length = text.size();
    if (out != nullptr) copy(text, out);
}

// One of several texts, each where there is somebody to take it.
void tellPart(std::string_view text, int* length, char* out) {
    if (length != nullptr) *length = number(text.size());
    if (out != nullptr) copy(text, out);
}

// The two steps for a text that may change in between.
template <class Ask>
void tellKept(Handle& self, const std::string& question, uint64_t* length, char* out, const Ask& ask) {
    if (length != nullptr) self.textAnswer().keep(question, ask());
    const std::string* const kept = self.textAnswer().find(question);
    if (kept == nullptr) fail("the length must be asked for first");
    tell(*kept, length, out);
}

std::string questionOf(const char* kind, const std::string& device, const std::string& property) {
    return std::string(kind) + '\n' + device + '\n' + property;
}

void tellDeviceProperty(Handle& self, const char* engine, const char* device, const char* property, uint64_t* length,
                        char* out) {
    checkEngine(engine);
    const std::string deviceName = named(device, "device");
    const std::string name = named(property, "property");
    tellKept(self, questionOf("property", deviceName, name), length, out,
             [&] { return self.deviceProperty(deviceName, name); });
}

template <class Character>
void tellModelVersion(Handle& self, const Character* file, uint64_t* length, char* out) {
    const std::filesystem::path checked = path(file);
    tellKept(self, questionOf("model", "", xnn::utf8Of(checked)), length, out,
             [&] { return xnn::modelVersion(checked); });
}

void checkPropertyType(const std::string& property, int wanted) {
    const int type = xnn::devicePropertyType(property);
    if (type == wanted) return;
    fail("property " + property + " has the type " + std::to_string(type) + ", not " + std::to_string(wanted));
}

}  // namespace

extern "C" {

// handles

void* xnnCreate() {
    return createHandle(__func__);
}

void* xnnCreateWithLibraryLoader(XnnLibraryLoader, XnnLibraryLoader) {
    return createHandle(__func__);
}

void xnnDestory(void* handle) {
    delete static_cast<Handle*>(handle);
}

void xnnSelfVersion(void* handle, uint64_t* length, char* text) {
    call(handle, __func__, [&](Handle&) { tell(XNN_INTERFACE_VERSION, length, text); });
}

void xnnVersion(void* handle, uint64_t* length, char* text) {
    call(handle, __func__, [&](Handle&) { tell(xnn::Core::version(), length, text); });
}

// the pending exception

bool xnnHasException(void* handle) {
    return pendingOf(handle).isPending();
}

void xnnGetExceptionStringLength(void* handle, uint64_t* length) {
    if (length != nullptr) *length = pendingOf(handle).text().size();
}

void xnnGetExceptionString(void* handle, char* text) {
    const std::string_view pending = pendingOf(handle).text();
    if (text != nullptr) std::copy(pending.begin(), pending.end(), text);
}

void xnnResetExceptionString(void* handle) {
    pendingOf(handle).reset();
}

// engines

int xnnGetSupportEngineNumber(void* handle) {
    return call(handle, __func__, [](Handle&) { return number(std::size(kEngines)); });
}

int xnnGetSupportEngineLength(void* handle, int index) {
    return call(handle, __func__, [&](Handle&) { return number(at(kEngines, index).size()); });
}

void xnnGetSupportEngine(void* handle, int index, char* name) {
    call(handle, __func__, [&](Handle&) { copy(at(kEngines, index), name); });
}

int xnnGetSupportDeviceNumber(void* handle, const char* engine) {
    return call(handle, __func__, [&](Handle& self) {
        checkEngine(engine);
        return number(self.devices().size());
    });
}

int xnnGetSupportDeviceLength(void* handle, const char* engine, int index) {
    return call(handle, __func__, [&](Handle& self) {
        checkEngine(engine);
        return number(at(self.devices(), index).size());
    });
}

void xnnGetSupportDevice(void* handle, const char* engine, int index, char* name) {
    call(handle, __func__, [&](Handle& self) {
        checkEngine(engine);
        copy(at(self.devices(), index), name);
    });
}

void xnnGetEngineMutableProperties(void* handle, int* count, int index, int* nameLength, char* name, int* typeLength,
                                   char* type, const char* engine) {
    call(handle, __func__, [&](Handle&) {
        checkEngine(engine);
        if (index == -1) {
            if (count == nullptr) fail("count is null");
            *count = number(kMutableProperties.size());
            return;
        }
        const xnn::MutableProperty& property = at(kMutableProperties, index);
        tellPart(property.name, nameLength, name);
        tellPart(property.type, typeLength, type);
    });
}

void xnnSetEnginePropertyForNetwork(void* handle, const char* engine, const char* identifier, const char* name,
                                    const char* type, const void* value) {
    call(handle, __func__, [&](Handle& self) {
        checkEngine(engine);
        self.setProperty(named(identifier, "network's identifier"), named(name, "property's name"),
                         named(type, "property's type"), value);
    });
}

// properties of devices

int xnnGetDeviceSupportPropertiesNumber(void* handle, const char* engine, const char* device) {
    return call(handle, __func__, [&](Handle& self) {
        checkEngine(engine);
        return number(self.devicePropertyNames(named(device, "device")).size());
    });
}

void xnnGetDeviceSupportPropertiesByIndex(void* handle, const char* engine, const char* device, int index, int* length,
                                          char* name) {
    call(handle, __func__, [&](Handle& self) {
        checkEngine(engine);
        const std::vector<std::string> names = self.devicePropertyNames(named(device, "device"));
        tellPart(at(names, index), length, name);
    });
}

int xnnGetDevicePropertyTypeID(void* handle, const char* engine, const char* device, const char* property) {
    return call(handle, __func__, [&](Handle& self) {
        checkEngine(engine);
        const std::vector<std::string> names = self.devicePropertyNames(named(device, "device"));
        const std::string name = named(property, "property");
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            fail("device " + std::string(device) + " has no property " + name);
        }
        return xnn::devicePropertyType(name);
    });
}

void xnnGetDevicePropertyTypeString(void* handle, const char* engine, const char* device, const char* property,
                                    uint64_t* length, char* text) {
    call(handle, __func__, [&](Handle& self) {
        checkPropertyType(named(property, "property"), XNN_PROPERTY_STRING);
        tellDeviceProperty(self, engine, device, property, length, text);
    });
}

void xnnGetDevicePropertyTypeUnorderedMap_String_Float(void* handle, const char* engine, const char* device,
                                                       const char* property, int* count, int index, int* keyLength,
                                                       char* key, float* value) {
    call(handle, __func__, [&](Handle& self) {
        checkEngine(engine);
        checkPropertyType(named(property, "property"), XNN_PROPERTY_UNORDERED_MAP_STRING_FLOAT);
        const std::string question = questionOf("map", named(device, "device"), property);
        if (index == -1) {
            if (count == nullptr) fail("count is null");
            const std::string text = self.deviceProperty(device, property);
            *count = number(self.mapAnswer().keep(question, xnn::readNumberMap(text)).size());
            return;
        }
        const xnn::NumberMap* const kept = self.mapAnswer().find(question);
        if (kept == nullptr) fail("the number of entries must be asked for first");
        const auto& [name, entry] = at(*kept, index);
        tellPart(name, keyLength, key);
        if (value != nullptr) *value = entry;
    });
}

void xnnGetDevicePropertyTypeGeneral(void* handle, const char* engine, const char* device, const char* property,
                                     uint64_t* length, char* text) {
    call(handle, __func__, [&](Handle& self) { tellDeviceProperty(self, engine, device, property, length, text); });
}

// models

int xnnGetSupportBuiltinModelNumber(void* handle) {
    return call(handle, __func__, [](Handle&) { return 0; });
}

int xnnGetSupportBuiltinModelLength(void* handle, int index) {
    return call(handle, __func__, [&](Handle&) -> int { failWithoutBuiltinModel(index); });
}

void xnnGetSupportBuiltinModelID(void* handle, int index, char*) {
    call(handle, __func__, [&](Handle&) { failWithoutBuiltinModel(index); });
}

void xnnRegisterModelAsInnerIDwithString(void* handle, const char* innerID, const char* first, const char* second) {
    call(handle, __func__, [&](Handle& self) { self.registerModel(named(innerID, "inner id"), files(first, second)); });
}

void xnnRegisterModelAsInnerIDwithWString(void* handle, const char* innerID, const wchar_t* first,
                                          const wchar_t* second) {
    call(handle, __func__, [&](Handle& self) { self.registerModel(named(innerID, "inner id"), files(first, second)); });
}

void xnnUnregisterInnerID(void* handle, const char* innerID) {
    call(handle, __func__, [&](Handle& self) { self.unregisterModel(named(innerID, "inner id")); });
}

void xnnGetPluginModelVersionLengthWithString(void* handle, const char* path, uint64_t* length) {
    call(handle, __func__, [&](Handle& self) {
        if (length == nullptr) fail("length is null");
        tellModelVersion(self, path, length, nullptr);
    });
}

void xnnGetPluginModelVersionWithString(void* handle, const char* path, char* text) {
    call(handle, __func__, [&](Handle& self) { tellModelVersion(self, path, nullptr, text); });
}

void xnnGetPluginModelVersionLengthWithWstring(void* handle, const wchar_t* path, uint64_t* length) {
    call(handle, __func__, [&](Handle& self) {
        if (length == nullptr) fail("length is null");
        tellModelVersion(self, path, length, nullptr);
    });
}

void xnnGetPluginModelVersionWithWstring(void* handle, const wchar_t* path, char* text) {
    call(handle, __func__, [&](Handle& self) { tellModelVersion(self, path, nullptr, text); });
}

// networks

void xnnCreateNetByBuffers(void* handle, const char* engine, const char* identifier, const char* device,
                           const void* first, uint64_t firstSize, const void* second, uint64_t secondSize) {
    call(handle, __func__, [&](Handle& self) {
        xnn::NetworkRequest network = request(engine, identifier, device);
        network.bytes.description = bytes(first, firstSize, "first buffer");
        if (second != nullptr || secondSize != 0) network.bytes.weights = bytes(second, secondSize, "second buffer");
        self.createNetwork(std::move(network));
    });
}

void xnnCreateNetByFiles(void* handle, const char* engine, const char* identifier, const char* device,
                         const char* first, const char* second) {
    call(handle, __func__,
         [&](Handle& self) { self.createNetwork(request(engine, identifier, device), files(first, second)); });
}

void xnnCreateNetByFilesWithWstring(void* handle, const char* engine, const char* identifier, const char* device,
                                    const wchar_t* first, const wchar_t* second) {
    call(handle, __func__,
         [&](Handle& self) { self.createNetwork(request(engine, identifier, device), files(first, second)); });
}

void xnnCreateNetByBuiltin(void* handle, const char* engine, const char* identifier, const char* device,
                           const char* id) {
    call(handle, __func__, [&](Handle& self) {
        self.createNetwork(request(engine, identifier, device), self.model(named(id, "model's id")));
    });
}

void xnnRemoveNetwork(void* handle, const char* identifier) {
    call(handle, __func__, [&](Handle& self) { self.removeNetwork(named(identifier, "network's identifier")); });
}

void xnnSwitchNetwork(void* handle, const char* identifier) {
    call(handle, __func__, [&](Handle& self) { self.switchNetwork(named(identifier, "network's identifier")); });
}

int xnnGetCreatedNetworkIdentifiersNumber(void* handle) {
    return call(handle, __func__, [](Handle& self) { return number(self.networks().size()); });
}

int xnnGetCreatedNetworkIdentifierLength(void* handle, int index) {
    return call(handle, __func__,
                [&](Handle& self) { return number(at(self.networks(), index)->identifier().size()); });
}

void xnnGetCreatedNetworkIdentifier(void* handle, int index, char* identifier) {
    call(handle, __func__, [&](Handle& self) { copy(at(self.networks(), index)->identifier(), identifier); });
}

int xnnGetNetworkEngineLength(void* handle, const char* identifier) {
    return call(handle, __func__, [&](Handle& self) { return number(networkOf(self, identifier).engine().size()); });
}

void xnnGetNetworkEngine(void* handle, const char* identifier, char* engine) {
    call(handle, __func__, [&](Handle& self) { copy(networkOf(self, identifier).engine(), engine); });
}

int xnnGetNetworkDeviceLength(void* handle, const char* identifier) {
    return call(handle, __func__, [&](Handle& self) { return number(networkOf(self, identifier).device().size()); });
}

void xnnGetNetworkDevice(void* handle, const char* identifier, char* device) {
    call(handle, __func__, [&](Handle& self) { copy(networkOf(self, identifier).device(), device); });
}

int xnnGetCurrentEngineLength(void* handle) {
    return call(handle, __func__, [](Handle& self) { return number(self.current().engine().size()); });
}

void xnnGetCurrentEngine(void* handle, char* engine) {
    call(handle, __func__, [&](Handle& self) { copy(self.current().engine(), engine); });
}

int xnnGetCurrentIdentifierLength(void* handle) {
    return call(handle, __func__, [](Handle& self) { return number(self.current().identifier().size()); });
}

void xnnGetCurrentIdentifier(void* handle, char* identifier) {
    call(handle, __func__, [&](Handle& self) { copy(self.current().identifier(), identifier); });
}

int xnnGetCurrentNetworkDeviceLength(void* handle) {
    return call(handle, __func__, [](Handle& self) { return number(self.current().device().size()); });
}

void xnnGetCurrentNetworkDevice(void* handle, char* device) {
    call(handle, __func__, [&](Handle& self) { copy(self.current().device(), device); });
}

// layers of the current network

int xnnGetInputLayerNumber(void* handle) {
    return call(handle, __func__, [](Handle& self) { return number(self.current().inputs().size()); });
}

int xnnGetInputLayerLength(void* handle, int index) {
    return call(handle, __func__, [&](Handle& self) { return number(at(self.current().inputs(), index).name.size()); });
}

void xnnGetInputLayer(void* handle, int index, char* layer) {
    call(handle, __func__, [&](Handle& self) { copy(at(self.current().inputs(), index).name, layer); });
}

int xnnGetOutputLayerNumber(void* handle) {
    return call(handle, __func__, [](Handle& self) { return number(self.current().outputs().size()); });
}

int xnnGetOutputLayerLength(void* handle, int index) {
    return call(handle, __func__,
                [&](Handle& self) { return number(at(self.current().outputs(), index).name.size()); });
}

void xnnGetOutputLayer(void* handle, int index, char* layer) {
    call(handle, __func__, [&](Handle& self) { copy(at(self.current().outputs(), index).name, layer); });
}

void xnnGetLayerDims(void* handle, const char* layer, uint64_t* dims, uint64_t* count) {
    call(handle, __func__, [&](Handle& self) {
        const std::vector<uint64_t>& own = layerOf(self, layer).dims;
        if (dims == nullptr && count == nullptr) fail("dims and count are both null");
        if (count != nullptr) *count = own.size();
        if (dims != nullptr) std::copy(own.begin(), own.end(), dims);
    });
}

void xnnGetLayerPrecision(void* handle, const char* layer, uint64_t* length, char* text) {
    call(handle, __func__, [&](Handle& self) {
        layerOf(self, layer);
        tell("FP32", length, text);
    });
}

void xnnSetLayerData(void* handle, const char* layer, const float* data, const uint64_t* dims, uint64_t count) {
    call(handle, __func__, [&](Handle& self) { self.current().setData(layerOf(self, layer), data, dims, count); });
}

float* xnnGetLayerData(void* handle, const char* layer) {
    return call(handle, __func__, [&](Handle& self) { return layerOf(self, layer).data; });
}

void xnnInfer(void* handle) {
    call(handle, __func__, [](Handle& self) { self.current().infer(); });
}

// log

void xnnSetLogCallback(void* handle, XnnLogCallback callback) {
    call(handle, __func__, [&](Handle& self) { self.log().setCallback(callback); });
}

}  // extern "C"
