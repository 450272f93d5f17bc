#include "platform/posix/needed_libraries.h"

#include <elf.h>

#include <cstdint>
#include <cstring>
#include <fstream>

#include "platform/posix/elf_file.h"

namespace platform {

namespace {

std::vector<Elf64_Phdr> readSegments(ElfFile& file) {
    Elf64_Ehdr header;
    if (!file.read(0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_phentsize != sizeof(Elf64_Phdr)) {
        return {};
    }
    std::vector<Elf64_Phdr> segments(header.e_phnum);
    const uint64_t size = segments.size() * sizeof(Elf64_Phdr);
    if (!file.readBytes(header.e_phoff, reinterpret_cast<char*>(segments.data()), size)) return {};
    return segments;
}

// Where in the file the byte of that address lies.
bool fileOffset(const std::vector<Elf64_Phdr>& segments, uint64_t address, uint64_t& offset) {
    for (const Elf64_Phdr& segment : segments) {
        if (segment.p_type == PT_LOAD && address >= segment.p_vaddr && address - segment.p_vaddr < segment.p_filesz) {
            offset = segment.p_offset + (address - segment.p_vaddr);
            return true;
        }
    }
    return false;
}

struct DynamicSection {
    std::vector<uint64_t> needed;  // offsets into the string table
    uint64_t strings = 0;          // its address
    uint64_t stringsSize = 0;
};

DynamicSection readDynamic(ElfFile& file, const std::vector<Elf64_Phdr>& segments) {
    DynamicSection section;
    for (const Elf64_Phdr& segment : segments) {
        if (segment.p_type != PT_DYNAMIC || segment.p_filesz > kLargestElfTable) continue;
        Elf64_Dyn entry;
        for (uint64_t at = 0; at + sizeof entry <= segment.p_filesz; at += sizeof entry) {
            if (!file.read(segment.p_offset + at, entry) || entry.d_tag == DT_NULL) break;
            if (entry.d_tag == DT_NEEDED) section.needed.push_back(entry.d_un.d_val);
            if (entry.d_tag == DT_STRTAB) section.strings = entry.d_un.d_ptr;
            if (entry.d_tag == DT_STRSZ) section.stringsSize = entry.d_un.d_val;
        }
    }
    return section;
}

}  // namespace

std::vector<std::string> neededLibraries(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    ElfFile file(stream);
    const std::vector<Elf64_Phdr> segments = readSegments(file);
    const DynamicSection section = readDynamic(file, segments);
    uint64_t offset = 0;
    if (section.stringsSize > kLargestElfTable || !fileOffset(segments, section.strings, offset)) return {};
    std::string strings(section.stringsSize, '\0');
    if (!file.readBytes(offset, strings.data(), strings.size())) return {};

    std::vector<std::string> names;
    for (const uint64_t name : section.needed) {
        if (name < strings.size()) names.emplace_back(strings.c_str() + name);
    }
    return names;
}

}  // namespace platform
