#pragma once

#include <string>
#include <string_view>

#include "crash/CrashSystem.h"

// Where the files of a crash lie: "zelhost_crash_", the client's two ids and this process's id.

// The values of the command line's "PID" and "MID", empty until this is called.
void setCrashFileIds(const std::string& clientProcessId, const std::string& clientInstanceId);

// The path of the crash file with that extension, ".dmp" or ".txt": in the temporary folder, else beside the host's own
// module, else the bare name, which is in the working directory.
CrashPath GetCrashFilePath(CrashSystem& system, std::string_view extension);
