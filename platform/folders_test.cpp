#include "platform/include/folders.h"

#include <gtest/gtest.h>

#include "platform/include/module.h"
#include "platform/test_support.h"

namespace platform::test {

TEST(FoldersTest, TemporaryFolderEndsInASeparator) {
    const std::string path = folders().temporary();
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(path.back(), pathSeparator());
}

TEST(FoldersTest, LocalDataFolderDoesNotEndInASeparator) {
    const std::string path = folders().localData();
    ASSERT_FALSE(path.empty());
    EXPECT_NE(path.back(), pathSeparator());
}

TEST(FoldersTest, PathIsAFileADirectoryOrMissing) {
    const TemporaryFolder folder;
    const std::string file = folder.write("gpucache", "a file");
    EXPECT_EQ(folders().kindOf(file), PathKind::kFile);
    EXPECT_EQ(folders().kindOf(folder.path()), PathKind::kDirectory);
    EXPECT_EQ(folders().kindOf(folder.path("nothing")), PathKind::kMissing);
    EXPECT_EQ(folders().kindOf(folder.path("nothing/below")), PathKind::kMissing);
    EXPECT_EQ(folders().kindOf(""), PathKind::kMissing);
}

TEST(FoldersTest, NamesAreUtf8) {
    const TemporaryFolder folder;
    folder.write("\xe7\xbd\x91\xc3\xa4/file", "");
    EXPECT_EQ(folders().kindOf(folder.path("\xe7\xbd\x91\xc3\xa4")), PathKind::kDirectory);
}

TEST(FoldersTest, ReplacementIsInForceUntilItIsTakenBack) {
    class Nowhere : public Folders {
        std::string temporary() override { return ""; }
        std::string localData() override { return ""; }
        PathKind kindOf(const std::string&) override { return PathKind::kMissing; }
    } nowhere;
    Folders& system = folders();
    replaceFolders(&nowhere);
    EXPECT_EQ(&folders(), &nowhere);
    replaceFolders(nullptr);
    EXPECT_EQ(&folders(), &system);
}

}  // namespace platform::test
