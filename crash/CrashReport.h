#pragma once

#include "crash/StackText.h"

// The text report: version, exception, thread on a line each, then the stack.
CrashText crashReport(const CrashStack& stack, uint32_t code, unsigned long thread);
