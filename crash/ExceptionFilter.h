#pragma once

// Installs the host's filter for exceptions that nobody catches, of every thread. For a C++ exception it first writes
// its words to the standard error output as one line; then DumpCallback leaves a dump and a report. The process ends
// within platform::kFilterTimeLimitMs even when that cannot be done, or within ZELHOST_CRASH_SECONDS, 1 to 600, for a
// system that is slow at it.
void installCrashFilter();
