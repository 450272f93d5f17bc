#include "platform/include/library_file.h"

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <istream>

namespace platform {

namespace {

constexpr char kUnknown[] = "WIN-UNKNOWN";

std::string nameOfMachine(WORD machine) {
    switch (machine) {
        case IMAGE_FILE_MACHINE_ARM:
            return "WIN-ARM";
        case IMAGE_FILE_MACHINE_IA64:
            return "WIN-IA64";
        case IMAGE_FILE_MACHINE_AMD64:
            return "WIN-AMD64";
        case IMAGE_FILE_MACHINE_ARM64:
            return "WIN-ARM64";
        default:
            return kUnknown;
    }
}

template <class T>
bool read(std::istream& file, T& record) {
    return static_cast<bool>(file.read(reinterpret_cast<char*>(&record), sizeof record));
}

class SystemLibraryFile : public LibraryFile {
  public:
    ~SystemLibraryFile() override { release(); }

    bool open(const std::wstring& path) override {
        file_ = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                            nullptr);
        return file_ != INVALID_HANDLE_VALUE;
    }

    bool readSize() override {
        LARGE_INTEGER size;
        if (!GetFileSizeEx(file_, &size)) return false;
        size_ = static_cast<uint64_t>(size.QuadPart);
        return true;
    }

    bool createMapping() override {
        // Without a file this would be a mapping of the page file.
        if (file_ == INVALID_HANDLE_VALUE) return false;
        mapping_ = CreateFileMappingW(file_, nullptr, PAGE_READONLY, 0, 0, nullptr);
        return mapping_ != nullptr;
    }

    bool mapView() override {
        view_ = mapping_ ? static_cast<const char*>(MapViewOfFile(mapping_, FILE_MAP_READ, 0, 0, 0)) : nullptr;
        return view_ != nullptr;
    }

    bool hasSignature() const override {
        uint32_t header = 0, signature = 0;
        return readAt(kHeaderOffsetAt, header) && readAt(header, signature) && signature == IMAGE_NT_SIGNATURE;
    }

    std::string architecture() const override {
        uint32_t header = 0;
        WORD machine = 0;
        const bool told =
            hasSignature() && readAt(kHeaderOffsetAt, header) && readAt(header + sizeof(uint32_t), machine);
        return told ? nameOfMachine(machine) : kUnknown;
    }

    void release() override {
        if (view_) UnmapViewOfFile(view_);
        if (mapping_) CloseHandle(mapping_);
        if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
        view_ = nullptr;
        mapping_ = nullptr;
        file_ = INVALID_HANDLE_VALUE;
    }

  private:
    static constexpr uint64_t kHeaderOffsetAt = offsetof(IMAGE_DOS_HEADER, e_lfanew);

    template <class T>
    bool readAt(uint64_t offset, T& value) const {
        if (!view_ || size_ < sizeof value || offset > size_ - sizeof value) return false;
        std::memcpy(&value, view_ + offset, sizeof value);
        return true;
    }

    HANDLE file_ = INVALID_HANDLE_VALUE;
    HANDLE mapping_ = nullptr;
    const char* view_ = nullptr;
    uint64_t size_ = 0;
};

}  // namespace

std::string machineArchitecture() {
    SYSTEM_INFO system;
    GetNativeSystemInfo(&system);
    switch (system.wProcessorArchitecture) {
        case PROCESSOR_ARCHITECTURE_ARM:
            return nameOfMachine(IMAGE_FILE_MACHINE_ARM);
        case PROCESSOR_ARCHITECTURE_IA64:
            return nameOfMachine(IMAGE_FILE_MACHINE_IA64);
        case PROCESSOR_ARCHITECTURE_AMD64:
            return nameOfMachine(IMAGE_FILE_MACHINE_AMD64);
        case PROCESSOR_ARCHITECTURE_ARM64:
            return nameOfMachine(IMAGE_FILE_MACHINE_ARM64);
        default:
            return kUnknown;
    }
}

bool isSharedLibrary(std::istream& file) {
    IMAGE_DOS_HEADER start;
    if (!read(file, start) || start.e_magic != IMAGE_DOS_SIGNATURE) return false;
    DWORD signature = 0;
    file.seekg(static_cast<uint32_t>(start.e_lfanew));
    if (!read(file, signature) || signature != IMAGE_NT_SIGNATURE) return false;
    IMAGE_FILE_HEADER header;
    return read(file, header) && (header.Characteristics & IMAGE_FILE_DLL) != 0;
}

std::unique_ptr<LibraryFile> makeLibraryFile() {
    return std::make_unique<SystemLibraryFile>();
}

}  // namespace platform
