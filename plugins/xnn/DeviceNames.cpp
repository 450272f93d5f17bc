#include "plugins/xnn/DeviceNames.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace xnn {
namespace {

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> items;
    std::istringstream stream(list);
    for (std::string item; std::getline(stream, item, ',');) items.push_back(item);
    return items;
}

std::string aliasOf(const std::string& device) {
    const char* aliases = std::getenv("ZELHOST_DEVICE_ALIAS");
    for (const std::string& item : split(aliases != nullptr ? aliases : "")) {
        const size_t equals = item.find('=');
        if (equals != std::string::npos && equals + 1 < item.size() && item.substr(0, equals) == device) {
            return item.substr(equals + 1);
        }
    }
    return device;
}

}  // namespace

std::vector<std::string> runtimeDevices(const std::string& list) {
    std::vector<std::string> devices;
    for (const std::string& item : split(list)) {
        const std::string device = aliasOf(item);
        if (std::find(devices.begin(), devices.end(), device) == devices.end()) devices.push_back(device);
    }
    return devices;
}

std::string runtimeDevice(const std::string& device) {
    const size_t colon = device.find(':');
    if (colon == std::string::npos) return aliasOf(device);
    return device.substr(0, colon + 1) + joined(runtimeDevices(device.substr(colon + 1)), ',');
}

std::string joined(const std::vector<std::string>& names, char separator) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : std::string(1, separator)) + name;
    return text;
}

}  // namespace xnn
