#include "platform/include/exception_filter.h"

#include <windows.h>

#include <atomic>
#include <csignal>
#include <mutex>

#include "platform/failure.h"
#include "platform/include/thread.h"
#include "platform/win32/system_exception.h"

namespace platform {

namespace {

constexpr DWORD kGccException = 0x20474343;  // how the compiler's runtime raises a C++ exception
constexpr uint32_t kAbort = 0x40000015;      // STATUS_FATAL_APP_EXIT
constexpr ULONG kStackForFilter = 64 * 1024;

HANDLE gOverflown = nullptr;
std::atomic<const UncaughtException*> gOverflow{nullptr};

HANDLE gLimitStarted = nullptr;
std::atomic<uint32_t> gLimitMs{0};
std::atomic<Ending> gLimitedEnding{0};

LONG WINAPI onUnhandledException(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    // Going on returns to the throw, which then calls the terminate handler.
    if (record.ExceptionCode == kGccException && !(record.ExceptionFlags & EXCEPTION_NONCONTINUABLE)) {
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    const SystemException system = {pointers};
    failProcess({static_cast<uint32_t>(record.ExceptionCode), "", currentThreadId(), &system}, record.ExceptionCode);
}

void onAbort(int) {
    std::signal(SIGABRT, onAbort);  // the runtime takes it back at each call
    failHere(kAbort, "", kAbort);
}

DWORD WINAPI keepTimeLimit(void*) {
    WaitForSingleObject(gLimitStarted, INFINITE);
    Sleep(gLimitMs);
    endFailedProcess(gLimitedEnding);
}

// For a thread whose stack has run out. Its words about the failure lie on its stack, where they stay.
DWORD WINAPI runFilterOfAnother(void*) {
    WaitForSingleObject(gOverflown, INFINITE);
    runFilter(*gOverflow);
    endFailedProcess(gLimitedEnding);
}

void startThread(LPTHREAD_START_ROUTINE start, SIZE_T stack) {
    const HANDLE thread = CreateThread(nullptr, stack, start, nullptr, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread) CloseHandle(thread);
}

// They wait in advance: a process that has failed may not be able to start a thread.
void prepareThreads() {
    static std::once_flag prepared;
    std::call_once(prepared, [] {
        constexpr SIZE_T kSmallStack = 64 * 1024;
        constexpr SIZE_T kFilterStack = 1024 * 1024;
        gLimitStarted = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        gOverflown = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        startThread(keepTimeLimit, kSmallStack);
        startThread(runFilterOfAnother, kFilterStack);
    });
}

}  // namespace

void installExceptionFilter(ExceptionFilter filter, uint32_t timeLimitMs) {
    prepareThreadForFilter();
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    prepareThreads();
    setFilter(filter, timeLimitMs);
    SetUnhandledExceptionFilter(onUnhandledException);
    std::signal(SIGABRT, onAbort);
}

void prepareThreadForFilter() {
    ULONG guarantee = kStackForFilter;
    SetThreadStackGuarantee(&guarantee);
}

void callFilter(const UncaughtException& exception) {
    if (exception.code != kStackOverflow) return runFilter(exception);
    gOverflow = &exception;
    SetEvent(gOverflown);
    waitForTheEnd();
}

void failHere(uint32_t code, const char* message, Ending ending) noexcept {
    CONTEXT context;
    RtlCaptureContext(&context);
    EXCEPTION_RECORD record = {};
    record.ExceptionCode = code;
    record.ExceptionAddress = reinterpret_cast<void*>(context.Rip);
    EXCEPTION_POINTERS pointers = {&record, &context};
    const SystemException system = {&pointers};
    failProcess({code, message, currentThreadId(), &system}, ending);
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
