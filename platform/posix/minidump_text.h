#pragma once

#include <cstdint>

#include "platform/posix/output_file.h"

namespace platform::minidump {

// Writes UTF-8 as the format's text: bytes of UTF-16, then the characters and a terminator. A byte that is no UTF-8
// becomes U+FFFD. Tells where it lies.
uint32_t writeText(OutputFile& file, const char* utf8);

}  // namespace platform::minidump
