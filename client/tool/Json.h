#pragma once

#include <string>

#include "client/tool/Picture.h"

namespace zeltool {

// A text as JSON, quotes included. Names of files and what a host says may be any bytes: each malformed sequence of
// UTF-8 becomes one \ufffd.
std::string quoted(const std::string& text);

// What every JSON object of a frame begins with: its brace, the name, the size.
std::string jsonHead(const std::string& name, const Image& picture);

}  // namespace zeltool
