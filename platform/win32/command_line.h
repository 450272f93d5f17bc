#pragma once

#include <string>
#include <vector>

namespace platform {

// One command line of which CommandLineToArgvW makes the same words again.
std::wstring commandLineOf(const std::vector<std::wstring>& words);

}  // namespace platform
