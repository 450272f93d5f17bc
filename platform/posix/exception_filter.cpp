#include "platform/include/exception_filter.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "platform/failure.h"
#include "platform/include/thread.h"
#include "platform/posix/system_exception.h"

namespace platform {

namespace {

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGABRT};
constexpr size_t kAlternateStack = 256 * 1024;  // bytes; the filter formats and traces on it

std::atomic<int> gLimitedSignal{SIGABRT};

void setAction(int signal, void (*handler)(int, siginfo_t*, void*), int flags) {
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO | flags;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

void unblock(int signal) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

uint32_t codeOfArithmetic(int detail) {
    switch (detail) {
        case FPE_INTOVF:
            return 0xC0000095;
        case FPE_FLTDIV:
            return 0xC000008E;
        case FPE_FLTOVF:
            return 0xC0000091;
        case FPE_FLTUND:
            return 0xC0000093;
        case FPE_FLTRES:
            return 0xC000008F;
        case FPE_FLTINV:
            return 0xC0000090;
        case FPE_FLTSUB:
            return 0xC000008C;
        default:
            return 0xC0000094;
    }
}

// Data that cannot be reached close to the stack pointer: the stack has no room left.
bool isStackOverflow(const siginfo_t& info, const ucontext_t& context) {
    constexpr uintptr_t kReach = 64 * 1024;
    constexpr greg_t kInstructionFetch = 0x10;
    if (context.uc_mcontext.gregs[REG_ERR] & kInstructionFetch) return false;
    const auto stack = static_cast<uintptr_t>(context.uc_mcontext.gregs[REG_RSP]);
    const auto address = reinterpret_cast<uintptr_t>(info.si_addr);
    return info.si_code > 0 && info.si_code != SI_KERNEL && address + kReach >= stack && address < stack + kReach;
}

uint32_t codeOf(int signal, const siginfo_t& info, const ucontext_t& context) {
    switch (signal) {
        case SIGSEGV:
            return isStackOverflow(info, context) ? kStackOverflow : 0xC0000005;
        case SIGBUS:
            return info.si_code == BUS_ADRALN ? 0x80000002 : 0xC0000006;
        case SIGILL:
            return info.si_code == ILL_PRVOPC || info.si_code == ILL_PRVREG ? 0xC0000096 : 0xC000001D;
        case SIGFPE:
            return codeOfArithmetic(info.si_code);
        case SIGTRAP:
            return 0x80000003;
        default:
            return static_cast<uint32_t>(signal);
    }
}

void onFatalSignal(int signal, siginfo_t* info, void* context) {
    const SystemException system = {*info, static_cast<ucontext_t*>(context)};
    failProcess({codeOf(signal, *info, *system.context), "", currentThreadId(), &system}, static_cast<Ending>(signal));
}

void onTimeLimit(int, siginfo_t*, void*) {
    endFailedProcess(static_cast<Ending>(gLimitedSignal.load()));
}

// A thread that has used up its stack cannot run a handler on it. The lowest page stays closed: a handler that needs
// more fails there, by an overflow of its own.
class AlternateStack {
  public:
    AlternateStack()
        : memory_(mmap(nullptr, kAlternateStack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
        if (memory_ == MAP_FAILED) return;
        mprotect(memory_, kPage, PROT_NONE);
    }
    ~AlternateStack() {
        if (memory_ == MAP_FAILED) return;
        const stack_t none = {nullptr, SS_DISABLE, 0};
        sigaltstack(&none, nullptr);
        munmap(memory_, kAlternateStack);
    }
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;

    // In place of any other that the thread has.
    void use() const {
        if (memory_ == MAP_FAILED) return;
        const stack_t stack = {static_cast<char*>(memory_) + kPage, 0, kAlternateStack - kPage};
        sigaltstack(&stack, nullptr);
    }

  private:
    static constexpr size_t kPage = 4096;
    void* const memory_;
};

}  // namespace

void installExceptionFilter(ExceptionFilter filter, uint32_t timeLimitMs) {
    prepareThreadForFilter();
    setFilter(filter, timeLimitMs);
    // A fault of the filter itself must arrive as well.
    for (const int signal : kFatalSignals) setAction(signal, onFatalSignal, SA_ONSTACK | SA_NODEFER);
}

void prepareThreadForFilter() {
    thread_local const AlternateStack stack;
    stack.use();
}

void callFilter(const UncaughtException& exception) {
    // What cannot be written, for want of a reader or of room, is an error and no end.
    for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);
    runFilter(exception);
}

void failHere(uint32_t code, const char* message, Ending ending) noexcept {
    ucontext_t context = {};  // getcontext leaves out what a call need not keep
    getcontext(&context);
    SystemException system = {{}, &context};
    system.info.si_signo = static_cast<int>(ending);
    failProcess({code, message, currentThreadId(), &system}, ending);
}

void startTimeLimit(uint32_t timeLimitMs, Ending ending) {
    gLimitedSignal = static_cast<int>(ending);
    setAction(SIGALRM, onTimeLimit, 0);
    unblock(SIGALRM);
    const itimerval limit = {{}, {timeLimitMs / 1000, static_cast<suseconds_t>(timeLimitMs % 1000) * 1000}};
    setitimer(ITIMER_REAL, &limit, nullptr);
}

void endFailedProcess(Ending ending) {
    const int signal = static_cast<int>(ending);
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    unblock(signal);
    raise(signal);
    _exit(128 + signal);
}

void waitForTheEnd() {
    for (;;) pause();
}

Ending endingOfCppException() {
    return SIGABRT;
}
uint32_t codeOfAbort() {
    return SIGABRT;
}
Ending endingOfAbort() {
    return SIGABRT;
}

}  // namespace platform
