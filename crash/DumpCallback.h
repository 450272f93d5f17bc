#pragma once

#include "crash/CrashSystem.h"

// The crash filter: traces "zelhost crashed!!!", has the dump written, reads the stack, writes the report. A step that
// fails itself is left, and the next one goes on with what there is. What the reading of a breakpoint's record throws
// passes through; there is no report then. Runs once, on the filter's thread.
void DumpCallback(const platform::UncaughtException& exception, CrashSystem& system);
