#include "client/src/CrashFiles.h"

#include <gmock/gmock.h>

#include <chrono>

#include "platform/include/folders.h"
#include "platform/include/module.h"
#include "platform/test_support.h"

namespace {

using client::CrashFiles;
using client::findCrashFiles;
using platform::test::TemporaryFolder;
using testing::ElementsAre;

const client::HostIdentity kHost = {"1", "2n3", 4, 0};

std::string inside(const TemporaryFolder& folder) {
    return folder.path() + platform::pathSeparator();
}

TEST(CrashFilesTest, BothFilesOfThatHostAreFound) {
    const TemporaryFolder folder;
    const std::string report = folder.write("zelhost_crash_1_2n3_4.txt", "");
    const std::string dump = folder.write("zelhost_crash_1_2n3_4.dmp", "");
    const CrashFiles files = findCrashFiles({inside(folder)}, kHost);
    EXPECT_EQ(files.report, report);
    EXPECT_EQ(files.dump, dump);
}

TEST(CrashFilesTest, FilesOfOtherHostsAreNot) {
    const TemporaryFolder folder;
    for (const char* name : {"zelhost_crash_1_2n3_5.txt", "zelhost_crash_1_2n4_4.txt", "zelhost_crash_2_2n3_4.dmp"}) {
        folder.write(name, "");
    }
    EXPECT_FALSE(findCrashFiles({inside(folder)}, kHost).any());
}

TEST(CrashFilesTest, DirectoryOfThatNameIsNoFile) {
    const TemporaryFolder folder;
    folder.write("zelhost_crash_1_2n3_4.txt/file", "");
    const std::string dump = folder.write("zelhost_crash_1_2n3_4.dmp", "");
    const CrashFiles files = findCrashFiles({inside(folder)}, kHost);
    EXPECT_EQ(files.report, "");
    EXPECT_EQ(files.dump, dump);
}

TEST(CrashFilesTest, NextFolderIsTakenWhereTheFirstHasNone) {
    const TemporaryFolder first;
    const TemporaryFolder second;
    const std::string report = second.write("zelhost_crash_1_2n3_4.txt", "");
    EXPECT_EQ(findCrashFiles({inside(first), inside(second)}, kHost).report, report);
    const std::string nearer = first.write("zelhost_crash_1_2n3_4.txt", "");
    EXPECT_EQ(findCrashFiles({inside(first), inside(second)}, kHost).report, nearer);
}

TEST(CrashFilesTest, HostThatDidNotKnowTheIdsYetHasLeftThemOut) {
    const TemporaryFolder folder;
    const std::string dump = folder.write("zelhost_crash___4.dmp", "");
    EXPECT_EQ(findCrashFiles({inside(folder)}, kHost).dump, dump);
    const std::string named = folder.write("zelhost_crash_1_2n3_4.dmp", "");
    EXPECT_EQ(findCrashFiles({inside(folder)}, kHost).dump, named);
}

TEST(CrashFilesTest, FilesOfAnEarlierProcessOfThatIdAreNot) {
    const TemporaryFolder folder;
    folder.write("zelhost_crash___4.dmp", "");
    folder.write("zelhost_crash_1_2n3_4.txt", "");
    client::HostIdentity host = kHost;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    host.startedAt = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    EXPECT_TRUE(findCrashFiles({inside(folder)}, host).any());
    host.startedAt += 60;
    EXPECT_FALSE(findCrashFiles({inside(folder)}, host).any());
}

TEST(CrashFilesTest, FoldersAreTheTemporaryOneAndTheProgramsOwn) {
    const std::string temporary = platform::folders().temporary();
    const std::string program = platform::executableDirectory() + platform::pathSeparator();
    EXPECT_THAT(client::crashFolders(program + "zelhost"), ElementsAre(temporary, program));
    EXPECT_THAT(client::crashFolders("/opt/zelhost"), ElementsAre(temporary, "/opt/"));
    EXPECT_THAT(client::crashFolders("zelhost"), ElementsAre(temporary));
}

TEST(CrashFilesTest, TextNamesWhatIsThere) {
    EXPECT_EQ(client::crashFilesText({"a.txt", "a.dmp"}), "; it left the report a.txt and the dump a.dmp");
    EXPECT_EQ(client::crashFilesText({"a.txt", ""}), "; it left the report a.txt");
    EXPECT_EQ(client::crashFilesText({"", "a.dmp"}), "; it left the dump a.dmp");
    EXPECT_EQ(client::crashFilesText({}), "");
}

}  // namespace
