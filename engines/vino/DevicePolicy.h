#pragma once

#include <string>
#include <vector>

#include "engines/inference_engine/InferenceEngine.h"

// On which device a network may run, and how the device is set up. Keeps no state; any thread.

// True when the GPU plug-in lies beside the executable and one adapter's name holds the word "intel" in any case.
// Memory and driver version are reported, never judged.
bool CheckGPUSupported();

// The second half of it: judges the adapters as getGpuInfo tells them.
bool isGpuAmong(const std::vector<std::string>& names, const std::vector<unsigned>& memories,
                const std::vector<std::string>& versions);

// The CPU's settings, for `preInit` of a helper whatever its device. `helperName` is the class in the log line:
// "ZelVinoHelper".
void applyCpuConfiguration(InferenceEngine::Core& core, const char* helperName);

// The GPU's settings, for each `init` on "GPU". Compiled kernels are kept in `cachePath`.
void applyGpuConfiguration(InferenceEngine::Core& core, const std::string& cachePath);
