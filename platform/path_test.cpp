#include "platform/include/path.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/include/module.h"
#include "platform/include/text.h"
#include "platform/test_support.h"

namespace platform::test {

TEST(PathTest, FullPathBeginsInTheWorkingDirectory) {
    uint32_t error = 7;
    EXPECT_EQ(fullPath("xnn.bin", error), workingDirectory() + pathSeparator() + "xnn.bin");
    EXPECT_EQ(fullPath(L"xnn.bin", error), widen(workingDirectory() + pathSeparator() + "xnn.bin"));
    EXPECT_EQ(error, 7u);
}

TEST(PathTest, FullPathStaysAsItIs) {
    uint32_t error = 7;
    const std::string full = executablePath();
    EXPECT_EQ(fullPath(full, error), full);
    EXPECT_EQ(fullPath(widen(full), error), widen(full));
    EXPECT_EQ(error, 7u);
}

TEST(PathTest, FullPathMayBeLongerThanTheUsualBuffer) {
    uint32_t error = 7;
    const size_t before = workingDirectory().size() + 1;
    for (const size_t length : {258, 259, 260, 261, 3000}) {
        const std::string name(length - before, 'x');
        const std::string full = workingDirectory() + pathSeparator() + name;
        EXPECT_EQ(fullPath(widen(name), error), widen(full));
        // Wine has no narrow form beyond that.
        if (onWindows() && length >= 260) continue;
        EXPECT_EQ(fullPath(name, error), full);
    }
    EXPECT_EQ(error, 7u);
}

TEST(PathTest, NoPathHasNoFullForm) {
    uint32_t narrowError = 0, wideError = 0;
    EXPECT_EQ(fullPath(std::string(), narrowError), "");
    EXPECT_EQ(fullPath(std::wstring(), wideError), L"");
    EXPECT_NE(narrowError, 0u);
    EXPECT_NE(wideError, 0u);
}

TEST(PathTest, WorkingDirectoryIsTheProcesss) {
    EXPECT_TRUE(std::filesystem::equivalent(workingDirectory(), std::filesystem::current_path()));
}

}  // namespace platform::test
