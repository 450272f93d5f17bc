#include "platform/include/path.h"

#include <unistd.h>

#include <filesystem>

#include "platform/include/text.h"

namespace platform {

// ".." stays: behind a link it does not lead to where the text says.
std::string fullPath(const std::string& path, uint32_t& error) {
    std::error_code failure;
    const std::filesystem::path full = std::filesystem::absolute(path, failure);
    if (failure) error = static_cast<uint32_t>(failure.value());
    return failure ? "" : full.string();
}

std::wstring fullPath(const std::wstring& path, uint32_t& error) {
    return widen(fullPath(narrow(path), error));
}

std::string workingDirectory() {
    char directory[1024];
    return getcwd(directory, sizeof directory) ? directory : "";
}

}  // namespace platform
