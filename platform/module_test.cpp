#include "platform/include/module.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "platform/test_support.h"

namespace platform::test {

namespace {

constexpr uint32_t kLoadFailed = 126;
constexpr uint32_t kSymbolMissing = 127;

std::string testLibrary() {
    return executableDirectory() + pathSeparator() + "beside" + pathSeparator() +
           libraryFileName("platform_test_library.dll");
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

TEST(ModuleTest, ExecutableIsTheRunningProgram) {
    EXPECT_TRUE(endsWith(executablePath(), onWindows() ? "platform_test.exe" : "platform_test")) << executablePath();
    EXPECT_TRUE(std::filesystem::exists(executablePath()));
    EXPECT_EQ(executablePath().find(executableDirectory() + pathSeparator()), 0u);
    EXPECT_NE(executableDirectory().back(), pathSeparator());
}

TEST(ModuleTest, AddressOfOurOwnBelongsToTheExecutable) {
    static const int ours = 0;
    EXPECT_EQ(modulePathOf(&ours), executablePath());
}

TEST(ModuleTest, AddressOutsideAllModulesBelongsToNone) {
    const auto memory = std::make_unique<int>(0);
    EXPECT_EQ(modulePathOf(memory.get()), "");
    EXPECT_EQ(modulePathOf(nullptr), "");
}

TEST(ModuleTest, ToldLibraryNameBecomesTheSystems) {
    const bool told = onWindows();
    EXPECT_EQ(libraryFileName("clDNNPlugin.dll"), told ? "clDNNPlugin.dll" : "libclDNNPlugin.so");
    EXPECT_EQ(libraryFileName("xnn.dll"), told ? "xnn.dll" : "libxnn.so");
    EXPECT_EQ(libraryFileName("qorml.DLL"), told ? "qorml.DLL" : "libqorml.so");
    EXPECT_EQ(libraryFileName("libmath.dll"), told ? "libmath.dll" : "libmath.so");
    EXPECT_EQ(libraryFileName("/some/where/xnn.dll"), told ? "/some/where/xnn.dll" : "/some/where/libxnn.so");
    EXPECT_EQ(libraryFileName("libxnn.so"), "libxnn.so");
    EXPECT_EQ(libraryFileName(".dll"), ".dll");
    EXPECT_EQ(libraryFileName(""), "");
}

TEST(ModuleTest, LibraryFindsItsDependencyBesideItOnlyWhenAskedTo) {
    EXPECT_EQ(loadLibrary(testLibrary(), false), nullptr);
    EXPECT_EQ(lastLibraryError(), kLoadFailed);

    const Library library = loadLibrary(testLibrary(), true);
    ASSERT_NE(library, nullptr) << lastLibraryError();
    void* symbol = findSymbol(library, "platformTestLibraryAnswer");
    ASSERT_NE(symbol, nullptr);
    EXPECT_EQ(reinterpret_cast<int (*)()>(symbol)(), 43);
    EXPECT_EQ(std::filesystem::path(modulePathOf(symbol)), std::filesystem::path(testLibrary()));
    freeLibrary(library);
    EXPECT_EQ(modulePathOf(symbol), "");
}

TEST(ModuleTest, RelativePathFindsItsDependencyBesideItToo) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(executableDirectory());
    const std::string path = std::string("beside") + pathSeparator() + libraryFileName("platform_test_library.dll");
    const Library library = loadLibrary(path, true);
    std::filesystem::current_path(before);
    ASSERT_NE(library, nullptr) << lastLibraryError();
    EXPECT_TRUE(std::filesystem::path(modulePathOf(findSymbol(library, "platformTestLibraryAnswer"))).is_absolute());
    freeLibrary(library);
}

TEST(ModuleTest, MissingSymbolIsReported) {
    const Library library = loadLibrary(testLibrary(), true);
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(findSymbol(library, "noSuchSymbol"), nullptr);
    EXPECT_EQ(lastLibraryError(), kSymbolMissing);
    freeLibrary(library);
}

TEST(ModuleTest, NoLibraryHasNoSymbolsAndCanBeFreed) {
    EXPECT_EQ(findSymbol(nullptr, "malloc"), nullptr);
    EXPECT_EQ(lastLibraryError(), kSymbolMissing);
    freeLibrary(nullptr);
}

TEST(ModuleTest, MissingLibraryIsReported) {
    const TemporaryFolder folder;
    for (const bool beside : {false, true}) {
        EXPECT_EQ(loadLibrary(folder.path(libraryFileName("xnn.dll")), beside), nullptr);
        EXPECT_EQ(lastLibraryError(), kLoadFailed);
        EXPECT_EQ(loadLibrary(libraryFileName("no_such_library.dll"), beside), nullptr);
        EXPECT_EQ(lastLibraryError(), kLoadFailed);
    }
}

TEST(ModuleTest, EmptyPathIsNoLibrary) {
    EXPECT_EQ(loadLibrary("", false), nullptr);
    EXPECT_EQ(loadLibrary("", true), nullptr);
}

TEST(ModuleTest, FileThatIsNoLibraryIsReported) {
    const TemporaryFolder folder;
    const std::string file = folder.write(libraryFileName("xnn.dll"), "not a library at all, but a text");
    EXPECT_EQ(loadLibrary(file, true), nullptr);
    EXPECT_NE(lastLibraryError(), 0u);
}

TEST(ModuleTest, PathlessNameIsSearchedTheSystemsWay) {
    const Library library = loadLibrary(onWindows() ? "kernel32.dll" : "libm.so.6", true);
    EXPECT_NE(library, nullptr);
    freeLibrary(library);
}

}  // namespace platform::test
