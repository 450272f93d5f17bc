#pragma once

#include <iosfwd>
#include <memory>
#include <string>

// Files of shared libraries: what their headers tell before they are loaded. Whatever a file holds, nothing outside it
// is read.
namespace platform {

// What the machine is built for: "WIN-" or "LINUX-" and the processor, "WIN-AMD64", or "UNKNOWN" when it has no name.
std::string machineArchitecture();

// True when `file`, read from its beginning, is a shared library of this system and no program, for any processor.
bool isSharedLibrary(std::istream& file);

// One library's file on its way to a view of its bytes. Each step needs the ones before it and fails without them.
class LibraryFile {
  public:
    LibraryFile() = default;
    virtual ~LibraryFile() = default;  // releases
    LibraryFile(const LibraryFile&) = delete;
    LibraryFile& operator=(const LibraryFile&) = delete;

    virtual bool open(const std::wstring& path) = 0;
    virtual bool readSize() = 0;
    virtual bool createMapping() = 0;
    virtual bool mapView() = 0;
    // Whether the view begins as a file of this system's programs and libraries does.
    virtual bool hasSignature() const = 0;
    // The processor that such a file is for, named as machineArchitecture does.
    virtual std::string architecture() const = 0;
    // Gives up the view, the mapping and the file, as far as they are there.
    virtual void release() = 0;
};

std::unique_ptr<LibraryFile> makeLibraryFile();

}  // namespace platform
