#pragma once

#include <cstdint>

#include "crash/CrashText.h"

inline constexpr uint32_t kBreakpointException = 0x80000003;
inline constexpr uint32_t kCppException = 0xE06D7363;

// The name of an exception code, "UNKNOWN EXCEPTION(code)" with the code in decimal for a code without a name.
CrashText GetExceptionName(uint32_t code);
