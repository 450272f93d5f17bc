#include "platform/include/module.h"

#include <dlfcn.h>
#include <link.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <vector>

#include "platform/posix/needed_libraries.h"
#include "platform/replaceable.h"

namespace platform {

namespace {

constexpr uint32_t kLoadFailed = 126;
constexpr uint32_t kSymbolMissing = 127;

thread_local uint32_t gLastError = 0;

std::string directoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

// Libraries opened ahead of the one that needs them: the loader takes a library that is already open by its name before
// it looks into any directory.
class OpenDependencies {
  public:
    explicit OpenDependencies(const std::string& path) : directory_(directoryOf(path)) { openNeededBy(path); }
    ~OpenDependencies() {
        for (void* library : libraries_) dlclose(library);
    }
    OpenDependencies(const OpenDependencies&) = delete;
    OpenDependencies& operator=(const OpenDependencies&) = delete;

  private:
    void openNeededBy(const std::string& path) {
        for (const std::string& name : neededLibraries(path)) {
            const std::string beside = directory_ + '/' + name;
            if (name.find('/') != std::string::npos || !seen_.insert(name).second ||
                access(beside.c_str(), F_OK) != 0) {
                continue;
            }
            openNeededBy(beside);
            if (void* library = dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL)) libraries_.push_back(library);
        }
    }

    std::string directory_;
    std::set<std::string> seen_;
    std::vector<void*> libraries_;
};

void* open(const std::string& path) {
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

}  // namespace

std::string executablePath() {
    std::string path(256, '\0');
    for (;;) {
        const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
        if (length < 0) return "";
        if (static_cast<size_t>(length) < path.size()) return path.substr(0, static_cast<size_t>(length));
        path.resize(path.size() * 2);
    }
}

std::string systemExecutableDirectory() {
    return directoryOf(executablePath());
}

std::string modulePathOf(const void* address) {
    Dl_info info;
    link_map* module = nullptr;
    if (!dladdr1(address, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) || !module) return "";
    // The program itself has no name in the loader's list.
    if (module->l_name[0] == '\0') return executablePath();
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(module->l_name, error);
    return error ? module->l_name : absolute.lexically_normal().string();
}

char pathSeparator() {
    return '/';
}

std::string libraryFileName(const std::string& toldName) {
    constexpr char kExtension[] = ".dll";
    constexpr size_t kExtensionLength = sizeof kExtension - 1;
    const size_t nameAt = toldName.rfind('/') + 1;  // 0 when there is no slash
    const std::string name = toldName.substr(nameAt);
    if (name.size() <= kExtensionLength) return toldName;
    const std::string stem = name.substr(0, name.size() - kExtensionLength);
    if (strcasecmp(name.c_str() + stem.size(), kExtension) != 0) return toldName;
    const char* prefix = stem.compare(0, 3, "lib") == 0 ? "" : "lib";
    return toldName.substr(0, nameAt) + prefix + stem + ".so";
}

void addLibraryDirectory(const std::string&) {}

Library loadLibrary(const std::string& path, bool dependenciesBeside) {
    Library library = nullptr;
    // An empty path would give the program itself.
    if (dependenciesBeside && path.find('/') != std::string::npos) {
        const OpenDependencies dependencies(path);
        library = open(path);
    } else if (!path.empty()) {
        library = open(path);
    }
    if (!library) gLastError = kLoadFailed;
    return library;
}

void freeLibrary(Library library) {
    if (library) dlclose(library);
}

void* findSymbol(Library library, const char* name) {
    void* symbol = library ? dlsym(library, name) : nullptr;
    if (!symbol) gLastError = kSymbolMissing;
    return symbol;
}

uint32_t lastLibraryError() {
    return gLastError;
}

}  // namespace platform
