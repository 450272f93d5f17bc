#pragma once

#include <string>

#include "crash/StackText.h"
#include "platform/include/exception_filter.h"

// Paths of the crash files, in the system's narrow text.
using CrashPath = std::pmr::string;

// What the crash filter asks of the system that it runs on. Called on the thread that runs the filter, one after
// another; each call may fail half way, and the filter then goes on with the next.
class CrashSystem {
  public:
    virtual ~CrashSystem() = default;

    // The folder for temporary files, ready for a file name directly behind it; "" when it cannot be had or has 2048
    // bytes or more.
    virtual CrashPath temporaryFolder() = 0;
    // The folder of the host's own module, with a separator at its end; "" when it cannot be told.
    virtual CrashPath moduleFolder() = 0;
    // Writes the dump, in place of what lies there, and traces how that went.
    virtual void writeDump(const platform::UncaughtException& exception, const CrashPath& path) = 0;
    // The thread's stack at the failure. With `breakpoint` also the extra frames: std::runtime_error
    // "Can't read memory" when there are none.
    virtual CrashStack readStack(const platform::UncaughtException& exception, bool breakpoint) = 0;
    // Writes the report, in place of what lies there. A failure goes unnoticed.
    virtual void writeReport(const CrashPath& path, const CrashText& report) = 0;
};

CrashSystem& crashSystem();
