#include "client/tool/PictureFile.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>

#include "client/tool/file_paths.h"

#define STBI_NO_STDIO
#define STBI_WRITE_NO_STDIO
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
    std::string extension = utf8Of(pathOf(path).extension());
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return extension;
}

std::ifstream& streamOf(void* file) {
    return *static_cast<std::ifstream*>(file);
}

int readFrom(void* file, char* bytes, int size) {
    return static_cast<int>(streamOf(file).read(bytes, size).gcount());
}

// A stream that has come to its end stays there: a decoder that skips on would find no end otherwise.
void skipIn(void* file, int count) {
    streamOf(file).seekg(count, std::ios::cur);
}

int ended(void* file) {
    return streamOf(file) ? 0 : 1;
}

void append(void* encoded, void* bytes, int size) {
    static_cast<std::string*>(encoded)->append(static_cast<const char*>(bytes), static_cast<size_t>(size));
}

bool writeFile(const std::string& path, const std::string& content) {
    std::ofstream file(pathOf(path), std::ios::binary);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    return file.good();
}

}  // namespace

bool isPictureName(const std::string& path) {
    return std::find(kReadable.begin(), kReadable.end(), extensionOf(path)) != kReadable.end();
}

bool loadPicture(const std::string& path, Image& picture, std::string* error) {
    std::ifstream file(pathOf(path), std::ios::binary);
    if (!file) {
        *error = "cannot open the picture " + path;
        return false;
    }
    const stbi_io_callbacks reading = {readFrom, skipIn, ended};
    int width = 0;
    int height = 0;
    int channels = 0;
    stbi_uc* pixels = stbi_load_from_callbacks(&reading, &file, &width, &height, &channels, 3);
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
    std::string encoded;
    int done = 0;
    if (extension == ".png") {
        done =
            stbi_write_png_to_func(append, &encoded, width, height, channels, picture.bytes.data(), width * channels);
    } else if (channels == 4) {
        *error = "cannot write " + path + ": only PNG keeps transparency, name the file .png";
        return false;
    } else if (extension == ".jpg" || extension == ".jpeg") {
        done = stbi_write_jpg_to_func(append, &encoded, width, height, channels, picture.bytes.data(), kJpegQuality);
    } else if (extension == ".bmp") {
        done = stbi_write_bmp_to_func(append, &encoded, width, height, channels, picture.bytes.data());
    } else {
        *error = "cannot write " + path + ": name the file .png, .jpg or .bmp";
        return false;
    }
    if (done && writeFile(path, encoded)) return true;
    *error = "cannot write " + path + ": is there such a folder, and room in it?";
    return false;
}

}  // namespace zeltool
