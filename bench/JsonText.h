#pragma once

#include <string>

namespace zelbench {

// The text as a JSON string, quotes around it. It holds no control characters.
std::string quoted(const std::string& text);

}  // namespace zelbench
