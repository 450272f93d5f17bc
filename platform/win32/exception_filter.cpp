#include "platform/include/exception_filter.h"

#include <windows.h>

#include <atomic>
#include <csignal>

#include "platform/failure.h"

namespace platform {

namespace {

constexpr DWORD kGccException = 0x20474343;  // how the compiler's runtime raises a C++ exception
constexpr uint32_t kAbort = 0x40000015;      // STATUS_FATAL_APP_EXIT
constexpr ULONG kStackForFilter = 64 * 1024;

HANDLE gLimitStarted = nullptr;
std::atomic<uint32_t> gLimitMs{0};
std::atomic<Ending> gLimitedEnding{0};

LONG WINAPI onUnhandledException(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    // Going on returns to the throw, which then calls the terminate handler.
    if (record.ExceptionCode == kGccException && !(record.ExceptionFlags & EXCEPTION_NONCONTINUABLE)) {
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    failProcess({static_cast<uint32_t>(record.ExceptionCode), ""}, record.ExceptionCode);
}

void onAbort(int) {
    failProcess({kAbort, ""}, kAbort);
}

// Waits in advance: a process that has failed may not be able to start a thread.
DWORD WINAPI keepTimeLimit(void*) {
    WaitForSingleObject(gLimitStarted, INFINITE);
    Sleep(gLimitMs);
    endFailedProcess(gLimitedEnding);
}

void prepareTimeLimit() {
    static const bool prepared = [] {
        gLimitStarted = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        constexpr SIZE_T kStack = 64 * 1024;
        const HANDLE thread =
            CreateThread(nullptr, kStack, keepTimeLimit, nullptr, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
        if (thread) CloseHandle(thread);
        return thread != nullptr;
    }();
    static_cast<void>(prepared);
}

}  // namespace

void installExceptionFilter(ExceptionFilter filter, uint32_t timeLimitMs) {
    ULONG guarantee = kStackForFilter;
    SetThreadStackGuarantee(&guarantee);
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    prepareTimeLimit();
    setFilter(filter, timeLimitMs);
    SetUnhandledExceptionFilter(onUnhandledException);
    std::signal(SIGABRT, onAbort);
}

void startTimeLimit(uint32_t timeLimitMs, Ending ending) {
    gLimitMs = timeLimitMs;
    gLimitedEnding = ending;
    SetEvent(gLimitStarted);
}

void endFailedProcess(Ending ending) {
    TerminateProcess(GetCurrentProcess(), ending);
    for (;;) Sleep(INFINITE);
}

void waitForTheEnd() {
    for (;;) Sleep(INFINITE);
}

Ending endingOfCppException() {
    return kCppException;
}
uint32_t codeOfAbort() {
    return kAbort;
}
Ending endingOfAbort() {
    return kAbort;
}

}  // namespace platform
