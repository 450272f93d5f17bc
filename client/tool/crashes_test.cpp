#include "client/tool/Crashes.h"

#include <gmock/gmock.h>

#include "platform/include/module.h"
#include "platform/test_support.h"

namespace {

using namespace zeltool;
using platform::test::TemporaryFolder;
using testing::IsEmpty;
using testing::SizeIs;

std::string inside(const TemporaryFolder& folder) {
    return folder.path() + platform::pathSeparator();
}

TEST(CrashesTest, FilesOfOneHostAreOneCrash) {
    const TemporaryFolder folder;
    const std::string report = folder.write("zelhost_crash_1_2_3.txt", "");
    const std::string dump = folder.write("zelhost_crash_1_2_3.dmp", "");
    folder.write("zelhost_crash_1_2_3.log", "");
    const std::vector<Crash> crashes = findCrashes({inside(folder)});
    ASSERT_THAT(crashes, SizeIs(1));
    EXPECT_EQ(crashes[0].report, report);
    EXPECT_EQ(crashes[0].dump, dump);
}

TEST(CrashesTest, EveryFolderIsLookedThroughThatIsThere) {
    const TemporaryFolder first;
    const TemporaryFolder second;
    first.write("zelhost_crash_1_2_3.txt", "");
    second.write("zelhost_crash_1_2_3.txt", "");
    EXPECT_THAT(findCrashes({inside(first), first.path("missing"), inside(second)}), SizeIs(2));
    EXPECT_THAT(findCrashes({first.path("missing")}), IsEmpty());
    EXPECT_THAT(findCrashes({}), IsEmpty());
}

TEST(CrashesTest, FailureIsExceptionAndPlace) {
    EXPECT_EQ(failureOf("Version: \nException Type: UNKNOWN EXCEPTION(6)\nCrashed Thread: 1\nlibc.so.6+0x8;a+0x1;"),
              "UNKNOWN EXCEPTION(6) at libc.so.6+0x8");
    EXPECT_EQ(failureOf("Version: 1\r\nException Type: X\r\nCrashed Thread: 1\r\n[Could not determine stacktrace]"),
              "X at [Could not determine stacktrace]");
}

TEST(CrashesTest, ReportThatIsCutOrUnreadableIsTold) {
    EXPECT_EQ(failureOf(std::nullopt), "its report cannot be read");
    for (const char* text : {"", "\n", "Version: 1", "Version: 1\n", "Version: 1\nException", "Exception Type: X\n"})
        EXPECT_EQ(failureOf(text), "its report makes no sense") << text;
    for (const char* text :
         {"\nException Type: X", "\nException Type: X\n", "\nException Type: X\nCrashed Thread: 1\n"})
        EXPECT_EQ(failureOf(text), "X at a place that it does not tell") << text;
}

TEST(CrashesTest, LineHasTimeFailureAndPaths) {
    const TemporaryFolder folder;
    const std::string report = folder.write("zelhost_crash_1_2_3.txt", "\nException Type: X\n\na+0x1;");
    EXPECT_EQ(crashLine({1767225600, report, "b.dmp"}), "2026-01-01 00:00:00 UTC  X at a+0x1  " + report + "  b.dmp");
    EXPECT_EQ(crashLine({0, folder.path("gone"), ""}),
              "1970-01-01 00:00:00 UTC  its report cannot be read  " + folder.path("gone"));
    EXPECT_EQ(crashLine({-1, "", "a\x1b\n.dmp"}), "1969-12-31 23:59:59 UTC  no report  a??.dmp");
}

}  // namespace
