#include "platform/test_support.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <sstream>

#include "platform/include/kernel_objects.h"
#include "platform/include/module.h"
#include "platform/include/thread.h"

namespace platform::test {

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kLongestRunMs = 60000;

std::string utf8(const fs::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

fs::path pathOf(const std::string& utf8Text) {
    return fs::path(std::u8string(utf8Text.begin(), utf8Text.end()));
}

std::string withoutReturns(std::string text) {
    std::erase(text, '\r');
    return text;
}

}  // namespace

void removeFolder(const fs::path& folder) {
    std::error_code error;
    std::vector<fs::path> entries;
    if (fs::is_directory(fs::symlink_status(folder, error))) {
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
            entries.push_back(entry->path());
    }
    for (const fs::path& entry : entries) removeFolder(entry);
    fs::remove(folder, error);
}

TemporaryFolder::TemporaryFolder() {
    static std::atomic<int> count{0};
    root_ = fs::temp_directory_path() /
            ("zelplatform-" + std::to_string(currentProcessId()) + "-" + std::to_string(++count));
    fs::create_directories(root_);
}

TemporaryFolder::~TemporaryFolder() {
    removeFolder(root_);
}

std::string TemporaryFolder::path(const std::string& name) const {
    return name.empty() ? utf8(root_) : utf8((root_ / pathOf(name)).make_preferred());
}

std::string TemporaryFolder::write(const std::string& name, const std::string& content) const {
    const fs::path file = pathOf(path(name));
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return path(name);
}

std::vector<std::pair<std::string, std::string>> temporaryFolderIn(const std::string& folder) {
    return {{"TMPDIR", folder}, {"TMP", folder}, {"TEMP", folder}};
}

std::string readFile(const std::string& path) {
    std::ifstream file(pathOf(path), std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

std::string siblingProgram(const std::string& name) {
    return executableDirectory() + pathSeparator() + name + (onWindows() ? ".exe" : "");
}

Outcome runTestChild(const std::vector<std::string>& arguments, ProcessOptions options) {
    return runToEnd(siblingProgram("platform_test_child"), arguments, std::move(options));
}

Outcome runToEnd(const std::string& program, const std::vector<std::string>& arguments, ProcessOptions options) {
    const TemporaryFolder folder;
    if (options.standardOutput.empty()) options.standardOutput = folder.path("output");
    if (options.standardError.empty()) options.standardError = folder.path("error");
    std::string reason;
    const std::unique_ptr<Process> child = startProcess(program, arguments, options, &reason);
    Outcome outcome;
    if (!child) {
        ADD_FAILURE() << reason;
        return outcome;
    }
    if (!child->waitForExit(kLongestRunMs)) {
        ADD_FAILURE() << program << " did not end";
        child->kill();
        child->waitForExit(kInfinite);
    }
    outcome.exitCode = child->exitCode();
    outcome.output = withoutReturns(readFile(options.standardOutput));
    outcome.error = withoutReturns(readFile(options.standardError));
    return outcome;
}

int failureExit(int signal, uint32_t code) {
    return onWindows() ? static_cast<int>(code) : 128 + signal;
}

}  // namespace platform::test
