#include "engines/inference_engine/DeviceAlias.h"

#include <algorithm>
#include <cstdlib>

#include "platform/include/process.h"

namespace InferenceEngine::details {
namespace {

VariableReader variable = platform::environmentVariable;

#ifdef ZELHOST_TEST_HOOKS
std::string hook(const char* name, const std::string& deviceName) {
    return listValue(variable(name), deviceName);
}

uint32_t milliseconds(const char* name, const std::string& deviceName) {
    return static_cast<uint32_t>(std::strtoul(hook(name, deviceName).c_str(), nullptr, 10));
}
#endif

}  // namespace

void replaceVariableReader(VariableReader reader) {
    variable = reader != nullptr ? reader : platform::environmentVariable;
}

std::string listValue(const std::string& list, const std::string& key) {
    for (size_t begin = 0; begin < list.size();) {
        const size_t end = std::min(list.find(',', begin), list.size());
        const std::string item = list.substr(begin, end - begin);
        if (item == key) return key;
        if (item.size() > key.size() && item[key.size()] == '=' && item.starts_with(key))
            return item.substr(key.size() + 1);
        begin = end + 1;
    }
    return {};
}

std::string runtimeDevice(const std::string& deviceName) {
    const std::string alias = listValue(variable("ZELHOST_DEVICE_ALIAS"), deviceName);
    return alias.empty() ? deviceName : alias;
}

#ifdef ZELHOST_TEST_HOOKS
uint32_t loadDelayMs(const std::string& deviceName) {
    return milliseconds("ZELHOST_DEVICE_DELAY_MS", deviceName);
}
uint32_t inferDelayMs(const std::string& deviceName) {
    return milliseconds("ZELHOST_DEVICE_INFER_DELAY_MS", deviceName);
}
bool loadFails(const std::string& deviceName) {
    return !hook("ZELHOST_DEVICE_FAIL", deviceName).empty();
}
bool countsAsPresent(const std::string& deviceName) {
    return !hook("ZELHOST_DEVICE_PRESENT", deviceName).empty();
}
#else
uint32_t loadDelayMs(const std::string&) {
    return 0;
}
uint32_t inferDelayMs(const std::string&) {
    return 0;
}
bool loadFails(const std::string&) {
    return false;
}
bool countsAsPresent(const std::string&) {
    return false;
}
#endif

}  // namespace InferenceEngine::details
