// An inference library that infers nothing: it tells how it was called and does what a test has set. Variants lack an
// entry (WITHOUT_...), are of another version (TEST_VERSION), throw (TEST_THROWS_IN) or end the process by a write
// to nowhere (TEST_CRASHES_IN). The entries that are only looked up lie in test_library_entries.cpp.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "plugins/xnn/xnn.h"

#ifndef TEST_VERSION
#define TEST_VERSION "2025.06.23-8ad6a1c(x64)"
#endif

namespace {

constexpr uint64_t kLongestOutput = 9 * 16 * 1439;  // floats

std::mutex gMutex;
std::condition_variable gChanged;              // of the settings
std::string gCalls;                            // a line each
std::map<std::string, std::string> gSettings;  // see TestLibrary.h
std::atomic<int> gCreations{0};

std::string setting(const std::string& key, const std::string& otherwise = "") {
    const std::lock_guard lock(gMutex);
    const auto found = gSettings.find(key);
    return found == gSettings.end() ? otherwise : found->second;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> words;
    std::istringstream stream(text);
    for (std::string word; std::getline(stream, word, separator);) words.push_back(word);
    return words;
}

bool isAmong(const std::string& word, const std::string& list) {
    const std::vector<std::string> words = split(list, ',');
    return std::find(words.begin(), words.end(), word) != words.end();
}

struct Handle {
    int number;
    std::string pending;
    std::vector<float> data;
    XnnLogCallback log = nullptr;
    std::atomic<bool> logs{false};
    std::thread logger;
};

std::string gFailedCreation;

std::string& pendingOf(void* handle) {
    return handle ? static_cast<Handle*>(handle)->pending : gFailedCreation;
}

template <class... Arguments>
void record(void* handle, const char* entry, const Arguments&... arguments) {
    std::ostringstream line;
    line << (handle ? static_cast<Handle*>(handle)->number : 0) << ' ' << entry;
    ((line << ' ' << arguments), ...);
    const std::lock_guard lock(gMutex);
    gCalls += line.str() + '\n';
}

// Of a type that goes with the library.
struct OwnError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What no library may do.
void throwIfWanted(const char* entry) {
    if (isAmong(entry, setting("throws"))) throw 42;
#ifdef TEST_THROWS_IN
    if (std::string(entry) == TEST_THROWS_IN) throw OwnError("an error of the library's own type");
#endif
}

void crashIfWanted([[maybe_unused]] const char* entry) {
#ifdef TEST_CRASHES_IN
    if (std::string(entry) == TEST_CRASHES_IN) asm volatile("movl $1, (%0)" : : "r"(nullptr) : "memory");
#endif
}

// Records the call; false, with an exception pending, when the test wants it to fail.
template <class... Arguments>
bool succeeds(void* handle, const char* entry, const Arguments&... arguments) {
    record(handle, entry, arguments...);
    throwIfWanted(entry);
    crashIfWanted(entry);
    if (!isAmong(entry, setting("fails"))) return true;
    pendingOf(handle) = setting("text", std::string(entry) + " failed");
    return false;
}

// A zero is shown as "0".
std::string shown(const void* bytes, uint64_t size) {
    if (!bytes) return "null:" + std::to_string(size);
    std::string text(static_cast<const char*>(bytes), size);
    std::replace(text.begin(), text.end(), '\0', '0');
    return "[" + text + "]";
}

// Length told for a text: its own, or the one that the test has set for all.
uint64_t toldLength(const std::string& text) {
    const std::string told = setting("length");
    return told.empty() ? text.size() : static_cast<uint64_t>(std::stoll(told));
}

int toldNumber(size_t number) {
    const std::string told = setting("number");
    return told.empty() ? static_cast<int>(number) : std::stoi(told);
}

void copyTo(char* buffer, const std::string& text) {
    std::copy(text.begin(), text.end(), buffer);
}

// Waits while the test wants creations of that network to last.
void waitWhileHeld(const std::string& identifier) {
    std::unique_lock lock(gMutex);
    gChanged.wait(lock, [&] { return !isAmong(identifier, gSettings["held"]); });
}

std::vector<std::string> engines() {
    return split(setting("engines", "OpenVINO,Other"), ',');
}

std::vector<std::string> properties() {
    return split(setting("properties", "CACHE_DIR=std::filesystem::path,HINT=std::string,COUNT=int"), ',');
}

std::vector<uint64_t> dimsOf(const std::string& layer) {
    std::vector<uint64_t> dims;
    for (const std::string& dim : split(setting("dims " + layer, "1x4x2x3"), 'x')) dims.push_back(std::stoull(dim));
    return dims;
}

std::string narrow(const wchar_t* text) {
    std::string characters;
    for (; *text; ++text) characters += *text < 0x80 ? static_cast<char>(*text) : '?';
    return characters;
}

void stopLogging(Handle& handle) {
    handle.logs = false;
    if (handle.logger.joinable()) handle.logger.join();
}

}  // namespace

extern "C" {

// ---- for the tests ----

XNN_API void xnnTestSet(const char* key, const char* value) {
    const std::lock_guard lock(gMutex);
    gSettings[key] = value;
    gChanged.notify_all();
}

XNN_API void xnnTestReset() {
    const std::lock_guard lock(gMutex);
    gSettings.clear();
    gChanged.notify_all();
    gCalls.clear();
    gFailedCreation.clear();
    gCreations = 0;
}

XNN_API void xnnTestCalls(void* out, void (*take)(void* out, const char* calls)) {
    const std::lock_guard lock(gMutex);
    take(out, gCalls.c_str());
    gCalls.clear();
}

// ---- entries that are called ----

XNN_API void* xnnCreateWithLibraryLoader(XnnLibraryLoader first, XnnLibraryLoader second) {
    const int number = ++gCreations;
    const bool done = succeeds(nullptr, "xnnCreateWithLibraryLoader");
    if (first) first(L"first");
    if (second) second(L"second");
    if (isAmong(std::to_string(number), setting("null creations"))) return nullptr;
    auto* const handle = new Handle{.number = number, .pending = {}, .data = {}, .logger = {}};
    if (!done) handle->pending.swap(gFailedCreation);
    return handle;
}

XNN_API void xnnDestory(void* handle) {
    record(handle, "xnnDestory");
    auto* const created = static_cast<Handle*>(handle);
    while (isAmong(std::to_string(created->number), setting("waiting ends")))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    stopLogging(*created);
    delete created;
    throwIfWanted("xnnDestory");
}

XNN_API void xnnSelfVersion(void* handle, uint64_t* length, char* text) {
    if (!succeeds(handle, "xnnSelfVersion")) return;
    const std::string version = setting("version", TEST_VERSION);
    if (!text) *length = toldLength(version);
    if (!length) copyTo(text, version);
}

XNN_API bool xnnHasException(void* handle) {
    throwIfWanted("xnnHasException");
    return !pendingOf(handle).empty();
}

XNN_API void xnnGetExceptionStringLength(void* handle, uint64_t* length) {
    record(handle, "xnnGetExceptionStringLength");
    *length = toldLength(pendingOf(handle));
}

XNN_API void xnnGetExceptionString(void* handle, char* text) {
    record(handle, "xnnGetExceptionString");
    copyTo(text, pendingOf(handle));
}

XNN_API void xnnResetExceptionString(void* handle) {
    record(handle, "xnnResetExceptionString");
    pendingOf(handle).clear();
}

XNN_API int xnnGetSupportEngineNumber(void* handle) {
    return succeeds(handle, "xnnGetSupportEngineNumber") ? toldNumber(engines().size()) : 0;
}

XNN_API int xnnGetSupportEngineLength(void* handle, int index) {
    if (!succeeds(handle, "xnnGetSupportEngineLength", index)) return 0;
    return static_cast<int>(toldLength(engines().at(static_cast<size_t>(index))));
}

XNN_API void xnnGetSupportEngine(void* handle, int index, char* name) {
    if (!succeeds(handle, "xnnGetSupportEngine", index)) return;
    if (setting("length").empty()) copyTo(name, engines().at(static_cast<size_t>(index)));
}

XNN_API void xnnGetEngineMutableProperties(void* handle, int* count, int index, int* nameLength, char* name,
                                           int* typeLength, char* type, const char* engine) {
    const std::string what = index < 0 ? "count" : name ? "texts" : "lengths";
    const bool fails = isAmong(what, setting("failing properties"));
    if (fails) xnnTestSet("fails", "xnnGetEngineMutableProperties");
    if (!succeeds(handle, "xnnGetEngineMutableProperties", index, what, engine)) return;
    if (index < 0) {
        *count = toldNumber(properties().size());
        return;
    }
    const std::string property = properties().at(static_cast<size_t>(index));
    const size_t middle = property.find('=');
    if (name) {
        copyTo(name, property.substr(0, middle));
        copyTo(type, property.substr(middle + 1));
    } else {
        *nameLength = static_cast<int>(middle);
        *typeLength = static_cast<int>(property.size() - middle - 1);
    }
}

XNN_API void xnnSetEnginePropertyForNetwork(void* handle, const char* engine, const char* identifier, const char* name,
                                            const char* type, const void* value) {
    const bool isPath = std::strcmp(type, "std::filesystem::path") == 0;
    succeeds(handle, "xnnSetEnginePropertyForNetwork", engine, identifier, name, type,
             isPath ? narrow(static_cast<const wchar_t*>(value)) : static_cast<const char*>(value));
}

XNN_API void xnnCreateNetByBuffers(void* handle, const char* engine, const char* identifier, const char* device,
                                   const void* first, uint64_t firstSize, const void* second, uint64_t secondSize) {
    succeeds(handle, "xnnCreateNetByBuffers", engine, identifier, device, shown(first, firstSize),
             shown(second, secondSize));
    waitWhileHeld(identifier);
}

XNN_API void xnnGetLayerDims(void* handle, const char* layer, uint64_t* dims, uint64_t* count) {
    const std::string what = dims ? "dims" : "count";
    if (isAmong(what, setting("failing dims"))) xnnTestSet("fails", "xnnGetLayerDims");
    if (!succeeds(handle, "xnnGetLayerDims", layer, what)) return;
    if (dims) {
        const std::vector<uint64_t> all = dimsOf(layer);
        std::copy(all.begin(), all.end(), dims);
    } else {
        *count = static_cast<uint64_t>(toldNumber(dimsOf(layer).size()));
    }
}

XNN_API void xnnSetLayerData(void* handle, const char* layer, const float* data, const uint64_t* dims, uint64_t count) {
    std::ostringstream shape;
    uint64_t size = 1;
    for (uint64_t i = 0; i < count; ++i) {
        shape << (i ? "x" : "") << dims[i];
        size *= dims[i];
    }
    if (!succeeds(handle, "xnnSetLayerData", layer, shape.str())) return;
    std::vector<float>& all = static_cast<Handle*>(handle)->data;
    all.assign(data, data + size);
    all.resize(std::max<uint64_t>(size, kLongestOutput));
}

XNN_API float* xnnGetLayerData(void* handle, const char* layer) {
    if (!succeeds(handle, "xnnGetLayerData", layer)) return nullptr;
    return static_cast<Handle*>(handle)->data.data();
}

XNN_API void xnnInfer(void* handle) {
    if (!succeeds(handle, "xnnInfer")) return;
    auto* const created = static_cast<Handle*>(handle);
    for (float& value : created->data) value *= 2;
    if (created->log) created->log("inferred");
}

#ifndef WITHOUT_xnnSetLogCallback
XNN_API void xnnSetLogCallback(void* handle, XnnLogCallback callback) {
    if (!succeeds(handle, "xnnSetLogCallback", callback ? "callback" : "null")) return;
    auto* const created = static_cast<Handle*>(handle);
    stopLogging(*created);
    created->log = callback;
    if (!callback) return;
    if (!setting("null line").empty()) callback(nullptr);
    if (setting("logs").empty()) return;
    created->logs = true;
    created->logger = std::thread([created] {
        for (int i = 0; created->logs; ++i) created->log(("line " + std::to_string(i)).c_str());
    });
}
#endif

}  // extern "C"
