#include "platform/posix/loaded_modules.h"

#include <elf.h>
#include <limits.h>

#include <cstring>

#include "platform/posix/memory_map.h"
#include "platform/posix/process_memory.h"

namespace platform {

namespace {

constexpr uint64_t kPage = 4096;
constexpr size_t kMostSegments = 256;

// What the ELF headers at the begin of a module tell.
class ElfImage {
  public:
    bool read(uint64_t base) {
        base_ = base;
        if (!readProcessRecord(base, header_) || std::memcmp(header_.e_ident, ELFMAG, SELFMAG) != 0 ||
            header_.e_ident[EI_CLASS] != ELFCLASS64 || header_.e_phentsize != sizeof(Elf64_Phdr) ||
            header_.e_phnum > kMostSegments) {
            return false;
        }
        return measure();
    }

    // Behind the last segment.
    uint64_t end() const { return base_ + (last_ - first_); }

    size_t readBuildId(uint8_t (&id)[kLongestBuildId]) const {
        for (size_t i = 0; i < header_.e_phnum; ++i) {
            Elf64_Phdr segment;
            if (!readSegment(i, segment) || segment.p_type != PT_NOTE) continue;
            if (const size_t size = findBuildId(base_ + (segment.p_vaddr - first_), segment.p_memsz, id)) return size;
        }
        return 0;
    }

  private:
    bool readSegment(size_t index, Elf64_Phdr& segment) const {
        return readProcessRecord(base_ + header_.e_phoff + index * sizeof segment, segment);
    }

    bool measure() {
        first_ = UINT64_MAX;
        last_ = 0;
        for (size_t i = 0; i < header_.e_phnum; ++i) {
            Elf64_Phdr segment;
            if (!readSegment(i, segment)) return false;
            if (segment.p_type != PT_LOAD) continue;
            const uint64_t begin = segment.p_vaddr / kPage * kPage;
            const uint64_t end = segment.p_vaddr + segment.p_memsz;
            if (begin < first_) first_ = begin;
            if (end > last_) last_ = end;
        }
        return first_ < last_;
    }

    static size_t findBuildId(uint64_t at, uint64_t size, uint8_t (&id)[kLongestBuildId]) {
        const auto padded = [](uint64_t bytes) { return (bytes + 3) / 4 * 4; };
        Elf64_Nhdr note;
        char owner[sizeof ELF_NOTE_GNU];
        for (const uint64_t end = at + size; at + sizeof note <= end;) {
            if (!readProcessRecord(at, note)) return 0;
            const uint64_t content = at + sizeof note + padded(note.n_namesz);
            if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == sizeof owner && note.n_descsz <= sizeof id &&
                readProcessRecord(at + sizeof note, owner) && std::memcmp(owner, ELF_NOTE_GNU, sizeof owner) == 0) {
                return readProcessMemory(content, id, note.n_descsz) == note.n_descsz ? note.n_descsz : 0;
            }
            at = content + padded(note.n_descsz);
        }
        return 0;
    }

    Elf64_Ehdr header_;
    uint64_t base_ = 0;
    uint64_t first_ = 0;  // addresses as linked
    uint64_t last_ = 0;
};

// Puts the mappings of one module together.
class ModuleScan {
  public:
    ModuleScan(ModuleVisitor visit, void* context) : visit_(visit), context_(context) {}

    bool take(const Mapping& mapping) {
        if (continues(mapping)) {
            extend(mapping);
            return true;
        }
        if (mapping.offset != 0 || !mapping.readable || mapping.path[0] == '\0') return true;
        ElfImage image;
        if (!image.read(mapping.begin)) return true;
        const bool more = finish();
        begin(mapping, image);
        return more;
    }

    bool finish() {
        if (!executable_) return true;
        executable_ = false;
        uint8_t id[kLongestBuildId];
        const size_t size = image_.readBuildId(id);
        removeDeletedMark();
        return visit_(context_, {path_, begin_, end_ - begin_, id, size});
    }

  private:
    bool continues(const Mapping& mapping) const {
        return begin_ != 0 && mapping.begin < image_.end() && std::strcmp(mapping.path, path_) == 0;
    }

    void begin(const Mapping& mapping, const ElfImage& image) {
        image_ = image;
        begin_ = mapping.begin;
        executable_ = false;
        const size_t length = strnlen(mapping.path, sizeof path_ - 1);
        std::memcpy(path_, mapping.path, length);
        path_[length] = '\0';
        extend(mapping);
    }

    void extend(const Mapping& mapping) {
        end_ = mapping.end;
        executable_ = executable_ || mapping.executable;
    }

    void removeDeletedMark() {
        constexpr char kMark[] = " (deleted)";
        constexpr size_t kMarkLength = sizeof kMark - 1;
        const size_t length = std::strlen(path_);
        if (length > kMarkLength && std::strcmp(path_ + length - kMarkLength, kMark) == 0) {
            path_[length - kMarkLength] = '\0';
        }
    }

    const ModuleVisitor visit_;
    void* const context_;
    ElfImage image_;
    char path_[PATH_MAX + 16];
    uint64_t begin_ = 0;
    uint64_t end_ = 0;
    bool executable_ = false;  // a file that is only read is no module
};

}  // namespace

void visitLoadedModules(ModuleVisitor visit, void* context) {
    MemoryMap map;
    ModuleScan scan(visit, context);
    Mapping mapping;
    while (map.next(mapping)) {
        if (!scan.take(mapping)) return;
    }
    scan.finish();
}

}  // namespace platform
