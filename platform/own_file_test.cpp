#include "platform/include/own_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "platform/test_support.h"

namespace platform::test {

TEST(OwnFileTest, BeginningIsReadAsFarAsIsAskedFor) {
    const TemporaryFolder folder;
    const std::string bytes("a\0b\r\nc", 6);
    const std::string file = folder.write("report", bytes);
    EXPECT_EQ(readOwnFile(file, 100), bytes);
    EXPECT_EQ(readOwnFile(file, 6), bytes);
    EXPECT_EQ(readOwnFile(file, 2), bytes.substr(0, 2));
    EXPECT_EQ(readOwnFile(file, 0), "");
    EXPECT_EQ(readOwnFile(folder.write("empty", ""), 100), "");
}

TEST(OwnFileTest, TimeIsThatOfTheLastWrite) {
    using namespace std::chrono;
    const TemporaryFolder folder;
    const std::string file = folder.write("report", "text");
    const auto at = sys_days(year(2021) / 3 / 4) + hours(5) + minutes(6) + seconds(7);
    std::filesystem::last_write_time(file, file_clock::from_sys(at));
    EXPECT_EQ(ownFileTime(file), duration_cast<seconds>(at.time_since_epoch()).count());
}

TEST(OwnFileTest, MissingFilesAndDirectoriesDoNotCount) {
    const TemporaryFolder folder;
    folder.write("directory/file", "");
    for (const char* name : {"missing", "missing/below", "directory"}) {
        EXPECT_FALSE(ownFileTime(folder.path(name))) << name;
        EXPECT_FALSE(readOwnFile(folder.path(name), 100)) << name;
    }
}

TEST(OwnFileTest, NamesAreUtf8) {
    const TemporaryFolder folder;
    const std::string file = folder.write("\xe7\xbd\x91\xc3\xa4", "text");
    EXPECT_TRUE(ownFileTime(file));
    EXPECT_EQ(readOwnFile(file, 100), "text");
}

}  // namespace platform::test
