#include "platform/include/library_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>

#include "platform/include/module.h"
#include "platform/include/text.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

std::string wholeLibrary() {
    return readFile(executableDirectory() + pathSeparator() + "beside" + pathSeparator() +
                    libraryFileName("platform_test_library.dll"));
}

bool isLibrary(const std::string& content) {
    std::istringstream stream(content);
    return isSharedLibrary(stream);
}

// How many steps to the view of that file succeed, 0 to 4.
int stepsTo(LibraryFile& file, const std::string& path) {
    if (!file.open(widen(path))) return 0;
    if (!file.readSize()) return 1;
    if (!file.createMapping()) return 2;
    return file.mapView() ? 4 : 3;
}

const std::string kUnknown = onWindows() ? "WIN-UNKNOWN" : "LINUX-UNKNOWN";

void expectNothingInView(LibraryFile& file) {
    EXPECT_FALSE(file.hasSignature());
    EXPECT_EQ(file.architecture(), kUnknown);
}

}  // namespace

TEST(LibraryFileTest, LibraryOfThisBuildIsForThisMachine) {
    const TemporaryFolder folder;
    const auto file = makeLibraryFile();
    ASSERT_EQ(stepsTo(*file, folder.write("library", wholeLibrary())), 4);
    EXPECT_TRUE(file->hasSignature());
    EXPECT_EQ(file->architecture(), machineArchitecture());
    EXPECT_NE(file->architecture(), kUnknown);
    EXPECT_TRUE(isLibrary(wholeLibrary()));
}

TEST(LibraryFileTest, ProgramHasTheSignatureAndIsNoLibrary) {
    const auto file = makeLibraryFile();
    ASSERT_EQ(stepsTo(*file, executablePath()), 4);
    EXPECT_TRUE(file->hasSignature());
    EXPECT_FALSE(isLibrary(readFile(executablePath())));
}

TEST(LibraryFileTest, StepsFailWithoutTheOnesBefore) {
    const auto file = makeLibraryFile();
    EXPECT_FALSE(file->readSize());
    EXPECT_FALSE(file->createMapping());
    EXPECT_FALSE(file->mapView());
    expectNothingInView(*file);
}

TEST(LibraryFileTest, NothingIsLeftAfterTheRelease) {
    const auto file = makeLibraryFile();
    ASSERT_EQ(stepsTo(*file, executablePath()), 4);
    file->release();
    EXPECT_FALSE(file->readSize());
    EXPECT_FALSE(file->createMapping());
    EXPECT_FALSE(file->mapView());
    expectNothingInView(*file);
    file->release();
}

TEST(LibraryFileTest, WhatIsNoFileDoesNotOpen) {
    const TemporaryFolder folder;
    const auto file = makeLibraryFile();
    EXPECT_EQ(stepsTo(*file, folder.path("missing")), 0);
    EXPECT_EQ(stepsTo(*file, folder.path()), 0);
    EXPECT_EQ(stepsTo(*file, ""), 0);
}

TEST(LibraryFileTest, EmptyFileCannotBeMapped) {
    const TemporaryFolder folder;
    EXPECT_EQ(stepsTo(*makeLibraryFile(), folder.write("empty", "")), 2);
    EXPECT_FALSE(isLibrary(""));
}

TEST(LibraryFileTest, FileCutShortIsReadToItsEndOnly) {
    const TemporaryFolder folder;
    const std::string whole = wholeLibrary();
    for (size_t size = 1; size < 600; ++size) {
        const std::string cut = whole.substr(0, size);
        const auto file = makeLibraryFile();
        ASSERT_EQ(stepsTo(*file, folder.write("cut", cut)), 4);
        EXPECT_TRUE(file->architecture() == kUnknown || file->architecture() == machineArchitecture());
        file->release();
        isLibrary(cut);
    }
    EXPECT_FALSE(isLibrary(whole.substr(0, 63)));
}

TEST(LibraryFileTest, DamagedHeaderIsReadWithoutHarm) {
    const TemporaryFolder folder;
    const std::string whole = wholeLibrary();
    std::mt19937 random(1);
    for (int i = 0; i < 300; ++i) {
        std::string damaged = whole;
        for (int j = 0; j < 4; ++j) damaged[random() % 1024] = static_cast<char>(random());
        const auto file = makeLibraryFile();
        ASSERT_EQ(stepsTo(*file, folder.write("damaged", damaged)), 4);
        file->architecture();
        file->release();
        isLibrary(damaged);
    }
}

}  // namespace platform::test
