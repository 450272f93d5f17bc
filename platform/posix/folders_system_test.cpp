#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "platform/include/folders.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

// Sets a variable, or takes it away with null, and puts back what was there.
class ScopedVariable {
  public:
    ScopedVariable(const char* name, const char* value) : name_(name), had_(std::getenv(name) != nullptr) {
        if (had_) before_ = std::getenv(name);
        apply(value);
    }
    ~ScopedVariable() { apply(had_ ? before_.c_str() : nullptr); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

  private:
    void apply(const char* value) { value ? setenv(name_, value, 1) : unsetenv(name_); }

    const char* name_;
    bool had_;
    std::string before_;
};

std::string operationOf(const std::string& path) {
    try {
        folders().kindOf(path);
    } catch (const std::filesystem::filesystem_error& error) {
        EXPECT_EQ(error.path1(), path);
        const std::string text = error.what();
        if (text.find("exists") != std::string::npos) return "exists";
        if (text.find("status") != std::string::npos) return "status";
    }
    return "";
}

}  // namespace

TEST(LinuxFoldersTest, TemporaryFolderIsTheVariablesWithOneSlash) {
    const ScopedVariable variable("TMPDIR", "/somewhere");
    EXPECT_EQ(folders().temporary(), "/somewhere/");
    const ScopedVariable slashed("TMPDIR", "/somewhere/");
    EXPECT_EQ(folders().temporary(), "/somewhere/");
}

TEST(LinuxFoldersTest, TemporaryFolderWithoutTheVariableIsTmp) {
    const ScopedVariable unset("TMPDIR", nullptr);
    EXPECT_EQ(folders().temporary(), "/tmp/");
    const ScopedVariable empty("TMPDIR", "");
    EXPECT_EQ(folders().temporary(), "/tmp/");
}

TEST(LinuxFoldersTest, TemporaryFolderOf260CharactersIsRefused) {
    const std::string longest = "/" + std::string(257, 'x');
    const ScopedVariable fits("TMPDIR", longest.c_str());
    EXPECT_EQ(folders().temporary(), longest + "/");
    const ScopedVariable tooLong("TMPDIR", (longest + "x").c_str());
    EXPECT_EQ(folders().temporary(), "");
}

TEST(LinuxFoldersTest, LocalDataIsTheCacheFolder) {
    const ScopedVariable cache("XDG_CACHE_HOME", "/caches/");
    EXPECT_EQ(folders().localData(), "/caches");
}

TEST(LinuxFoldersTest, LocalDataWithoutAnAbsoluteCacheFolderLiesInTheHomeFolder) {
    const ScopedVariable home("HOME", "/home/someone");
    for (const char* cache : {static_cast<const char*>(nullptr), "", "relative/caches"}) {
        const ScopedVariable variable("XDG_CACHE_HOME", cache);
        EXPECT_EQ(folders().localData(), "/home/someone/.cache");
    }
}

TEST(LinuxFoldersTest, LocalDataWithoutAHomeVariableLiesInTheAccountsHomeFolder) {
    const ScopedVariable cache("XDG_CACHE_HOME", nullptr);
    const ScopedVariable home("HOME", nullptr);
    const std::string path = folders().localData();
    EXPECT_EQ(path.rfind("/.cache"), path.size() - 7) << path;
    EXPECT_EQ(path[0], '/');
}

TEST(LinuxFoldersTest, DirectoryThatOthersMayWriteIsForeign) {
    const TemporaryFolder folder;
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    EXPECT_EQ(folders().kindOf(folder.path()), PathKind::kDirectory);
    for (const mode_t mode : {0775, 0757, 01777}) {
        ASSERT_EQ(chmod(folder.path().c_str(), mode), 0);
        EXPECT_EQ(folders().kindOf(folder.path()), PathKind::kForeignDirectory);
    }
}

TEST(LinuxFoldersTest, DirectoryOfAnotherUserIsForeign) {
    const TemporaryFolder folder;
    if (chown(folder.path().c_str(), 65534, 65534) != 0) GTEST_SKIP() << "only root can give a directory away";
    EXPECT_EQ(folders().kindOf(folder.path()), PathKind::kForeignDirectory);
}

TEST(LinuxFoldersTest, LinkIsWhatItLeadsToUnlessSomebodyElseMadeIt) {
    const TemporaryFolder folder;
    const std::string target = folder.path("target");
    const std::string link = folder.path("link");
    std::filesystem::create_directory(target);
    std::filesystem::create_directory_symlink(target, link);
    EXPECT_EQ(folders().kindOf(link), PathKind::kDirectory);
    if (lchown(link.c_str(), 65534, 65534) == 0) {
        EXPECT_EQ(folders().kindOf(link), PathKind::kForeignDirectory);
    }
    std::filesystem::remove(target);
    EXPECT_EQ(folders().kindOf(link), PathKind::kMissing);
}

TEST(LinuxFoldersTest, QueryThatFailsOtherwiseRaisesAnErrorWithItsOperation) {
    const TemporaryFolder folder;
    EXPECT_EQ(operationOf(folder.path(std::string(300, 'x'))), "exists");
    std::filesystem::create_symlink("loop", folder.path("loop"));
    EXPECT_EQ(operationOf(folder.path("loop")), "status");
}

TEST(LinuxFoldersTest, PathBelowAFileIsMissing) {
    const TemporaryFolder folder;
    EXPECT_EQ(folders().kindOf(folder.write("file", "") + "/below"), PathKind::kMissing);
}

}  // namespace platform::test
