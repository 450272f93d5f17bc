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

void failProcess(const UncaughtException& exception, Ending ending) noexcept {
    unsigned long inFilter = 0;
    if (gFilterThread.compare_exchange_strong(inFilter, currentThreadId())) {
        gEnding = ending;
        startTimeLimit(gTimeLimitMs, ending);
        callFilter(exception);
    } else if (inFilter == currentThreadId()) {
        leaveFilterStep();
    } else {
        waitForTheEnd();
    }
    endFailedProcess(gEnding);
}

}  // namespace platform
