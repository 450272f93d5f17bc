#include "client/tool/PrivateFolder.h"

#include <cstdio>
#include <random>
#include <system_error>
#include <vector>

#include "client/tool/Failure.h"
#include "client/tool/file_paths.h"
#include "platform/include/clock.h"

namespace fs = std::filesystem;

namespace zeltool {

namespace {

constexpr int kAttempts = 100;

std::string unguessableName() {
    std::random_device random;
    char name[64];
    std::snprintf(name, sizeof name, "zelclient_%08x%08x", random(), random());
    return name;
}

[[noreturn]] void fail(const fs::path& folder, const std::string& why) {
    throw Failure{kOutput, "cannot make a folder in the temporary folder " + utf8Of(folder) + ": " + why};
}

// False when others put something in before.
bool closeToOthers(const fs::path& folder) {
    std::error_code failure;
    fs::permissions(folder, fs::perms::owner_all, failure);
    return !failure && fs::is_empty(folder, failure) && !failure;
}

// On Windows a file stays until the system has cleared away the last process that had it open.
bool tryToRemove(const fs::path& folder) {
    std::error_code failure;
    std::vector<fs::path> files;
    for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end; entry.increment(failure))
        files.push_back(entry->path());
    for (const fs::path& file : files) fs::remove(file, failure);
    return fs::remove(folder, failure) || !fs::exists(folder, failure);
}

}  // namespace

PrivateFolder::PrivateFolder() {
    std::error_code failure;
    const fs::path temporary = fs::temp_directory_path(failure);
    if (failure) throw Failure{kOutput, "there is no temporary folder: " + failure.message()};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const fs::path folder = temporary / unguessableName();
        const bool made = fs::create_directory(folder, failure);
        if (failure) fail(temporary, failure.message());
        if (!made) continue;
        mFolder = folder;
        if (closeToOthers(folder)) return;
        fs::remove(folder, failure);
        fail(temporary, "others write in it");
    }
    fail(temporary, "every name is taken");
}

PrivateFolder::~PrivateFolder() {
    for (int attempt = 0; attempt < kAttempts && !tryToRemove(mFolder); ++attempt) platform::sleepMilliseconds(10);
}

std::string PrivateFolder::path(const std::string& name) const {
    return utf8Of(mFolder / pathOf(name));
}

}  // namespace zeltool
