#pragma once

#include <array>
#include <map>
#include <string>

#include "plugins/xnn/LogThread.h"
#include "plugins/xnn/Runtime.h"

namespace xnn {

// A property that the caller may set for a network.
struct MutableProperty {
    const char* name;
    const char* type;         // in the words of the interface
    const char* runtimeName;  // in those of today's runtime
};

inline constexpr const char* kPathType = "std::filesystem::path";
inline constexpr const char* kStringType = "std::string";

inline constexpr std::array<MutableProperty, 3> kMutableProperties{{
    {"CACHE_DIR", kPathType, "CACHE_DIR"},
    {"GPU_THROTTLE_HINT_LEVEL", kStringType, "GPU_QUEUE_THROTTLE"},
    {"MULTI_DEVICE_PRIORITIES", kStringType, "MULTI_DEVICE_PRIORITIES"},
}};

// By the runtime's names, UTF-8.
using Settings = std::map<std::string, std::string>;

// Puts a property that is given through the interface among the settings: wide text for a path, UTF-8 for a string.
// Raises std::runtime_error for an unknown name, another type than the property's, and a path that is no text.
void addProperty(Settings& settings, const std::string& name, const std::string& type, const void* value);

// What the runtime is given to compile a network.
struct CompilePlan {
    std::string device;
    Settings settings;
};

// Turns names of devices into the runtime's, adds what is always asked for, and drops with a line of log what the
// device does not know. Raises std::runtime_error when the runtime has no such device.
CompilePlan planCompile(const Core& core, const std::string& device, const Settings& settings, LogThread& log);

}  // namespace xnn
