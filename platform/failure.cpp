#include "platform/failure.h"

#include <atomic>
#include <exception>

#include "platform/include/thread.h"

namespace platform {

namespace {

std::atomic<ExceptionFilter> gFilter{nullptr};
std::atomic<uint32_t> gTimeLimitMs{kFilterTimeLimitMs};
std::atomic<unsigned long> gFailedThread{0};
std::atomic<Ending> gEnding{0};

void onTerminate() {
    const std::exception_ptr current = std::current_exception();
    if (!current) failProcess({codeOfAbort(), ""}, endingOfAbort());
    try {
        std::rethrow_exception(current);
    } catch (const std::exception& exception) {
        failProcess({kCppException, exception.what()}, endingOfCppException());
    } catch (...) {
        failProcess({kCppException, ""}, endingOfCppException());
    }
}

}  // namespace

void setFilter(ExceptionFilter filter, uint32_t timeLimitMs) {
    gTimeLimitMs = timeLimitMs;
    gFilter = filter;
    std::set_terminate(onTerminate);
}

void failProcess(const UncaughtException& exception, Ending ending) noexcept {
    unsigned long failed = 0;
    if (gFailedThread.compare_exchange_strong(failed, currentThreadId())) {
        gEnding = ending;
        startTimeLimit(gTimeLimitMs, ending);
        if (const ExceptionFilter filter = gFilter) filter(exception);
    } else if (failed != currentThreadId()) {
        waitForTheEnd();
    }
    endFailedProcess(gEnding);
}

}  // namespace platform
