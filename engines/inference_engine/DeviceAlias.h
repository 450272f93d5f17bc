#pragma once

#include <cstdint>
#include <string>

// Testing aids: let the roads of a device run on a machine that has none, with real inference under its name. All are
// read from the environment, as comma-separated lists, at every load.
//
//   ZELHOST_DEVICE_ALIAS="GPU=CPU,NPU=CPU"    "GPU" and "NPU" are handed to the runtime as "CPU"
//
// and, when built with ZELHOST_TEST_HOOKS, under the names that the helpers use ("GPU", not its alias):
//
//   ZELHOST_DEVICE_DELAY_MS="GPU=2000"        a load on "GPU" takes that much longer
//   ZELHOST_DEVICE_INFER_DELAY_MS="GPU=200"   so does each inference of a network loaded on "GPU" after this was set
//   ZELHOST_DEVICE_FAIL="GPU"                 a load on "GPU" fails
//   ZELHOST_DEVICE_PRESENT="GPU"              the machine counts as one with a GPU
namespace InferenceEngine::details {

// The name that the runtime is given for `deviceName`: its alias, or the name itself.
std::string runtimeDevice(const std::string& deviceName);

// What the test hooks ask for; all zero or false in a build without them.
uint32_t loadDelayMs(const std::string& deviceName);
uint32_t inferDelayMs(const std::string& deviceName);
bool loadFails(const std::string& deviceName);
bool countsAsPresent(const std::string& deviceName);

// For tests: where variables are read from instead of the environment; null puts that back. Not to be called while
// another thread reads, loads or creates requests.
using VariableReader = std::string (*)(const char* name);
void replaceVariableReader(VariableReader reader);

// The value of `key` in a list "A=1,B=2", "" when it has none; the value of a key without '=' is the key itself.
std::string listValue(const std::string& list, const std::string& key);

}  // namespace InferenceEngine::details
