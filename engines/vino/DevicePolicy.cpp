#include "engines/vino/DevicePolicy.h"

#include <algorithm>
#include <filesystem>

#include "engines/inference_engine/DeviceAlias.h"
#include "platform/include/folders.h"
#include "platform/include/module.h"
#include "util/include/CmSystem.h"
#include "util/include/CmTrace.h"

namespace {

// At or below these the engine chooses its number of threads itself.
constexpr unsigned kSlowMegahertz = 1599;
constexpr unsigned kFewCores = 3;

bool pluginLiesBesideExecutable() {
    const std::string path =
        platform::executableDirectory() + platform::pathSeparator() + platform::libraryFileName("clDNNPlugin.dll");
    try {
        return platform::folders().kindOf(path) == platform::PathKind::kFile;
    } catch (const std::filesystem::filesystem_error&) {
        return false;
    }
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

}  // namespace

bool CheckGPUSupported() {
    if (InferenceEngine::details::countsAsPresent("GPU")) {
        QOR_INFO("zelipc CheckGPUSupported the GPU counts as present");
        return true;
    }
    if (!pluginLiesBesideExecutable()) {
        QOR_INFO("zelipc CheckGPUSupported clDNNPlugin.dll not found");
        return false;
    }
    std::vector<std::string> names;
    std::vector<unsigned> memories;
    std::vector<std::string> versions;
    getGpuInfo(names, memories, &versions);
    return isGpuAmong(names, memories, versions);
}

bool isGpuAmong(const std::vector<std::string>& names, const std::vector<unsigned>& memories,
                const std::vector<std::string>& versions) {
    if (names.size() != memories.size() || names.size() != versions.size()) {
        QOR_ERROR("zelipc CheckGPUSupported failed, wrong size");
        return false;
    }
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string name = lowerCase(names[i]);
        if (name.find("intel") == std::string::npos) continue;
        QOR_INFO("zelipc CheckGPUSupported use GPU, strGpu=" << name << ", mem=" << memories[i]
                                                             << ", ver=" << versions[i]);
        return true;
    }
    QOR_INFO("zelipc CheckGPUSupported, unsupported.");
    return false;
}

void applyCpuConfiguration(InferenceEngine::Core& core, const char* helperName) {
    core.SetConfig({{"CPU_THROUGHPUT_STREAMS", "CPU_THROUGHPUT_AUTO"}}, "CPU");
    core.SetConfig({{"CPU_BIND_THREAD", "NUMA"}}, "CPU");
    // What cannot be told counts as 0, and keeps the engine's default.
    unsigned cores = 0;
    unsigned logical = 0;
    unsigned megahertz = 0;
    get_cpu_core(cores, logical);
    get_cpu_frequency(megahertz);
    QOR_INFO("zelipc>>" << helperName << "::init number of physical core: " << cores << ", frequency: " << megahertz);
    if (megahertz > kSlowMegahertz && cores > kFewCores) core.SetConfig({{"CPU_THREADS_NUM", "1"}}, "CPU");
}

void applyGpuConfiguration(InferenceEngine::Core& core, const std::string& cachePath) {
    core.SetConfig({{"CLDNN_PLUGIN_THROTTLE", "1"}}, "GPU");
    core.SetConfig({{"CACHE_DIR", cachePath}}, "GPU");
}
