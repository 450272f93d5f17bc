#pragma once

#include <cstddef>

#include "platform/posix/minidump_format.h"

namespace platform::minidump {

// The processor and the kernel; the version as text goes to `version`, the record has no offset of it yet.
inline constexpr size_t kSystemVersionLength = 256;
SystemInfo systemInfo(char (&version)[kSystemVersionLength]);

// This process: id, start, processor time.
MiscInfo miscInfo();

}  // namespace platform::minidump
