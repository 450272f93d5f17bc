#include <xmmintrin.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/include/clock.h"
#include "platform/include/exception_filter.h"
#include "platform/include/kernel_objects.h"
#include "platform/include/process.h"

#ifdef _WIN32
#include <windows.h>

#include "platform/win32/utf8.h"
#else
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

// Started by the tests: does what its first argument says. Output that a failing process must not lose is flushed.

namespace {

using Words = std::vector<std::string>;

[[noreturn]] void waitForEver() {
    for (;;) platform::sleepMilliseconds(1000);
}

int printArguments(const Words& words) {
    for (size_t i = 1; i < words.size(); ++i) {
        for (const unsigned char byte : words[i]) std::printf("%02x", byte);
        std::printf("\n");
    }
    return 0;
}

int useStreams(const Words&) {
    int bytes = 0;
    while (std::getchar() != EOF) ++bytes;
    std::printf("out %d\n", bytes);
    std::fflush(stdout);
    std::fprintf(stderr, "err\n");
    return 0;
}

struct Destroyed {
    ~Destroyed() {
        std::printf("destroyed\n");
        std::fflush(stdout);
    }
};

int endAtOnce(const Words& words) {
    static const Destroyed object;
    std::atexit([] { std::printf("handler\n"); });
    platform::endProcess(std::stoi(words[1]));
}

int passErrorStream(const Words& words) {
    platform::ProcessOptions options;
    options.standardError = "inherit";
    const auto child = platform::startProcess(words[1], {"streams"}, options, nullptr);
    return child && child->waitForExit(platform::kInfinite) ? child->exitCode() : 97;
}

// The next ones are of one system.
#ifdef _WIN32
int setEventOfParent(const Words& words) {
    SetEvent(reinterpret_cast<HANDLE>(std::stoull(words[1])));
    return 0;
}
#else
int printDescriptors(const Words&) {
    DIR* folder = opendir("/proc/self/fd");
    for (const dirent* entry = readdir(folder); entry; entry = readdir(folder)) {
        const int number = std::atoi(entry->d_name);
        if (entry->d_name[0] != '.' && number != dirfd(folder)) std::printf("%d ", number);
    }
    closedir(folder);
    return 0;
}

int printSignals(const Words&) {
    std::FILE* file = std::fopen("/proc/self/status", "r");
    char line[256];
    while (std::fgets(line, sizeof line, file)) {
        if (std::string(line).compare(0, 3, "Sig") == 0) std::printf("%s", line);
    }
    std::fclose(file);
    return 0;
}

int startOneThatDiesWithUs(const Words& words) {
    platform::ProcessOptions options;
    options.dieWithParent = true;
    const auto child = platform::startProcess(words[1], {"wait"}, options, nullptr);
    std::printf("%d\n", child->id());
    std::fflush(stdout);
    waitForEver();
}

void failByBus() {
    const int file = memfd_create("bus", 0);
    *static_cast<volatile char*>(mmap(nullptr, 4096, PROT_WRITE, MAP_SHARED, file, 0)) = 1;
}

void failByOverflowOfNumber() {
    // The signal as the kernel would send it; no instruction of ours raises it.
    siginfo_t info = {};
    info.si_signo = SIGFPE;
    info.si_code = FPE_INTOVF;
    syscall(SYS_rt_sigqueueinfo, getpid(), SIGFPE, &info);
}
#endif

void report(const platform::UncaughtException& exception) {
    std::printf("code=%08x message=%s\n", static_cast<unsigned>(exception.code), exception.message);
    std::fflush(stdout);
}

void throwWords() {
    throw std::runtime_error("the words");
}

void failByAbort() {
    std::abort();
}

std::atomic<bool> gFilterRuns{false};
std::atomic<bool> gFilterRanTwice{false};

// Lets a second thread fail while the first is in the filter. A second run would come at once.
void reportWhileAnotherFails(const platform::UncaughtException& exception) {
    report(exception);
    if (gFilterRuns.exchange(true)) {
        gFilterRanTwice = true;
        return;
    }
    for (int i = 0; i < 50 && !gFilterRanTwice; ++i) platform::sleepMilliseconds(10);
}

template <void (*failure)()>
void failOnTwoThreads() {
    platform::installExceptionFilter(reportWhileAnotherFails);
    std::thread first(failure);
    std::thread second([] {
        while (!gFilterRuns) std::this_thread::yield();
        failure();
    });
    first.join();
    second.join();
}

// A thread fails and the main thread comes to its end before the filter does.
void failWhileTheMainThreadEnds() {
    platform::installExceptionFilter([](const platform::UncaughtException& exception) {
        platform::sleepMilliseconds(300);
        report(exception);
    });
    std::thread(throwWords).detach();
    while (!platform::isFilterRunning()) std::this_thread::yield();
    platform::yieldToFilter();
}

__attribute__((noinline)) int useUpStack(volatile int* depth) {
    volatile char room[4096];
    room[0] = static_cast<char>(*depth);
    *depth = *depth + 1;
    return *depth < 0 ? 0 : useUpStack(depth) + room[0];
}

void failByStackOverflow() {
    volatile int depth = 0;
    useUpStack(&depth);
}

// The instructions themselves: a sanitizer would answer their C++ forms first.
void failByAccess() {
    asm volatile("movl $1, (%0)" : : "r"(nullptr) : "memory");
}
void failByIllegalInstruction() {
    asm volatile("ud2");
}
void failByBreakpoint() {
    asm volatile("int3");
}
void failByDivision() {
    asm volatile("xorl %%edx, %%edx; xorl %%ecx, %%ecx; idivl %%ecx" : : : "eax", "ecx", "edx");
}
void failByFloatDivision() {
    _mm_setcsr(_mm_getcsr() & ~_MM_MASK_DIV_ZERO);
    float number = 1;
    asm volatile("divss %1, %0" : "+x"(number) : "x"(0.0f));
}

const std::map<std::string, void (*)()> kFailures = {
    {"abort", failByAbort},
    {"access", failByAccess},
    {"breakpoint", failByBreakpoint},
    {"division", failByDivision},
    {"float-division", failByFloatDivision},
    {"illegal", failByIllegalInstruction},
    {"number", [] { throw 7; }},
    {"stack", failByStackOverflow},
    {"terminate", [] { std::terminate(); }},
    {"words", throwWords},
    {"aborts-on-two-threads", failOnTwoThreads<failByAbort>},
    {"words-on-two-threads", failOnTwoThreads<throwWords>},
    {"words-while-main-ends", failWhileTheMainThreadEnds},
    {"access-on-thread", [] { std::thread(failByAccess).join(); }},
    {"words-on-thread", [] { std::thread(throwWords).join(); }},
#ifndef _WIN32
    {"bus", failByBus},
    {"number-overflow", failByOverflowOfNumber},
#endif
};

const std::map<std::string, platform::ExceptionFilter> kFilters = {
    {"report", report},
    {"throw",
     [](const platform::UncaughtException& exception) {
         report(exception);
         throwWords();
     }},
    {"access",
     [](const platform::UncaughtException& exception) {
         report(exception);
         failByAccess();
     }},
    {"abort",
     [](const platform::UncaughtException& exception) {
         report(exception);
         failByAbort();
     }},
    {"steps",
     [](const platform::UncaughtException& exception) {
         for (void (*const step)() : {failByAbort, failByAccess, failByAbort}) {
             const bool done = platform::runFilterStep([](void* own) { (*static_cast<void (**)()>(own))(); },
                                                       const_cast<void (**)()>(&step));
             if (done) return;
         }
         report(exception);
     }},
    {"overflow",
     [](const platform::UncaughtException& exception) {
         report(exception);
         platform::runFilterStep([](void*) { failByStackOverflow(); }, nullptr);
         report(exception);
     }},
    {"hang",
     [](const platform::UncaughtException& exception) {
         report(exception);
         waitForEver();
     }},
};

// fail FAILURE FILTER [LIMIT]
int fail(const Words& words) {
    static const Destroyed object;
    const uint32_t limit =
        words.size() > 3 ? static_cast<uint32_t>(std::stoul(words[3])) : platform::kFilterTimeLimitMs;
    // A buffer would be allocated by the filter's first word.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    platform::installExceptionFilter(kFilters.at(words[2]), limit);
    kFailures.at(words[1])();
    return 99;
}

const std::map<std::string, int (*)(const Words&)> kActions = {
    {"arguments", printArguments},
    {"end", endAtOnce},
    {"environment",
     [](const Words& words) {
         std::printf("%s", platform::environmentVariable(words[1].c_str()).c_str());
         return 0;
     }},
    {"exit", [](const Words& words) { return std::stoi(words[1]); }},
    {"fail", fail},
    {"pass-error", passErrorStream},
    {"streams", useStreams},
    {"wait", [](const Words&) -> int { waitForEver(); }},
#ifdef _WIN32
    {"set-event", setEventOfParent},
#else
    {"descriptors", printDescriptors},
    {"nursery", startOneThatDiesWithUs},
    {"signals", printSignals},
#endif
};

int act(const Words& words) {
    const auto action = kActions.find(words.empty() ? "" : words[0]);
    return action == kActions.end() ? 98 : action->second(words);
}

}  // namespace

#ifdef _WIN32
extern "C" int wmain(int count, wchar_t** arguments) {
    Words words;
    for (int i = 1; i < count; ++i) words.push_back(platform::utf8FromWide(arguments[i]));
    return act(words);
}
#else
int main(int count, char** arguments) {
    return act(Words(arguments + 1, arguments + count));
}
#endif
