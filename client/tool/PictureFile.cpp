#include "client/tool/PictureFile.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>

#define STB_IMAGE_STATIC
#define STB_IMAGE_WRITE_STATIC
#define STBI_MAX_DIMENSIONS 16384
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image.h>
#include <stb/stb_image_write.h>

namespace zeltool {

namespace {

constexpr std::array kReadable = {".png", ".jpg", ".jpeg", ".bmp", ".tga", ".ppm", ".pgm"};
constexpr int kJpegQuality = 92;

std::string extensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return extension;
}

}  // namespace

bool isPictureName(const std::string& path) {
    return std::find(kReadable.begin(), kReadable.end(), extensionOf(path)) != kReadable.end();
}

bool loadPicture(const std::string& path, Image& picture, std::string* error) {
    int width = 0;
    int height = 0;
    int channels = 0;
    stbi_uc* pixels = stbi_load(path.c_str(), &width, &height, &channels, 3);
    if (!pixels) {
        *error = "cannot read the picture " + path + ": " + stbi_failure_reason();
        return false;
    }
    picture = Image(static_cast<uint32_t>(width), static_cast<uint32_t>(height), 3);
    std::copy_n(pixels, picture.bytes.size(), picture.bytes.data());
    stbi_image_free(pixels);
    return true;
}

bool savePicture(const std::string& path, const Image& picture, std::string* error) {
    const std::string extension = extensionOf(path);
    const auto width = static_cast<int>(picture.width);
    const auto height = static_cast<int>(picture.height);
    const auto channels = static_cast<int>(picture.channels);
    int written = 0;
    if (extension == ".png") {
        written = stbi_write_png(path.c_str(), width, height, channels, picture.bytes.data(), width * channels);
    } else if (channels == 4) {
        *error = "cannot write " + path + ": only PNG keeps transparency, name the file .png";
        return false;
    } else if (extension == ".jpg" || extension == ".jpeg") {
        written = stbi_write_jpg(path.c_str(), width, height, channels, picture.bytes.data(), kJpegQuality);
    } else if (extension == ".bmp") {
        written = stbi_write_bmp(path.c_str(), width, height, channels, picture.bytes.data());
    } else {
        *error = "cannot write " + path + ": name the file .png, .jpg or .bmp";
        return false;
    }
    if (!written) *error = "cannot write " + path + ": is there such a folder, and room in it?";
    return written != 0;
}

}  // namespace zeltool
