#include "client/tool/file_paths.h"

#include <system_error>

namespace zeltool {

std::filesystem::path pathOf(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

std::string utf8Of(const std::filesystem::path& path) try {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
} catch (const std::system_error&) {
    return "";
}

}  // namespace zeltool
