#include "engines/xnn/SharedLibrary.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "engines/xnn/TestLibrary.h"
#include "platform/include/folders.h"
#include "platform/include/module.h"
#include "platform/include/path.h"
#include "platform/test_support.h"

namespace xnn::util {

namespace {

using platform::test::onWindows;
using platform::test::TemporaryFolder;

const char* const kUnknown = onWindows() ? "WIN-UNKNOWN" : "LINUX-UNKNOWN";

constexpr char kOpenFailed[] = "Failed to open DLL file.\n";
constexpr char kSizeFailed[] = "Failed to get DLL file size.\n";
constexpr char kMappingFailed[] = "Failed to create file mapping.\n";
constexpr char kViewFailed[] = "Failed to map view of file.\n";
constexpr char kNoSignature[] = "Not a valid PE image.\n";

// What `call` raises, "" when it raises nothing.
template <class Call>
std::string textOf(Call call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

std::string errorOfLoad(const std::string& path) {
    std::string narrow = textOf([&] { load_shared_object(path); });
    EXPECT_EQ(textOf([&] { load_shared_object(platform::widen(path)); }), narrow);
    return narrow;
}

// Lines on the standard error stream of `call`.
template <class Call>
std::string linesOf(Call call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

void put(std::string& bytes, size_t offset, uint32_t value, size_t size) {
    std::memcpy(bytes.data() + offset, &value, size);
}

// The headers of a library for a 32-bit processor of this system, with nothing behind them.
std::string headersOf32BitLibrary() {
    std::string bytes(256, '\0');
    if (onWindows()) {
        put(bytes, 0, 0x5A4D, 2);
        put(bytes, 0x3C, 0x80, 4);
        put(bytes, 0x80, 0x4550, 4);
        put(bytes, 0x84, 0x14C, 2);
        put(bytes, 0x96, 0x2102, 2);
    } else {
        std::memcpy(bytes.data(),
                    "\x7f"  // apart: E is a digit too
                    "ELF\1\1\1",
                    7);
        put(bytes, 16, 3, 2);  // a library
        put(bytes, 18, 3, 2);  // for the 386
    }
    return bytes;
}

std::string warningOf(const std::string& path) {
    return "[XNN Warning]: " + path + " architecture is " + kUnknown + ", Windows OS architecture is " +
           getOsArchitecture() + ". Please notice, two architectures not same.\n";
}

// Steps that fail from one on, without a file behind them.
class FailingFile : public platform::LibraryFile {
  public:
    explicit FailingFile(int step) : mFailing(step) {}
    bool open(const std::wstring&) override { return take(0); }
    bool readSize() override { return take(1); }
    bool createMapping() override { return take(2); }
    bool mapView() override { return take(3); }
    bool hasSignature() const override { return mFailing > 4; }
    std::string architecture() const override { return mReleased ? "released" : "open"; }
    void release() override { mReleased = true; }

    bool released() const { return mReleased; }

  private:
    bool take(int step) const { return !mReleased && step < mFailing; }

    int mFailing;
    bool mReleased = false;
};

}  // namespace

TEST(SharedLibraryTest, FailingStepsAreToldOneByOneFromTheFirst) {
    const std::string lines[] = {kOpenFailed, kSizeFailed, kMappingFailed, kViewFailed, kNoSignature};
    for (int failing = 0; failing < 5; ++failing) {
        FailingFile file(failing);
        std::string expected;
        for (int i = failing; i < 5; ++i) expected += lines[i];
        std::string architecture;
        EXPECT_EQ(linesOf([&] { architecture = getDllArchitecture(L"any", file); }), expected);
        EXPECT_EQ(architecture, "released") << failing;
    }
}

TEST(SharedLibraryTest, FileIsReleasedAfterItsArchitectureHasBeenRead) {
    FailingFile file(5);
    std::string architecture;
    EXPECT_EQ(linesOf([&] { architecture = getDllArchitecture(L"any", file); }), "");
    EXPECT_EQ(architecture, "open");
    EXPECT_TRUE(file.released());
}

TEST(SharedLibraryTest, ArchitectureOfFilesThatAreNoLibraryIsUnknown) {
    const TemporaryFolder folder;
    const auto expectLines = [&](const std::string& path, const std::string& lines) {
        std::string architecture;
        EXPECT_EQ(linesOf([&] { architecture = getDllArchitecture(platform::widen(path)); }), lines) << path;
        EXPECT_EQ(architecture, kUnknown) << path;
    };
    const std::string afterSize = std::string(kMappingFailed) + kViewFailed + kNoSignature;
    expectLines(folder.path("missing"), std::string(kOpenFailed) + kSizeFailed + afterSize);
    expectLines(folder.path(), std::string(kOpenFailed) + kSizeFailed + afterSize);
    expectLines(folder.write("empty", ""), afterSize);
    expectLines(folder.write("byte", "M"), kNoSignature);
    expectLines(folder.write("text", std::string(5000, 'x')), kNoSignature);
}

TEST(SharedLibraryTest, ArchitectureOfALibraryOfThisBuildIsTheMachines) {
    EXPECT_EQ(getDllArchitecture(platform::widen(test::testLibraryFile("complete"))), getOsArchitecture());
    EXPECT_EQ(getOsArchitecture(), onWindows() ? "WIN-AMD64" : "LINUX-AMD64");
}

TEST(SharedLibraryTest, LibraryIsValidAndNothingIsTold) {
    bool valid = false;
    EXPECT_EQ(linesOf([&] { valid = isValidDll(test::testLibraryFile("complete")); }), "");
    EXPECT_TRUE(valid);
}

TEST(SharedLibraryTest, LibraryForAnotherMachineIsValidWithAWarning) {
    const TemporaryFolder folder;
    const std::string path = folder.write("library", headersOf32BitLibrary());
    bool valid = false;
    EXPECT_EQ(linesOf([&] { valid = isValidDll(path); }), warningOf(path));
    EXPECT_TRUE(valid);
}

TEST(SharedLibraryTest, WhatDoesNotOpenIsToldAndInvalid) {
    const TemporaryFolder folder;
    for (const std::string& path : {folder.path("missing"), folder.path()}) {
        bool valid = true;
        EXPECT_EQ(linesOf([&] { valid = isValidDll(path); }), "Failed to open file: " + path + "\n");
        EXPECT_FALSE(valid);
    }
}

TEST(SharedLibraryTest, FilesThatAreNoLibraryAreInvalidWithoutALine) {
    const TemporaryFolder folder;
    for (const std::string& path :
         {folder.write("empty", ""), folder.write("byte", "M"), folder.write("text", std::string(5000, 'x')),
          folder.write("cut", headersOf32BitLibrary().substr(0, 40)), platform::executablePath()}) {
        bool valid = true;
        EXPECT_EQ(linesOf([&] { valid = isValidDll(path); }), "") << path;
        EXPECT_FALSE(valid) << path;
    }
}

TEST(SharedLibraryTest, WideTextBecomesUtf8UpToItsZero) {
    EXPECT_EQ(wstringToString(L""), "");
    EXPECT_EQ(wstringToString(L"a\u00e4\u7f51"), "a\xc3\xa4\xe7\xbd\x91");
    EXPECT_EQ(wstringToString(std::wstring(L"a\0b", 3)), "a");
}

TEST(SharedLibraryTest, FailedConversionTellsItsStep) {
    const Utf8Writer noLength = [](const wchar_t*, char*, int) { return 0; };
    const Utf8Writer noText = [](const wchar_t*, char* buffer, int) { return buffer ? 0 : 4; };
    EXPECT_EQ(textOf([&] { wstringToString(L"abc", noLength); }),
              "Failed to convert wstring to string (length calculation).");
    EXPECT_EQ(textOf([&] { wstringToString(L"abc", noText); }), "Failed to convert wstring to string (conversion).");
}

TEST(SharedLibraryTest, PathBecomesAbsolute) {
    const std::string full = platform::workingDirectory() + platform::pathSeparator() + "xnn.bin";
    EXPECT_EQ(toAbsolutePath("xnn.bin"), full);
    EXPECT_EQ(toAbsolutePath(L"xnn.bin"), platform::widen(full));
    EXPECT_EQ(toAbsolutePath(full), full);
}

TEST(SharedLibraryTest, PathThatHasNoAbsoluteFormIsEmptyAndTold) {
    uint32_t narrowError = 0, wideError = 0;
    platform::fullPath(std::string(), narrowError);
    platform::fullPath(std::wstring(), wideError);
    std::string full = "x";
    EXPECT_EQ(linesOf([&] { full = toAbsolutePath(std::string()); }),
              "GetFullPathNameA failed with error code: " + std::to_string(narrowError) + "\n");
    EXPECT_EQ(full, "");
    std::wstring wide = L"x";
    EXPECT_EQ(linesOf([&] { wide = toAbsolutePath(std::wstring()); }),
              "GetFullPathNameW failed with error code: " + std::to_string(wideError) + "\n");
    EXPECT_EQ(wide, L"");
}

TEST(SharedLibraryTest, LoadedLibraryStaysUntilItsLastCopyGoes) {
    const std::string file = test::testLibraryFile("complete");
    for (std::shared_ptr<void> library : {load_shared_object(file), load_shared_object(platform::widen(file))}) {
        ASSERT_NE(library, nullptr);
        EXPECT_EQ(std::static_pointer_cast<SharedLibraryHandle_t>(library)->kind, 1);
        void* const symbol = get_symbol(library, "xnnInfer");
        EXPECT_FALSE(platform::modulePathOf(symbol).empty());
        std::shared_ptr<void> last = library;
        library.reset();
        EXPECT_EQ(get_symbol(last, "xnnInfer"), symbol);
    }
}

TEST(SharedLibraryTest, LibraryIsLetGoWithItsLastCopy) {
    const TemporaryFolder folder;
    const std::string name = platform::libraryFileName("copy.dll");
    const std::string file = folder.write(name, platform::test::readFile(test::testLibraryFile("complete")));
    std::shared_ptr<void> library = load_shared_object(file);
    void* const symbol = get_symbol(library, "xnnInfer");
    EXPECT_NE(platform::modulePathOf(symbol), "");
    library.reset();
    EXPECT_EQ(platform::modulePathOf(symbol), "");
}

TEST(SharedLibraryTest, RelativePathIsLoadedFromTheWorkingDirectory) {
    const std::filesystem::path file = test::testLibraryFile("complete");
    const auto relative = std::filesystem::relative(file).string();
    ASSERT_TRUE(std::filesystem::path(relative).is_relative());
    EXPECT_NE(load_shared_object(relative), nullptr);
}

TEST(SharedLibraryTest, MissingFileIsToldWithItsPath) {
    const TemporaryFolder folder;
    EXPECT_EQ(errorOfLoad(folder.path("missing")), folder.path("missing") + " not exists.");
    const std::string behindAFile = folder.path(onWindows() ? "no folder\\missing" : "file/missing");
    folder.write("file", "");
    EXPECT_EQ(errorOfLoad(behindAFile), behindAFile + " not exists.");
    EXPECT_EQ(errorOfLoad(""), " not exists.");
}

TEST(SharedLibraryTest, ErrorOfTheFileSystemIsRaisedAsItIs) {
    class BrokenFolders : public platform::Folders {
        std::string temporary() override { return ""; }
        std::string localData() override { return ""; }
        platform::PathKind kindOf(const std::string& path) override {
            throw std::filesystem::filesystem_error("status", path, std::make_error_code(std::errc::io_error));
        }
    };
    BrokenFolders broken;
    platform::replaceFolders(&broken);
    EXPECT_THROW(load_shared_object("xnn.bin"), std::filesystem::filesystem_error);
    EXPECT_THROW(load_shared_object(L"xnn.bin"), std::filesystem::filesystem_error);
    platform::replaceFolders(nullptr);
}

TEST(SharedLibraryTest, FileThatIsNoLibraryIsRefused) {
    const TemporaryFolder folder;
    const std::string refused = " file is not a valid DLL. load_shared_object failed.";
    for (const std::string& path : {folder.write("text", "This is no library."), folder.write("empty", ""),
                                    folder.write("byte", "\x7f"), platform::executablePath()}) {
        EXPECT_EQ(errorOfLoad(path), path + refused);
    }
    std::string error;
    linesOf([&] { error = errorOfLoad(folder.path()); });
    EXPECT_EQ(error, folder.path() + refused);
}

TEST(SharedLibraryTest, LibraryForAnotherMachineFailsAtTheLoad) {
    const TemporaryFolder folder;
    const std::string path = folder.write("library", headersOf32BitLibrary());
    testing::internal::CaptureStderr();
    const std::string error = errorOfLoad(path);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), warningOf(path) + warningOf(path));
    EXPECT_EQ(error, "Cannot load library '" + path + "': " + std::to_string(platform::lastLibraryError()) +
                         " from cwd: " + platform::workingDirectory());
    EXPECT_NE(platform::lastLibraryError(), 0u);
}

TEST(SharedLibraryTest, MissingSymbolIsToldWithItsName) {
    const std::shared_ptr<void> library = load_shared_object(test::testLibraryFile("complete"));
    EXPECT_EQ(textOf([&] { get_symbol(library, "xnnNothing"); }),
              "GetProcAddress cannot locate method 'xnnNothing': 127");
}

TEST(SharedLibraryTest, OnlyALoadedModuleHasSymbols) {
    EXPECT_EQ(textOf([] { get_symbol(nullptr, "xnnInfer"); }),
              "shared_library_handle_object is empty. Please check load xnn step.");
    const std::shared_ptr<void> loaded = load_shared_object(test::testLibraryFile("complete"));
    void* const module = std::static_pointer_cast<SharedLibraryHandle_t>(loaded)->module;
    const auto other = std::make_shared<SharedLibraryHandle_t>(SharedLibraryHandle_t{2, module});
    EXPECT_EQ(
        textOf([&] { get_symbol(other, "xnnInfer"); }).rfind("GetProcAddress cannot locate method 'xnnInfer': ", 0),
        0u);
}

}  // namespace xnn::util
