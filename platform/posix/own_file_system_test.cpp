#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/include/own_file.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

constexpr uid_t kNobody = 65534;

// Root may read everything: it becomes somebody else for a while.
class AsNobody {
  public:
    AsNobody() : mUser(geteuid()) { EXPECT_EQ(mUser == 0 ? seteuid(kNobody) : 0, 0); }
    ~AsNobody() { EXPECT_EQ(seteuid(mUser), 0); }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

  private:
    const uid_t mUser;
};

void giveToNobodyIfRoot(const std::string& path) {
    if (geteuid() == 0) {
        EXPECT_EQ(chown(path.c_str(), kNobody, static_cast<gid_t>(-1)), 0);
    }
}

}  // namespace

TEST(LinuxOwnFileTest, LinksAndPipesDoNotCount) {
    const TemporaryFolder folder;
    folder.write("file", "text");
    ASSERT_EQ(symlink(folder.path("file").c_str(), folder.path("link").c_str()), 0);
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    for (const char* name : {"link", "pipe"}) {
        EXPECT_FALSE(ownFileTime(folder.path(name))) << name;
        EXPECT_FALSE(readOwnFile(folder.path(name), 100)) << name;
    }
}

TEST(LinuxOwnFileTest, FilesOfOthersDoNotCount) {
    const AsNobody nobody;
    EXPECT_FALSE(ownFileTime("/etc/passwd"));
    EXPECT_FALSE(readOwnFile("/etc/passwd", 100));
}

TEST(LinuxOwnFileTest, FileWithoutRightsIsThereAndCannotBeRead) {
    const TemporaryFolder folder;
    const std::string file = folder.write("file", "text");
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    giveToNobodyIfRoot(file);
    const AsNobody nobody;
    EXPECT_TRUE(ownFileTime(file));
    EXPECT_FALSE(readOwnFile(file, 100));
}

}  // namespace platform::test
