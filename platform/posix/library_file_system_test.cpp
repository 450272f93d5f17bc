#include <elf.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <sstream>
#include <vector>

#include "platform/include/library_file.h"
#include "platform/include/text.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

template <class T>
void append(std::string& bytes, const T& record) {
    bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
}

struct Parts {
    unsigned char elfClass = ELFCLASS64;
    unsigned char order = ELFDATA2LSB;
    uint16_t type = ET_DYN;
    uint16_t machine = EM_X86_64;
    uint32_t segment = PT_LOAD;
    uint64_t flags = 0;  // of the dynamic section, which is there when `segment` is PT_DYNAMIC
};

// A file of one segment, the dynamic section behind it.
template <class Header, class Segment, class Dynamic>
std::string fileOf(const Parts& parts) {
    Header header{};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = parts.elfClass;
    header.e_ident[EI_DATA] = parts.order;
    header.e_type = parts.type;
    header.e_machine = parts.machine;
    header.e_phoff = sizeof header;
    header.e_phentsize = sizeof(Segment);
    header.e_phnum = 1;
    Segment segment{};
    segment.p_type = parts.segment;
    segment.p_offset = sizeof header + sizeof segment;
    segment.p_filesz = 3 * sizeof(Dynamic);
    Dynamic entries[3] = {};
    entries[0].d_tag = DT_SONAME;
    entries[1].d_tag = DT_FLAGS_1;
    entries[1].d_un.d_val = static_cast<decltype(entries[1].d_un.d_val)>(parts.flags);
    std::string bytes;
    append(bytes, header);
    append(bytes, segment);
    append(bytes, entries);
    return bytes;
}

std::string file64(const Parts& parts) {
    return fileOf<Elf64_Ehdr, Elf64_Phdr, Elf64_Dyn>(parts);
}

std::string file32(const Parts& parts) {
    Parts parts32 = parts;
    parts32.elfClass = ELFCLASS32;
    return fileOf<Elf32_Ehdr, Elf32_Phdr, Elf32_Dyn>(parts32);
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

TEST(LinuxLibraryFileTest, MachineHasItsName) {
    EXPECT_EQ(architectureIn(file64({.machine = EM_X86_64})), "LINUX-AMD64");
    EXPECT_EQ(architectureIn(file64({.machine = EM_AARCH64})), "LINUX-ARM64");
    EXPECT_EQ(architectureIn(file32({.machine = EM_386})), "LINUX-UNKNOWN");
    EXPECT_EQ(architectureIn(file64({.machine = EM_RISCV})), "LINUX-UNKNOWN");
}

TEST(LinuxLibraryFileTest, LibraryHasTheDynamicType) {
    for (const auto file : {file64, file32}) {
        EXPECT_TRUE(isLibrary(file({})));
        EXPECT_FALSE(isLibrary(file({.type = ET_EXEC})));
        EXPECT_FALSE(isLibrary(file({.type = ET_REL})));
        EXPECT_FALSE(isLibrary(file({.order = ELFDATA2MSB})));
    }
    std::string other = file64({});
    other[1] = 'e';
    EXPECT_FALSE(isLibrary(other));
}

TEST(LinuxLibraryFileTest, ProgramOfTheDynamicTypeIsNoLibrary) {
    for (const auto file : {file64, file32}) {
        EXPECT_FALSE(isLibrary(file({.segment = PT_INTERP})));
        EXPECT_FALSE(isLibrary(file({.segment = PT_DYNAMIC, .flags = DF_1_PIE | DF_1_NOW})));
        EXPECT_TRUE(isLibrary(file({.segment = PT_DYNAMIC, .flags = DF_1_NOW})));
    }
}

TEST(LinuxLibraryFileTest, SegmentsBeyondTheEndMakeNoLibrary) {
    const std::string whole = file64({});
    EXPECT_FALSE(isLibrary(whole.substr(0, sizeof(Elf64_Ehdr) + sizeof(Elf64_Phdr) - 1)));
    for (const uint64_t offset : {uint64_t{0x10000}, uint64_t{INT64_MAX}, UINT64_MAX}) {
        std::string bytes = whole;
        std::memcpy(bytes.data() + offsetof(Elf64_Ehdr, e_phoff), &offset, sizeof offset);
        EXPECT_FALSE(isLibrary(bytes)) << offset;
    }
}

TEST(LinuxLibraryFileTest, PipeIsNotWaitedFor) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(makeLibraryFile()->open(widen(folder.path("pipe"))));
}

}  // namespace platform::test
