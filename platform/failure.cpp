#include "platform/failure.h"

#include <atomic>
#include <exception>

#include "platform/include/thread.h"

namespace platform {

namespace {

std::atomic<ExceptionFilter> gFilter{nullptr};
std::atomic<uint32_t> gTimeLimitMs{kFilterTimeLimitMs};
std::atomic<unsigned long> gFilterThread{0};
std::atomic<Ending> gEnding{0};

// A jump back without unwinding. The library's own would unwind on Windows, through the system's frames of a nested
// exception.
using StepReturn = void* [5];
StepReturn* gStepReturn = nullptr;  // of the innermost step; the filter's thread alone touches it

// Returns only if no step is under way.
void leaveFilterStep() {
    StepReturn* const step = gStepReturn;
    gStepReturn = nullptr;  // what fails on the way back ends the process
    if (step) __builtin_longjmp(*step, 1);
}

void onTerminate() {
    const std::exception_ptr current = std::current_exception();
    if (!current) failHere(codeOfAbort(), "", endingOfAbort());
    try {
        std::rethrow_exception(current);
    } catch (const std::exception& exception) {
        failHere(kCppException, exception.what(), endingOfCppException());
    } catch (...) {
        failHere(kCppException, "", endingOfCppException());
    }
}

}  // namespace

void setFilter(ExceptionFilter filter, uint32_t timeLimitMs) {
    gTimeLimitMs = timeLimitMs;
    gFilter = filter;
    std::set_terminate(onTerminate);
}

void runFilter(const UncaughtException& exception) {
    gFilterThread = currentThreadId();
    if (const ExceptionFilter filter = gFilter) filter(exception);
}

bool isFilterRunning() {
    return gFilterThread != 0;
}

bool isThreadInFilter() {
    return gFilterThread == currentThreadId();
}

void yieldToFilter() {
    if (isFilterRunning() && !isThreadInFilter()) waitForTheEnd();
}

bool runFilterStep(FilterStep step, void* argument) {
    StepReturn* const outer = gStepReturn;
    StepReturn here;
    if (__builtin_setjmp(here)) {
        gStepReturn = outer;
        return false;
    }
    gStepReturn = &here;
    try {
        step(argument);
    } catch (...) {
        gStepReturn = outer;
        throw;
    }
    gStepReturn = outer;
    return true;
}

void failProcess(const UncaughtException& exception, Ending ending) noexcept {
    unsigned long inFilter = 0;
    if (gFilterThread.compare_exchange_strong(inFilter, currentThreadId())) {
        gEnding = ending;
        startTimeLimit(gTimeLimitMs, ending);
        callFilter(exception);
    } else if (inFilter == currentThreadId()) {
        // Behind an overflow of the filter's own stack nothing on it can be trusted.
        if (exception.code != kStackOverflow) leaveFilterStep();
    } else {
        waitForTheEnd();
    }
    endFailedProcess(gEnding);
}

}  // namespace platform
