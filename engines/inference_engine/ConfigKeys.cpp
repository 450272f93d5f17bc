#include "engines/inference_engine/ConfigKeys.h"

#include <cstdio>
#include <set>

#include "util/include/CmMutex.h"

namespace InferenceEngine::details {
namespace {

struct OldValue {
    const char* key;
    const char* value;  // null: any other value, kept as it is
    const char* newKey;
    const char* newValue;
};

// All rows of the value that is asked for apply, else those without a value.
//
// The number of streams is left to the engine, which must know that a helper has one request at a time: on a machine of
// two cores it would otherwise make two streams of one thread, of which one idles, for a third more time to load.
//
// "NUMA" bound threads to a memory node, not to single cores, and today's engine keeps a stream on one node by itself.
// Pinning would put the one thread of every network of every host on the machine's first core.
constexpr OldValue kOldValues[] = {
    {"CPU_THROUGHPUT_STREAMS", "CPU_THROUGHPUT_AUTO", "NUM_STREAMS", "AUTO"},
    {"CPU_THROUGHPUT_STREAMS", "CPU_THROUGHPUT_AUTO", "PERFORMANCE_HINT_NUM_REQUESTS", "1"},
    {"CPU_THROUGHPUT_STREAMS", nullptr, "NUM_STREAMS", nullptr},
    {"CPU_BIND_THREAD", "NUMA", "ENABLE_CPU_PINNING", "NO"},
    {"CPU_BIND_THREAD", nullptr, "ENABLE_CPU_PINNING", nullptr},
    {"CPU_THREADS_NUM", nullptr, "INFERENCE_NUM_THREADS", nullptr},
    {"CLDNN_PLUGIN_THROTTLE", "1", "GPU_QUEUE_THROTTLE", "LOW"},
    {"CLDNN_PLUGIN_THROTTLE", "2", "GPU_QUEUE_THROTTLE", "MEDIUM"},
    {"CLDNN_PLUGIN_THROTTLE", "3", "GPU_QUEUE_THROTTLE", "HIGH"},
};

// The key of the model cache is the runtime's own, whatever the device lists.
constexpr const char* kCacheKey = "CACHE_DIR";

}  // namespace

void addSetting(Settings& settings, const std::string& key, const std::string& value) {
    bool isOld = false;
    for (const OldValue& old : kOldValues) {
        if (key != old.key || (old.value == nullptr ? isOld : value != old.value)) continue;
        settings[old.newKey] = {old.newValue != nullptr ? old.newValue : value, key};
        isOld = true;
    }
    if (!isOld) settings[key] = {value, key};
}

bool knowsKey(const std::string& supported, const std::string& key) {
    return key == kCacheKey || (" " + supported + " ").find(" " + key + " ") != std::string::npos;
}

void reportDroppedKey(const std::string& deviceName, const std::string& key) {
    static cm::Mutex mutex;
    static std::set<std::string> reported;
    const cm::LockGuard guard(mutex);
    if (!reported.insert(key).second) return;
    std::fprintf(stderr, "zelhost: device %s does not know the setting %s, which is dropped\n", deviceName.c_str(),
                 key.c_str());
}

}  // namespace InferenceEngine::details
