#include "plugins/xnn/Handle.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "plugins/xnn/DeviceNames.h"
#include "plugins/xnn/LayerNames.h"
#include "plugins/xnn/Text.h"

namespace xnn {
namespace {

namespace fs = std::filesystem;

void checkIsFile(const fs::path& path) {
    std::error_code error;
    if (!fs::is_regular_file(path, error)) fail("there is no file " + utf8Of(path));
}

std::string readFile(const fs::path& path) {
    checkIsFile(path);
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file || content.str().empty()) fail("the file " + utf8Of(path) + " is empty or cannot be read");
    return std::move(content).str();
}

}  // namespace

Handle::Handle() {
    mLog.write(std::string("xnn ") + XNN_INTERFACE_VERSION + " on " + Core::version());
}

void Handle::checkEngine(const std::string& engine) {
    if (engine != kEngine) fail("there is no engine " + engine + "; there is " + kEngine);
}

const std::vector<std::string>& Handle::devices() {
    if (mDevices.empty()) {
        mDevices = mCore.devices();
        mLog.write("devices of " + std::string(kEngine) + ": " + joined(mDevices, ' '));
    }
    return mDevices;
}

void Handle::setProperty(const std::string& identifier, const std::string& name, const std::string& type,
                         const void* value) {
    Settings settings = mSettings[identifier];
    addProperty(settings, name, type, value);
    mSettings[identifier] = std::move(settings);
    mLog.write("property " + name + " set for network " + identifier);
}

void Handle::createNetwork(NetworkRequest request) {
    const auto settings = mSettings.find(request.identifier);
    if (settings != mSettings.end()) request.settings = settings->second;
    try {
        place(std::make_unique<Network>(mCore, request, mLog));
    } catch (const std::exception& error) {
        const std::string text =
            "network " + request.identifier + " cannot be created on device " + request.device + ": " + error.what();
        mLog.write(text);
        fail(text);
    }
    mSettings.erase(request.identifier);
}

void Handle::createNetwork(NetworkRequest request, const ModelFiles& files) {
    const std::string first = readFile(files.first);
    const std::string second = files.second.empty() ? "" : readFile(files.second);
    request.bytes = {first, second};
    createNetwork(std::move(request));
}

void Handle::place(std::unique_ptr<Network> network) {
    const auto same = std::find_if(mNetworks.begin(), mNetworks.end(),
                                   [&](const auto& other) { return other->identifier() == network->identifier(); });
    const Network* created = network.get();
    if (same == mNetworks.end()) {
        mNetworks.push_back(std::move(network));
    } else {
        *same = std::move(network);
    }
    mCurrent = created;
}

void Handle::removeNetwork(const std::string& identifier) {
    const size_t index = indexOf(identifier);
    if (mCurrent == mNetworks[index].get()) mCurrent = nullptr;
    mNetworks.erase(mNetworks.begin() + static_cast<std::ptrdiff_t>(index));
    mLog.write("network " + identifier + " removed");
}

const Network& Handle::current() const {
    if (mCurrent == nullptr) fail("there is no current network");
    return *mCurrent;
}

size_t Handle::indexOf(const std::string& identifier) const {
    for (size_t i = 0; i < mNetworks.size(); ++i) {
        if (mNetworks[i]->identifier() == identifier) return i;
    }
    fail("there is no network " + identifier);
}

void Handle::registerModel(const std::string& id, ModelFiles files) {
    checkIsFile(files.first);
    if (!files.second.empty()) checkIsFile(files.second);
    if (!mModels.emplace(id, std::move(files)).second) fail("the inner id " + id + " is registered already");
}

void Handle::unregisterModel(const std::string& id) {
    if (mModels.erase(id) == 0) fail("the inner id " + id + " is not registered");
}

const ModelFiles& Handle::model(const std::string& id) const {
    const auto found = mModels.find(id);
    if (found == mModels.end()) {
        fail("there is no model " + id + ": the library carries none, and no inner id of that name is registered");
    }
    return found->second;
}

std::vector<std::string> Handle::devicePropertyNames(const std::string& device) const {
    return mCore.propertyNames(runtimeDevice(device));
}

std::string Handle::deviceProperty(const std::string& device, const std::string& name) const {
    return mCore.property(runtimeDevice(device), name);
}

std::string modelVersion(const fs::path& file) {
    std::string version = readDescription(readFile(file)).version;
    if (version.empty()) fail("the file " + utf8Of(file) + " describes no network");
    return version;
}

}  // namespace xnn
