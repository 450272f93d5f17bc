#include "platform/posix/needed_libraries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "platform/include/module.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

std::string testLibrary() {
    return executableDirectory() + "/beside/libplatform_test_library.so";
}

}  // namespace

TEST(NeededLibrariesTest, NamesAreThoseThatTheFileAsksFor) {
    EXPECT_THAT(neededLibraries(testLibrary()), testing::Contains("libplatform_test_dependency.so"));
    EXPECT_THAT(neededLibraries(executablePath()), testing::Contains("libc.so.6"));
}

TEST(NeededLibrariesTest, FileThatIsNoLibraryAsksForNothing) {
    const TemporaryFolder folder;
    EXPECT_TRUE(neededLibraries(folder.path("nothing")).empty());
    EXPECT_TRUE(neededLibraries(folder.path()).empty());
    EXPECT_TRUE(neededLibraries(folder.write("empty", "")).empty());
    EXPECT_TRUE(neededLibraries(folder.write("text", std::string(5000, 'x'))).empty());
}

TEST(NeededLibrariesTest, LibraryCutShortAsksForNothingThatIsNotInIt) {
    const TemporaryFolder folder;
    const std::string whole = readFile(testLibrary());
    for (size_t size = 0; size < whole.size(); size += size < 1024 ? 7 : 997) {
        for (const std::string& name : neededLibraries(folder.write("cut", whole.substr(0, size)))) {
            EXPECT_NE(whole.find(name), std::string::npos);
        }
    }
}

TEST(NeededLibrariesTest, DamagedLibraryIsReadWithoutHarm) {
    const TemporaryFolder folder;
    const std::string whole = readFile(testLibrary());
    std::mt19937 random(1);
    for (int i = 0; i < 300; ++i) {
        std::string damaged = whole;
        // The header and the tables behind it, where every number counts.
        for (int j = 0; j < 4; ++j) damaged[random() % 1024] = static_cast<char>(random());
        neededLibraries(folder.write("damaged", damaged));
    }
}

}  // namespace platform::test
