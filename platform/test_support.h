#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/include/process.h"

// What the tests of several folders share: folders of their own and children that are run to their end.
namespace platform::test {

// Removes a folder and all that it holds, as far as that can be. What the standard library has for it never ends on
// Windows when another process takes a file away meanwhile.
void removeFolder(const std::filesystem::path& folder);

// A fresh empty folder, removed with its contents.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    // The path of `name` in it, UTF-8, in the system's separators. "" gives the folder.
    std::string path(const std::string& name = "") const;
    // The same, after the file has been made with that content and the folders above it.
    std::string write(const std::string& name, const std::string& content) const;

  private:
    std::filesystem::path root_;
};

// The variables that make `folder` a child's temporary folder, on both systems.
std::vector<std::pair<std::string, std::string>> temporaryFolderIn(const std::string& folder);

std::string readFile(const std::string& path);

// A program that the build has put beside the running one.
std::string siblingProgram(const std::string& name);

// What a child left behind; its line ends are '\n' on both systems.
struct Outcome {
    int exitCode = -1;
    std::string output;
    std::string error;
};

// Runs platform_test_child to its end; fails the test when it cannot be started or does not end.
Outcome runTestChild(const std::vector<std::string>& arguments, ProcessOptions options = {});
Outcome runToEnd(const std::string& program, const std::vector<std::string>& arguments, ProcessOptions options = {});

// The exit code of a process that the failure ended: by the signal on Linux, with the code on Windows.
int failureExit(int signal, uint32_t code);

inline bool onWindows() {
#ifdef _WIN32
    return true;
#else
    return false;
#endif
}

// Runs handlers with every signal blocked, and needs stack of its own in them.
inline bool underThreadSanitizer() {
#if defined(__SANITIZE_THREAD__)
    return true;
#elif defined(__has_feature)
    return __has_feature(thread_sanitizer);
#else
    return false;
#endif
}

// Like the other one, it has a heap of its own, and answers itself for one that is broken.
inline bool underAddressSanitizer() {
#if defined(__SANITIZE_ADDRESS__)
    return true;
#elif defined(__has_feature)
    return __has_feature(address_sanitizer);
#else
    return false;
#endif
}

}  // namespace platform::test
