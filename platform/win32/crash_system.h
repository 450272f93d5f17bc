#pragma once

#include "crash/CrashSystem.h"

// The crash filter's system on Windows; crashSystem() is one.
class WindowsCrashSystem : public CrashSystem {
  public:
    CrashPath temporaryFolder() override;
    CrashPath moduleFolder() override;
    // A minidump of the smallest kind, by the dbghelp of the system's own folder.
    void writeDump(const platform::UncaughtException& exception, const CrashPath& path) override;
    CrashStack readStack(const platform::UncaughtException& exception, bool breakpoint) override;
    // Line ends become "\r\n", characters above 0x7F '?'.
    void writeReport(const CrashPath& path, const CrashText& report) override;
};
