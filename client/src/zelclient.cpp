#include "client/include/zelclient.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <string>

#include "client/src/Client.h"
#include "ipc/channel.h"
#include "ipc/packet.h"

struct zelclient {
    explicit zelclient(client::Settings settings) : impl(std::move(settings)) {}
    client::Client impl;
};

namespace {

constexpr uint32_t kLastModelType = 10;
constexpr uint32_t kRefusedModelType = 4;
constexpr uint32_t kMostFramesInFlight = 8;
constexpr uint32_t kFacesWidth = 160;
constexpr uint32_t kFacesHeight = 90;
constexpr uint32_t kLargestContent = 512;

// What the networks tell by an index alone.
constexpr const char* kGestures[ZELCLIENT_GESTURES] = {"open palm", "fist",  "thumb up", "thumb down", "pointing",
                                                       "victory",   "three", "OK",       "horns"};

// No exception leaves the library.
template <class Body>
zelclient_error guarded(Body body) {
    try {
        return body();
    } catch (const std::exception&) {
        return ZELCLIENT_ERROR_MEMORY;
    }
}

size_t copyText(const std::string& from, char* to, size_t size) {
    if (!to || size == 0) return 0;
    const size_t length = from.copy(to, size - 1);
    to[length] = '\0';
    return length;
}

bool knowsModel(uint32_t type, uint32_t capacity) {
    return type <= kLastModelType && type != kRefusedModelType && capacity <= 1;
}

std::string orEmpty(const char* text) {
    return text ? text : "";
}

void setVariable(client::HostSettings& host, const std::string& name, const std::string& value) {
    std::erase_if(host.environment, [&name](const auto& variable) { return variable.first == name; });
    host.environment.emplace_back(name, value);
}

// The environment for the host; false when a text is no "NAME=value".
bool readEnvironment(const zelclient_options& options, client::HostSettings& host) {
    if (options.trace_level != ZELCLIENT_TRACE_INHERIT)
        setVariable(host, "ZELHOST_TRACE", std::to_string(options.trace_level));
    for (const char* const* entry = options.environment; entry && *entry; ++entry) {
        const std::string text = *entry;
        const size_t equals = text.find('=');
        if (equals == 0 || equals == std::string::npos) return false;
        setVariable(host, text.substr(0, equals), text.substr(equals + 1));
    }
    return true;
}

// In full: the host may look from somewhere else.
std::string pluginDirectory(const zelclient_options& options) {
    namespace fs = std::filesystem;
    const std::string told = options.plugin_directory ? options.plugin_directory : options.host_program;
    std::error_code error;
    const fs::path path = fs::absolute(fs::path(std::u8string(told.begin(), told.end())), error);
    const std::u8string folder = (options.plugin_directory ? path : path.parent_path()).u8string();
    return {folder.begin(), folder.end()};
}

// "" when the options are good, else what is wrong with them.
std::string readOptions(const zelclient_options* options, client::Settings& settings) {
    if (!options || options->struct_size != sizeof(zelclient_options))
        return "options were not set up by zelclient_options_init of this version";
    if (!options->host_program || !*options->host_program) return "host_program is missing";
    if (!knowsModel(options->model_type, options->capacity))
        return "there is no model type " + std::to_string(options->model_type) + " with capacity " +
               std::to_string(options->capacity);
    if (options->frames_in_flight < 1 || options->frames_in_flight > kMostFramesInFlight)
        return "frames_in_flight must be 1 to " + std::to_string(kMostFramesInFlight);
    if (options->auto_skip > 1) return "auto_skip must be 0 or 1";
    settings.host.program = options->host_program;
    settings.host.pluginDirectory = pluginDirectory(*options);
    if (settings.host.pluginDirectory.size() >= ipc::kTextBytes) {
        if (options->plugin_directory) return "plugin_directory is longer than 255 bytes";
        settings.host.pluginDirectory.clear();
    }
    settings.host.standardOutput = orEmpty(options->host_stdout);
    settings.host.standardError = orEmpty(options->host_stderr);
    if (!readEnvironment(*options, settings.host)) return "environment must hold \"NAME=value\" texts";
    settings.modelType = options->model_type;
    settings.capacity = options->capacity;
    settings.autoSkip = options->auto_skip != 0;
    settings.framesInFlight = options->frames_in_flight;
    settings.staleAfterMs = options->stale_after_ms;
    settings.hangTimeoutMs = options->hang_timeout_ms;
    settings.stopTimeoutMs = options->stop_timeout_ms;
    settings.restartsPerMinute = options->restarts_per_minute;
    settings.onResult = options->on_result;
    settings.onState = options->on_state;
    settings.onLog = options->on_log;
    settings.user = options->user;
    return "";
}

bool knowsKind(zelclient_kind kind) {
    return kind == ZELCLIENT_KIND_MODEL || kind == ZELCLIENT_KIND_FACES || kind == ZELCLIENT_KIND_CONTENT;
}

// "" when a frame of that kind may have that size, else what size it must have.
std::string wrongSize(const zelclient_frame& frame) {
    const uint32_t width = frame.width;
    const uint32_t height = frame.height;
    switch (frame.kind) {
        case ZELCLIENT_KIND_FACES:
            if (width == kFacesWidth && height == kFacesHeight) return "";
            return "a frame for faces is 160x90 pixels";
        case ZELCLIENT_KIND_CONTENT:
            if (width <= kLargestContent && height <= kLargestContent) return "";
            return "a frame for content is at most 512x512 pixels";
        case ZELCLIENT_KIND_MODEL:
            break;
    }
    if (uint64_t{width} * height <= ipc::kFrameBytes / 3) return "";
    return "a frame for the model has at most " + std::to_string(ipc::kFrameBytes / 3) + " pixels";
}

// The caller's frame; *why says what is wrong with it, "" when nothing is.
client::FrameView readFrame(const zelclient_frame* frame, std::string* why) {
    if (!frame || !frame->pixels || frame->width == 0 || frame->height == 0) {
        *why = "a frame without pixels";
        return {};
    }
    if (!knowsKind(frame->kind)) {
        *why = "there is no kind of frame " + std::to_string(static_cast<int>(frame->kind));
        return {};
    }
    const std::string wrong = wrongSize(*frame);
    if (!wrong.empty()) *why = wrong + ", not " + std::to_string(frame->width) + "x" + std::to_string(frame->height);
    constexpr ipc::FrameKind kKinds[] = {ipc::FrameKind::Model, ipc::FrameKind::Face, ipc::FrameKind::Content};
    client::FrameView view{kKinds[frame->kind], frame->width, frame->height, frame->stride, frame->pixels};
    if (view.stride == 0) view.stride = view.rowBytes();
    if (view.stride < view.rowBytes())
        *why = "a stride of " + std::to_string(view.stride) + " bytes for rows of " + std::to_string(view.rowBytes());
    return view;
}

zelclient_error nextResult(zelclient* client, uint32_t timeoutMs, zelclient_result* result) {
    if (!client || !result) return ZELCLIENT_ERROR_ARGUMENT;
    return guarded([&] { return client->impl.poll(timeoutMs, *result); });
}

}  // namespace

void zelclient_options_init(zelclient_options* options) {
    if (!options) return;
    const client::Settings defaults;
    *options = {};
    options->struct_size = sizeof *options;
    options->model_type = defaults.modelType;
    options->capacity = defaults.capacity;
    options->auto_skip = defaults.autoSkip;
    options->frames_in_flight = defaults.framesInFlight;
    options->stale_after_ms = defaults.staleAfterMs;
    options->hang_timeout_ms = defaults.hangTimeoutMs;
    options->stop_timeout_ms = defaults.stopTimeoutMs;
    options->restarts_per_minute = defaults.restartsPerMinute;
    options->trace_level = ZELCLIENT_TRACE_INHERIT;
}

zelclient_error zelclient_start(const zelclient_options* options, zelclient** client, char* error, size_t errorSize) {
    copyText("", error, errorSize);
    if (!client) return ZELCLIENT_ERROR_ARGUMENT;
    *client = nullptr;
    try {
        client::Settings settings;
        std::string why = readOptions(options, settings);
        if (!why.empty()) {
            copyText(why, error, errorSize);
            return ZELCLIENT_ERROR_ARGUMENT;
        }
        ipc::printOpenErrors(false);
        auto made = std::make_unique<zelclient>(std::move(settings));
        const zelclient_error result = made->impl.start(&why);
        copyText(why, error, errorSize);
        if (result == ZELCLIENT_OK) *client = made.release();
        return result;
    } catch (const std::exception& failure) {
        copyText(failure.what(), error, errorSize);
        return ZELCLIENT_ERROR_MEMORY;
    }
}

void zelclient_stop(zelclient* client) {
    delete client;
}

zelclient_error zelclient_choose_model(zelclient* client, uint32_t type, uint32_t capacity) {
    if (!client || !knowsModel(type, capacity)) return ZELCLIENT_ERROR_ARGUMENT;
    return guarded([&] { return client->impl.chooseModel(type, capacity); });
}

zelclient_error zelclient_set_auto_skip(zelclient* client, uint32_t on) {
    if (!client || on > 1) return ZELCLIENT_ERROR_ARGUMENT;
    return guarded([&] {
        client->impl.setAutoSkip(on != 0);
        return ZELCLIENT_OK;
    });
}

zelclient_error zelclient_wait_model(zelclient* client, uint32_t timeoutMs) {
    if (!client) return ZELCLIENT_ERROR_ARGUMENT;
    return guarded([&] { return client->impl.waitModel(timeoutMs); });
}

zelclient_error zelclient_submit(zelclient* client, const zelclient_frame* frame) {
    if (!client) return ZELCLIENT_ERROR_ARGUMENT;
    return guarded([&] {
        std::string why;
        const client::FrameView view = readFrame(frame, &why);
        if (why.empty()) return client->impl.submit(view, frame->tag);
        client->impl.refuse(why);
        return ZELCLIENT_ERROR_ARGUMENT;
    });
}

zelclient_error zelclient_poll(zelclient* client, zelclient_result* result) {
    return nextResult(client, 0, result);
}

zelclient_error zelclient_wait(zelclient* client, uint32_t timeoutMs, zelclient_result* result) {
    return nextResult(client, timeoutMs, result);
}

zelclient_state zelclient_get_state(zelclient* client) {
    return client ? client->impl.state() : ZELCLIENT_FAILED;
}

const char* zelclient_state_name(zelclient_state state) {
    switch (state) {
        case ZELCLIENT_STARTING:
            return "starting";
        case ZELCLIENT_WARMING:
            return "warming";
        case ZELCLIENT_READY:
            return "ready";
        case ZELCLIENT_STALE:
            return "stale";
        case ZELCLIENT_FAILED:
            return "failed";
    }
    return "unknown";
}

const char* zelclient_error_name(zelclient_error error) {
    switch (error) {
        case ZELCLIENT_OK:
            return "ok";
        case ZELCLIENT_ERROR_ARGUMENT:
            return "bad argument";
        case ZELCLIENT_ERROR_HOST:
            return "host not started";
        case ZELCLIENT_ERROR_CHANNELS:
            return "no shared memory";
        case ZELCLIENT_ERROR_FAILED:
            return "failed";
        case ZELCLIENT_ERROR_MEMORY:
            return "out of memory";
        case ZELCLIENT_TIMEOUT:
            return "time-out";
    }
    return "unknown";
}

const char* zelclient_gesture_name(int32_t gesture) {
    return gesture >= 0 && gesture < ZELCLIENT_GESTURES ? kGestures[gesture] : "none";
}

size_t zelclient_last_error(zelclient* client, char* text, size_t size) {
    copyText("", text, size);
    if (!client) return 0;
    try {
        return copyText(client->impl.lastError(), text, size);
    } catch (const std::exception&) {
        return 0;
    }
}

void zelclient_get_info(zelclient* client, zelclient_info* info) {
    if (!info) return;
    *info = {};
    if (client) client->impl.info(*info);
}

zelclient_error zelclient_network_size(uint32_t capacity, uint32_t* width, uint32_t* height) {
    if (capacity > 1 || !width || !height) return ZELCLIENT_ERROR_ARGUMENT;
    *width = capacity ? 640 : 256;
    *height = capacity ? 360 : 144;
    return ZELCLIENT_OK;
}

zelclient_error zelclient_frame_size(zelclient_kind kind, uint32_t capacity, uint32_t* width, uint32_t* height) {
    if (kind == ZELCLIENT_KIND_MODEL) return zelclient_network_size(capacity, width, height);
    if (!knowsKind(kind) || !width || !height) return ZELCLIENT_ERROR_ARGUMENT;
    const bool faces = kind == ZELCLIENT_KIND_FACES;
    *width = faces ? kFacesWidth : kLargestContent;
    *height = faces ? kFacesHeight : kLargestContent;
    return ZELCLIENT_OK;
}

const char* zelclient_version(void) {
    return ZELCLIENT_VERSION;
}
