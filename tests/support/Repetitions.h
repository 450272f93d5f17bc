#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/include/process.h"

namespace zeltest {

// How often a test repeats its work: the number in the environment variable, for long runs, else `standard`.
inline uint32_t repetitions(const char* variable, uint32_t standard) {
    const std::string value = platform::environmentVariable(variable);
    return value.empty() ? standard : static_cast<uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
}

}  // namespace zeltest
