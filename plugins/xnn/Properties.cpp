#include "plugins/xnn/Properties.h"

#include <algorithm>
#include <vector>

#include "plugins/xnn/DeviceNames.h"
#include "plugins/xnn/Text.h"

namespace xnn {
namespace {

constexpr const char* kPriorities = "MULTI_DEVICE_PRIORITIES";

const MutableProperty& propertyOf(const std::string& name) {
    const auto found = std::find_if(kMutableProperties.begin(), kMutableProperties.end(),
                                    [&](const MutableProperty& property) { return name == property.name; });
    if (found == kMutableProperties.end()) fail("there is no property " + name);
    return *found;
}

bool choosesDevice(const std::string& device) {
    return device == "AUTO" || device == "MULTI";
}

// Among devices that come down to one there is nothing to choose.
void applyPriorities(CompilePlan& plan) {
    const auto priorities = plan.settings.find(kPriorities);
    if (!choosesDevice(plan.device) || priorities == plan.settings.end()) return;
    const std::vector<std::string> devices = runtimeDevices(priorities->second);
    priorities->second = joined(devices, ',');
    if (devices.size() != 1) return;
    plan.device = devices.front();
    plan.settings.erase(priorities);
}

// Left to itself the processor computes in bfloat16 where it can, which is too coarse for coordinates, and minds
// denormal numbers, which cost much and show nowhere.
void addProcessorSettings(Settings& settings) {
    settings.emplace("INFERENCE_PRECISION_HINT", "f32");
    settings.emplace("CPU_DENORMALS_OPTIMIZATION", "YES");
}

// The cache is the runtime's own and works for every device, also for those that do not list it.
void dropUnknown(const Core& core, CompilePlan& plan, LogThread& log) {
    const std::vector<std::string> known = core.propertyNames(plan.device);
    std::erase_if(plan.settings, [&](const auto& setting) {
        const std::string& name = setting.first;
        if (name == "CACHE_DIR" || std::find(known.begin(), known.end(), name) != known.end()) return false;
        log.write("device " + plan.device + " does not know the property " + name + ", which is dropped");
        return true;
    });
}

}  // namespace

void addProperty(Settings& settings, const std::string& name, const std::string& type, const void* value) {
    const MutableProperty& property = propertyOf(name);
    if (type != property.type) fail("property " + name + " has the type " + property.type + ", not " + type);
    if (value == nullptr) fail("the value of the property " + name + " is null");
    settings[property.runtimeName] = type == kPathType ? utf8Of(pathOf(static_cast<const wchar_t*>(value)))
                                                       : std::string(static_cast<const char*>(value));
}

CompilePlan planCompile(const Core& core, const std::string& device, const Settings& settings, LogThread& log) {
    CompilePlan plan{runtimeDevice(device), settings};
    applyPriorities(plan);
    if (plan.device == "CPU") addProcessorSettings(plan.settings);
    if (!plan.settings.empty()) dropUnknown(core, plan, log);
    return plan;
}

}  // namespace xnn
