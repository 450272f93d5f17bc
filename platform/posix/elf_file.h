#pragma once

#include <cstdint>
#include <istream>

namespace platform {

// Reads records of an ELF file by offset; a read that the file cannot serve fails.
class ElfFile {
  public:
    explicit ElfFile(std::istream& file) : file_(file) {}

    template <typename T>
    bool read(uint64_t offset, T& record) {
        return readBytes(offset, reinterpret_cast<char*>(&record), sizeof record);
    }

    bool readBytes(uint64_t offset, char* bytes, uint64_t size) {
        if (offset > static_cast<uint64_t>(INT64_MAX)) return false;
        file_.clear();
        return file_.seekg(static_cast<std::streamoff>(offset)) &&
               file_.read(bytes, static_cast<std::streamsize>(size));
    }

  private:
    std::istream& file_;
};

constexpr uint64_t kLargestElfTable = 16u << 20;  // bytes; real ones are a few KiB

}  // namespace platform
