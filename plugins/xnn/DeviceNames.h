#pragma once

#include <string>
#include <vector>

namespace xnn {

// Testing aid: the environment variable ZELHOST_DEVICE_ALIAS="GPU=CPU,NPU=CPU" lets the runtime take another device for
// one that the machine lacks. It is read at each call.

// The name that the runtime is given for a device. Of "AUTO:NPU,GPU" and its like, each device after the colon counts.
std::string runtimeDevice(const std::string& device);

// The same for a list "NPU,GPU"; each device that results is named once.
std::vector<std::string> runtimeDevices(const std::string& list);

std::string joined(const std::vector<std::string>& names, char separator);

}  // namespace xnn
