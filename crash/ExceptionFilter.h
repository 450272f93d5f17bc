#pragma once

// Installs the host's filter for exceptions that nobody catches, of every thread. It traces "zelhost crashed!!!" at
// level 0 and, for a C++ exception, writes its words to the standard error output as one line. The process then ends,
// within platform::kFilterTimeLimitMs even when the trace cannot get through.
void installCrashFilter();
