#include "platform/include/library_file.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstring>

#include "platform/include/text.h"
#include "platform/posix/elf_file.h"

namespace platform {

namespace {

constexpr char kUnknown[] = "LINUX-UNKNOWN";

struct Elf32 {
    using Header = Elf32_Ehdr;
    using Segment = Elf32_Phdr;
    using Dynamic = Elf32_Dyn;
};

struct Elf64 {
    using Header = Elf64_Ehdr;
    using Segment = Elf64_Phdr;
    using Dynamic = Elf64_Dyn;
};

bool hasElfMagic(const unsigned char* bytes) {
    return std::memcmp(bytes, ELFMAG, SELFMAG) == 0;
}

template <class Elf>
bool hasProgramFlag(ElfFile& file, const typename Elf::Segment& dynamic) {
    if (dynamic.p_filesz > kLargestElfTable) return false;
    typename Elf::Dynamic entry;
    for (uint64_t at = 0; at + sizeof entry <= dynamic.p_filesz; at += sizeof entry) {
        if (!file.read(dynamic.p_offset + at, entry) || entry.d_tag == DT_NULL) return false;
        if (entry.d_tag == DT_FLAGS_1) return (entry.d_un.d_val & DF_1_PIE) != 0;
    }
    return false;
}

// A program that runs at any address has the type of a library. It asks for an interpreter, or says what it is.
template <class Elf>
bool isDynamicLibrary(ElfFile& file) {
    typename Elf::Header header;
    if (!file.read(0, header) || header.e_type != ET_DYN) return false;
    for (uint64_t i = 0; i < header.e_phnum; ++i) {
        typename Elf::Segment segment;
        if (!file.read(header.e_phoff + i * sizeof segment, segment) || segment.p_type == PT_INTERP) return false;
        if (segment.p_type == PT_DYNAMIC && hasProgramFlag<Elf>(file, segment)) return false;
    }
    return true;
}

std::string nameOfMachine(Elf64_Half machine) {
    if (machine == EM_X86_64) return "LINUX-AMD64";
    if (machine == EM_AARCH64) return "LINUX-ARM64";
    return kUnknown;
}

// Nothing stays mapped: a file that somebody cuts short would end us at the next look into its view. The view is a copy
// of the header's common part, which is the same for 32 and 64 bits.
class SystemLibraryFile : public LibraryFile {
  public:
    ~SystemLibraryFile() override { closeFile(); }

    bool open(const std::wstring& path) override {
        // Without waiting, should it be a pipe.
        file_ = ::open(narrow(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        struct stat status;
        if (file_ >= 0 && fstat(file_, &status) == 0 && S_ISREG(status.st_mode)) return true;
        closeFile();
        return false;
    }

    bool readSize() override {
        struct stat status;
        if (fstat(file_, &status) != 0) return false;
        size_ = status.st_size;
        return true;
    }

    bool createMapping() override { return file_ >= 0 && size_ > 0; }

    bool mapView() override {
        viewed_ = pread(file_, &header_, sizeof header_, 0);
        return viewed_ > 0;
    }

    bool hasSignature() const override {
        return viewed_ == static_cast<ssize_t>(sizeof header_) && hasElfMagic(header_.ident);
    }

    std::string architecture() const override { return hasSignature() ? nameOfMachine(header_.machine) : kUnknown; }

    void release() override {
        viewed_ = 0;
        size_ = 0;
        closeFile();
    }

  private:
    struct CommonHeader {
        unsigned char ident[EI_NIDENT];
        Elf64_Half type;
        Elf64_Half machine;
    };

    void closeFile() {
        if (file_ >= 0) close(file_);
        file_ = -1;
    }

    int file_ = -1;
    off_t size_ = 0;
    ssize_t viewed_ = 0;
    CommonHeader header_{};
};

}  // namespace

std::string machineArchitecture() {
    utsname system;
    if (uname(&system) != 0) return kUnknown;
    const std::string machine = system.machine;
    if (machine == "x86_64") return nameOfMachine(EM_X86_64);
    if (machine == "aarch64") return nameOfMachine(EM_AARCH64);
    return kUnknown;
}

bool isSharedLibrary(std::istream& stream) {
    ElfFile file(stream);
    unsigned char ident[EI_NIDENT];
    // Records of the other byte order would be for another machine than any that has a name here.
    if (!file.read(0, ident) || !hasElfMagic(ident) || ident[EI_DATA] != ELFDATA2LSB) return false;
    return ident[EI_CLASS] == ELFCLASS64 ? isDynamicLibrary<Elf64>(file) : isDynamicLibrary<Elf32>(file);
}

std::unique_ptr<LibraryFile> makeLibraryFile() {
    return std::make_unique<SystemLibraryFile>();
}

}  // namespace platform
