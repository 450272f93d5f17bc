#pragma once

#include <cstdint>

#include "platform/include/exception_filter.h"

// The part of the exception filter that is the same on both systems, and what each system does for it.
namespace platform {

inline constexpr uint32_t kCppException = 0xE06D7363;
inline constexpr uint32_t kStackOverflow = 0xC00000FD;

// How the process ends: a signal on Linux, an exit code on Windows.
using Ending = uint32_t;

// Puts the filter and the terminate handler in force.
void setFilter(ExceptionFilter filter, uint32_t timeLimitMs);

// Runs the filter unless it has been run, and ends the process. Within a step of the filter it leaves that step
// instead, unless the stack has run out. May be called in a signal handler.
[[noreturn]] void failProcess(const UncaughtException& exception, Ending ending) noexcept;

// Runs the filter on the calling thread.
void runFilter(const UncaughtException& exception);

// Each system's own. The first three are called in signal handlers.
void callFilter(const UncaughtException& exception);       // has runFilter run on a thread with a stack
void startTimeLimit(uint32_t timeLimitMs, Ending ending);  // ends the process after that time
[[noreturn]] void endFailedProcess(Ending ending);
[[noreturn]] void waitForTheEnd();
[[noreturn]] void failHere(uint32_t code, const char* message, Ending ending) noexcept;  // with the caller's registers
Ending endingOfCppException();
// What std::terminate without an exception is: the exception's code and the ending.
uint32_t codeOfAbort();
Ending endingOfAbort();

}  // namespace platform
