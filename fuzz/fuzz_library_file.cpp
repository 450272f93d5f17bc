#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "fuzz/Records.h"
#include "platform/include/library_file.h"

namespace {

// Where the bytes lie as a file; a path for each process.
class FileForReaders {
  public:
    ~FileForReaders() { std::filesystem::remove(mPath); }

    const std::filesystem::path& write(const std::string& bytes) {
        std::ofstream(mPath, std::ios::binary | std::ios::trunc) << bytes;
        return mPath;
    }

  private:
    const std::filesystem::path mPath =
        std::filesystem::temp_directory_path() / ("fuzz_library_file-" + std::to_string(std::random_device()()));
};

}  // namespace

// A file that is to be loaded as a library: what its headers say must be judged alike by both readers, within its
// bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static FileForReaders file;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::istringstream stream(bytes);
    const bool library = platform::isSharedLibrary(stream);

    const auto view = platform::makeLibraryFile();
    const bool viewed =
        view->open(file.write(bytes).wstring()) && view->readSize() && view->createMapping() && view->mapView();
    fuzz::require(viewed == !bytes.empty());
    if (library) fuzz::require(view->hasSignature());
    if (!view->hasSignature()) fuzz::require(view->architecture() != platform::machineArchitecture());
    return 0;
}
