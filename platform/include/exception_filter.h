#pragma once

#include <cstdint>

// The system's road for exceptions that nobody catches.
namespace platform {

// The system's own account of a failure: platform/<system>/system_exception.h.
struct SystemException;

// Valid during the filter only.
struct UncaughtException {
    uint32_t code;                  // 0xE06D7363 for a C++ exception, else the system's code
    const char* message;            // what() of a C++ exception, "" else
    unsigned long thread;           // the thread that failed, which need not be the one that the filter runs on
    const SystemException* system;  // never null
};

// Installs `filter` for every thread; it runs on the thread that failed (on Windows on another one when the stack has
// run out), at most once in a process, and afterwards the process ends without destructors. An uncaught C++ exception
// enters through a terminate handler guarded against re-entry. A filter that fails itself, or has not returned after
// timeLimitMs, is cut short: the process ends all the same, and threads that fail meanwhile wait for that. The exit
// code is the exception's code on Windows; on Linux the process ends by the signal of the failure, SIGABRT for a C++
// exception. A fault of the system without a Windows code of its own has the signal's number as its code on Linux;
// abort() has 0x40000015 on Windows.
using ExceptionFilter = void (*)(const UncaughtException& exception);
inline constexpr uint32_t kFilterTimeLimitMs = 5000;
void installExceptionFilter(ExceptionFilter filter, uint32_t timeLimitMs = kFilterTimeLimitMs);

// Gives the calling thread what the filter needs when its stack has run out: a stack for handlers on Linux, a part of
// its stack kept back on Windows. Every thread of ours calls it first; installExceptionFilter does for its own. It is
// called again behind libraries that put a smaller stack for handlers in its place.
void prepareThreadForFilter();

// Whether the calling thread is the one that runs the filter. It must then wait for nothing that the failed thread may
// hold. Needs no lock.
bool isThreadInFilter();

// Whether any thread runs the filter: this process is about to end, by the filter alone. Needs no lock.
bool isFilterRunning();

// Comes back at once unless another thread runs the filter, and then never: the filter ends the process. A thread that
// is about to end the process calls it first, so that what the filter writes is whole.
void yieldToFilter();

// Runs one step of the filter, on the thread that runs it. False when the step failed itself (a fault, an abort): it
// has been left where it stood, with whatever it held. A step that runs out of stack ends the process. An exception
// passes through. Steps may be steps of a step.
using FilterStep = void (*)(void* argument);
bool runFilterStep(FilterStep step, void* argument);

}  // namespace platform
