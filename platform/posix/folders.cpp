#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "platform/replaceable.h"

namespace platform {

namespace {

constexpr size_t kLongestTemporary = 259;

[[noreturn]] void raise(const char* operation, const std::string& path) {
    throw std::filesystem::filesystem_error(operation, path, std::error_code(errno, std::generic_category()));
}

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

std::string homeOfAccount() {
    std::vector<char> buffer(16384);
    passwd entry;
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found || !found->pw_dir) return "";
    return found->pw_dir;
}

bool isMissing(int error) {
    return error == ENOENT || error == ENOTDIR;
}

bool belongsToOthers(const struct stat& status) {
    return status.st_uid != geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

class SystemFolders : public Folders {
  public:
    std::string temporary() override {
        const char* told = std::getenv("TMPDIR");
        std::string path = told && *told ? told : "/tmp/";
        if (path.back() != '/') path += '/';
        return path.size() > kLongestTemporary ? "" : path;
    }

    std::string localData() override {
        // Only an absolute path counts, as with every program that reads this variable.
        const char* cache = std::getenv("XDG_CACHE_HOME");
        if (cache && *cache == '/') return withoutTrailingSlashes(cache);
        const char* told = std::getenv("HOME");
        const std::string home = told && *told ? told : homeOfAccount();
        if (home.empty()) return "";
        return withoutTrailingSlashes(home) + "/.cache";
    }

    PathKind kindOf(const std::string& path) override {
        struct stat status;
        if (lstat(path.c_str(), &status) != 0) {
            if (isMissing(errno)) return PathKind::kMissing;
            raise("exists", path);
        }
        if (S_ISLNK(status.st_mode)) {
            const bool foreignLink = status.st_uid != geteuid();
            if (stat(path.c_str(), &status) != 0) {
                if (isMissing(errno)) return PathKind::kMissing;
                raise("status", path);
            }
            // In a folder that all may write to, somebody else's link would choose our directory.
            if (foreignLink && S_ISDIR(status.st_mode)) return PathKind::kForeignDirectory;
        }
        if (!S_ISDIR(status.st_mode)) return PathKind::kFile;
        return belongsToOthers(status) ? PathKind::kForeignDirectory : PathKind::kDirectory;
    }
};

}  // namespace

Folders& systemFolders() {
    static SystemFolders system;
    return system;
}

}  // namespace platform
