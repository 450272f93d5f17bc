#pragma once

#include <map>
#include <string>

// Settings as the helpers write them, in the words of today's runtime.
namespace InferenceEngine::details {

// A setting by the runtime's key; `askedAs` is the key that the helper wrote.
struct Setting {
    std::string value;
    std::string askedAs;
};
using Settings = std::map<std::string, Setting>;

// Puts a setting under the runtime's key or keys, in place of an earlier one. What is not an old key passes as it is.
void addSetting(Settings& settings, const std::string& key, const std::string& value);

// True when a device whose SUPPORTED_PROPERTIES text is `supported` takes `key` at a load.
bool knowsKey(const std::string& supported, const std::string& key);

// Says on stderr that the device does not know `key`, once per process and key.
void reportDroppedKey(const std::string& deviceName, const std::string& key);

}  // namespace InferenceEngine::details
