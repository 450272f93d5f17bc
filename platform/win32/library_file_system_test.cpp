#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <sstream>

#include "platform/include/library_file.h"
#include "platform/include/text.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

// A library's headers at `offset`, with nothing behind them.
std::string headers(uint32_t offset, WORD machine, WORD characteristics = IMAGE_FILE_DLL) {
    std::string bytes(offset + sizeof(DWORD) + sizeof(IMAGE_FILE_HEADER), '\0');
    const DWORD signature = IMAGE_NT_SIGNATURE;
    IMAGE_FILE_HEADER header{};
    header.Machine = machine;
    header.Characteristics = characteristics;
    std::memcpy(bytes.data(), "MZ", 2);
    std::memcpy(bytes.data() + 0x3C, &offset, sizeof offset);
    std::memcpy(bytes.data() + offset, &signature, sizeof signature);
    std::memcpy(bytes.data() + offset + sizeof signature, &header, sizeof header);
    return bytes;
}

bool isLibrary(const std::string& content) {
    std::istringstream stream(content);
    return isSharedLibrary(stream);
}

std::string architectureIn(const std::string& content) {
    const TemporaryFolder folder;
    const auto file = makeLibraryFile();
    EXPECT_TRUE(file->open(widen(folder.write("library", content))) && file->readSize() && file->createMapping() &&
                file->mapView());
    return file->architecture();
}

}  // namespace

TEST(WindowsLibraryFileTest, MachineHasItsName) {
    EXPECT_EQ(architectureIn(headers(0x80, 0x1C0)), "WIN-ARM");
    EXPECT_EQ(architectureIn(headers(0x80, 0x200)), "WIN-IA64");
    EXPECT_EQ(architectureIn(headers(0x80, 0x8664)), "WIN-AMD64");
    EXPECT_EQ(architectureIn(headers(0x80, 0xAA64)), "WIN-ARM64");
    EXPECT_EQ(architectureIn(headers(0x80, 0x14C)), "WIN-UNKNOWN");
    EXPECT_EQ(architectureIn(headers(0x80, 0)), "WIN-UNKNOWN");
}

TEST(WindowsLibraryFileTest, LibraryHasItsMarks) {
    EXPECT_TRUE(isLibrary(headers(0x80, 0x14C)));
    EXPECT_TRUE(isLibrary(headers(0x40, 0x8664)));
    EXPECT_FALSE(isLibrary(headers(0x80, 0x8664, IMAGE_FILE_EXECUTABLE_IMAGE)));
    std::string other = headers(0x80, 0x8664);
    other[0] = 'm';
    EXPECT_FALSE(isLibrary(other));
    other = headers(0x80, 0x8664);
    other[0x81] = 'e';
    EXPECT_FALSE(isLibrary(other));
}

TEST(WindowsLibraryFileTest, HeaderMayLieAnywhere) {
    for (const uint32_t offset : {0x7Fu, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF8u, 0xFFFFFFFFu}) {
        std::string bytes = headers(0x80, 0x8664);
        std::memcpy(bytes.data() + 0x3C, &offset, sizeof offset);
        EXPECT_FALSE(isLibrary(bytes)) << offset;
        EXPECT_EQ(architectureIn(bytes), "WIN-UNKNOWN") << offset;
    }
    const std::string whole = headers(0x80, 0x8664);
    EXPECT_EQ(architectureIn(whole.substr(0, 0x85)), "WIN-UNKNOWN");
    EXPECT_EQ(architectureIn(whole.substr(0, 0x86)), "WIN-AMD64");
    EXPECT_FALSE(isLibrary(whole.substr(0, whole.size() - 1)));
}

}  // namespace platform::test
