#include "engines/xnn/SharedLibrary.h"

#include <fstream>
#include <iostream>
#include <stdexcept>
#include <type_traits>

#include "platform/include/folders.h"
#include "platform/include/module.h"
#include "platform/include/path.h"
#include "util/include/CmSystem.h"

namespace xnn::util {

namespace {

constexpr int32_t kLoadedModule = 1;

std::string utf8Of(const std::wstring& text) {
    return wstringToString(text);
}

std::string utf8Of(const std::string& text) {
    return wstringToString(platform::widen(text));
}

// A path's own text, which is wide on Windows only.
template <class Text>
std::wstring wideText(const Text& text) {
    if constexpr (std::is_same_v<Text, std::wstring>) {
        return text;
    } else {
        return platform::widen(text);
    }
}

std::filesystem::path pathOf(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

// With nothing left open, the steps after a failed one fail as well, and each says so.
void expectStep(bool done, const char* failure, platform::LibraryFile& file) {
    if (done) return;
    std::cerr << failure << std::endl;
    file.release();
}

template <class Text>
Text fullPath(const Text& path, const char* call) {
    uint32_t error = 0;
    Text full = platform::fullPath(path, error);
    if (full.empty()) std::cerr << call << " failed with error code: " << error << std::endl;
    return full;
}

void unload(SharedLibraryHandle_t* handle) {
    platform::freeLibrary(handle->module);
    delete handle;
}

[[noreturn]] void raiseCannotLoad(const std::string& path) {
    throw std::runtime_error("Cannot load library '" + path + "': " + std::to_string(platform::lastLibraryError()) +
                             " from cwd: " + platform::workingDirectory());
}

template <class Text>
std::shared_ptr<void> load(const Text& path) {
    const std::string shown = utf8Of(path);
    if (platform::folders().kindOf(shown) == platform::PathKind::kMissing) {
        throw std::runtime_error(shown + " not exists.");
    }
    if (!isValidDll(pathOf(shown))) {
        throw std::runtime_error(shown + " file is not a valid DLL. load_shared_object failed.");
    }
    const std::string absolute = utf8Of(toAbsolutePath(path));
    void* const module = kmo_load_library_s(absolute.c_str(), enPathAppendNone, true);
    if (module == nullptr) raiseCannotLoad(absolute);
    return std::shared_ptr<SharedLibraryHandle_t>(new SharedLibraryHandle_t{kLoadedModule, module}, unload);
}

}  // namespace

std::string getDllArchitecture(const std::wstring& path) {
    return getDllArchitecture(path, *platform::makeLibraryFile());
}

std::string getDllArchitecture(const std::wstring& path, platform::LibraryFile& file) {
    expectStep(file.open(path), "Failed to open DLL file.", file);
    expectStep(file.readSize(), "Failed to get DLL file size.", file);
    expectStep(file.createMapping(), "Failed to create file mapping.", file);
    expectStep(file.mapView(), "Failed to map view of file.", file);
    expectStep(file.hasSignature(), "Not a valid PE image.", file);
    std::string architecture = file.architecture();
    file.release();
    return architecture;
}

std::string getOsArchitecture() {
    return platform::machineArchitecture();
}

bool isValidDll(const std::filesystem::path& path) {
    const std::wstring wide = wideOf(path);
    std::ifstream file;
    std::error_code unknown;
    // Anything else would open on Linux, and a pipe would keep us waiting.
    if (std::filesystem::is_regular_file(path, unknown)) file.open(path, std::ios::binary);
    if (!file.is_open()) {
        std::cerr << "Failed to open file: " << utf8Of(wide) << std::endl;
        return false;
    }
    if (!platform::isSharedLibrary(file)) return false;
    const std::string machine = getOsArchitecture();
    const std::string architecture = getDllArchitecture(wide);
    if (architecture != machine) {
        std::cerr << "[XNN Warning]: " << utf8Of(wide) << " architecture is " << architecture
                  << ", Windows OS architecture is " << machine << ". "
                  << "Please notice, two architectures not same." << std::endl;
    }
    return true;
}

std::wstring wideOf(const std::filesystem::path& path) {
    return wideText(path.native());
}

std::string wstringToString(const std::wstring& text, Utf8Writer write) {
    const int size = write(text.c_str(), nullptr, 0);
    if (size == 0) throw std::runtime_error("Failed to convert wstring to string (length calculation).");
    std::string utf8(static_cast<size_t>(size), '\0');
    if (write(text.c_str(), utf8.data(), size) == 0) {
        throw std::runtime_error("Failed to convert wstring to string (conversion).");
    }
    utf8.pop_back();  // its zero
    return utf8;
}

std::string toAbsolutePath(const std::string& path) {
    return fullPath(path, "GetFullPathNameA");
}

std::wstring toAbsolutePath(const std::wstring& path) {
    return fullPath(path, "GetFullPathNameW");
}

std::shared_ptr<void> load_shared_object(const std::string& path) {
    return load(path);
}

std::shared_ptr<void> load_shared_object(const std::wstring& path) {
    return load(path);
}

void* get_symbol(const std::shared_ptr<void>& library, const char* name) {
    const auto handle = std::static_pointer_cast<SharedLibraryHandle_t>(library);
    if (!handle) {
        throw std::runtime_error("shared_library_handle_object is empty. Please check load xnn step.");
    }
    void* const symbol = handle->kind == kLoadedModule ? platform::findSymbol(handle->module, name) : nullptr;
    if (symbol == nullptr) {
        throw std::runtime_error("GetProcAddress cannot locate method '" + std::string(name) +
                                 "': " + std::to_string(platform::lastLibraryError()));
    }
    return symbol;
}

}  // namespace xnn::util
