#include "client/src/ClientFixture.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "ipc/crash_file_names.h"
#include "platform/include/clock.h"
#include "platform/include/folders.h"
#include "platform/include/module.h"
#include "platform/include/thread.h"

namespace fs = std::filesystem;

ClientFixture::ClientFixture() : mProgram(platform::executableDirectory() + platform::pathSeparator() + ZEL_FAKE_HOST) {
    zelclient_options_init(&options);
    options.host_program = mProgram.c_str();
    options.user = this;
    options.on_state = [](void* user, zelclient_state state) {
        auto* self = static_cast<ClientFixture*>(user);
        std::lock_guard lock(self->mutex);
        self->states.push_back(state);
        self->mChanged.notify_all();
    };
    options.on_log = [](void* user, uint32_t, const char* text, size_t length) {
        auto* self = static_cast<ClientFixture*>(user);
        std::lock_guard lock(self->mutex);
        self->log.emplace_back(text, length);
        self->mChanged.notify_all();
    };
    misbehave("");
}

ClientFixture::~ClientFixture() {
    stop();
    if (!mOncePath.empty()) fs::remove(mOncePath);
    for (const std::string& file : crashFiles()) fs::remove(file);
}

void ClientFixture::misbehave(const std::string& words, bool once) {
    mEnvironment = {"ZELFAKE=" + words, "ZELFAKE_OWN=told"};
    if (once) {
        mOncePath = (fs::temp_directory_path() / ("zelclient_once_" + std::to_string(platform::currentProcessId()) +
                                                  "_" + std::to_string(platform::monotonicMicroseconds())))
                        .string();
        mEnvironment.push_back("ZELFAKE_ONCE=" + mOncePath);
    }
    mEnvironmentPointers.clear();
    for (const std::string& entry : mEnvironment) mEnvironmentPointers.push_back(entry.c_str());
    mEnvironmentPointers.push_back(nullptr);
    options.environment = mEnvironmentPointers.data();
}

void ClientFixture::collectResults() {
    options.on_result = [](void* user, const zelclient_result* result) {
        auto* self = static_cast<ClientFixture*>(user);
        std::lock_guard lock(self->mutex);
        self->results.push_back(copyOf(*result));
        self->mChanged.notify_all();
    };
}

void ClientFixture::start() {
    char why[512];
    ASSERT_EQ(zelclient_start(&options, &client, why, sizeof why), ZELCLIENT_OK) << why;
}

void ClientFixture::stop() {
    zelclient_stop(client);
    client = nullptr;
}

ClientFixture::Collected ClientFixture::copyOf(const zelclient_result& result) {
    const size_t bytes = result.mask ? size_t{result.width} * result.height : 0;
    return {result.tag,
            result.status,
            {result.mask, result.mask + bytes},
            {result.boxes, result.boxes + result.box_count},
            result.ladon != nullptr};
}

zelclient_error ClientFixture::submit(uint64_t tag, uint8_t shade, uint32_t width, uint32_t height,
                                      zelclient_kind kind) {
    const std::vector<uint8_t> pixels(size_t{3} * width * height, shade);
    const zelclient_frame frame = {width, height, 0, pixels.data(), tag, kind};
    return zelclient_submit(client, &frame);
}

ClientFixture::Collected ClientFixture::next() {
    zelclient_result result{};
    const zelclient_error error = zelclient_wait(client, kDeadlineMs, &result);
    EXPECT_EQ(error, ZELCLIENT_OK) << zelclient_error_name(error) << ": " << lastError();
    if (error != ZELCLIENT_OK) return {0, ZELCLIENT_FRAME_FAILED, {}};
    return copyOf(result);
}

ClientFixture::Collected ClientFixture::roundTrip(uint64_t tag, uint8_t shade) {
    EXPECT_EQ(submit(tag, shade), ZELCLIENT_OK);
    return next();
}

zelclient_info ClientFixture::info() const {
    zelclient_info info;
    zelclient_get_info(client, &info);
    return info;
}

std::string ClientFixture::lastError() const {
    char text[1024];
    zelclient_last_error(client, text, sizeof text);
    return text;
}

bool ClientFixture::waitFor(const std::function<bool()>& condition) {
    std::unique_lock lock(mutex);
    return mChanged.wait_for(lock, std::chrono::milliseconds(kDeadlineMs), condition);
}

bool ClientFixture::waitForLine(const std::string& line) {
    return waitFor([&] { return std::find(log.begin(), log.end(), line) != log.end(); });
}

bool ClientFixture::waitForLines(const std::string& begin, size_t count) {
    const auto begins = [&begin](const std::string& line) { return line.rfind(begin, 0) == 0; };
    return waitFor([&] { return static_cast<size_t>(std::count_if(log.begin(), log.end(), begins)) >= count; });
}

bool ClientFixture::waitForState(zelclient_state state) {
    return waitFor([&] { return !states.empty() && states.back() == state; });
}

std::vector<std::string> ClientFixture::lines(const std::string& begin) {
    std::lock_guard lock(mutex);
    std::vector<std::string> found;
    for (const std::string& line : log) {
        if (line.rfind(begin, 0) == 0) found.push_back(line);
    }
    return found;
}

std::vector<std::string> ClientFixture::leftovers() {
    std::vector<std::string> names;
    std::error_code missing;
    const std::string own = "zelhost" + std::to_string(platform::currentProcessId()) + "_";
    for (const auto& entry : fs::directory_iterator("/dev/shm", missing)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind(own, 0) == 0) names.push_back(name);
    }
    return names;
}

std::vector<std::string> ClientFixture::crashFiles() {
    const std::string folder = platform::folders().temporary();
    const std::string own = std::to_string(platform::currentProcessId());
    std::vector<std::string> paths;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        const auto read = ipc::parseCrashFileName(name);
        if (read && read->pid == own) paths.push_back(folder + name);
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}
