#pragma once

namespace platform {

// The kernel's id of the calling thread and of this process, as the system's tools print them.
unsigned long currentThreadId();
int currentProcessId();

// Names the calling thread for debuggers and `ps -L`. Returns 0 on success. Linux keeps the first 15 bytes.
int setThreadName(const char* name);

}  // namespace platform
