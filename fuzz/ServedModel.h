#pragma once

#include <cstdint>

namespace fuzz {

// The model type whose network the target carries.
extern const uint32_t kServedType;

}  // namespace fuzz
