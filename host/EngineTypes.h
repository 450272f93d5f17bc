#pragma once

#include <cstdint>

// The model types of SetModelType; the numbers are wire values.
enum class ZEL_TYPE : uint32_t {
    kIdle = 0,
    kModule = 1,
    kVinoAuto = 2,  // GPU if there is one, else CPU under the same number
    kVinoCpu = 3,
    kRefused = 4,
    kUnused = 5,
    kLadonVinoGpu = 6,
    kLadonVinoCpu = 7,
    kLadonXnnGpu = 8,
    kLadonXnnCpu = 9,
    kLadonXnnNpu = 10,
};

inline constexpr uint32_t kLastZelType = 10;

// The helper family that serves a model type.
enum class ZEL_HELPER_TYPE : uint32_t { kModule = 0, kVino = 1, kLadonVino = 2, kLadonXnn = 3 };

// Device capacity, a wire value: 1 takes the larger network. Passed through to the helpers unchecked.
using DEV_PERFORMANCE_TYPE = uint32_t;
