#pragma once

#include <string>

#include "client/tool/Picture.h"

namespace zeltool {

// Whether the name is that of a picture file that can be read.
bool isPictureName(const std::string& path);

// Reads a picture as three channels. False, with a line for people in *error, when it cannot be read.
bool loadPicture(const std::string& path, Image& picture, std::string* error);

// Writes a picture of 1, 3 or 4 channels as PNG, JPEG or BMP, by the name's extension; alpha goes into PNG only.
bool savePicture(const std::string& path, const Image& picture, std::string* error);

}  // namespace zeltool
