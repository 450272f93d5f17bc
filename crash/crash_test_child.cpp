#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>

#include "crash/CrashFiles.h"
#include "crash/DumpCallback.h"
#include "crash/ExceptionFilter.h"
#include "platform/broken_stderr.h"
#include "platform/include/clock.h"
#include "util/include/CmThread.h"
#include "util/include/CmTrace.h"

// Started by the tests: crash_test_child KIND [SINK]. Says where it is going to fail, then fails with the crash filter
// in force.

// Where this program has been loaded.
extern const char moduleBase asm(CRASH_TEST_MODULE_BASE);

namespace {

// To stdout as "PROCESS THREAD OFFSET LINE": the function's offset from the program's base, the line of the failure.
template <class Function>
void announce(Function* function, int line) {
    const size_t offset = reinterpret_cast<size_t>(function) - reinterpret_cast<size_t>(&moduleBase);
    std::printf("%d %d %zu %d\n", CmGetProcessID(), CmGetThreadID(), offset, line);
    std::fflush(stdout);
}

// Each fails in the line behind its announcement. The instructions themselves, where a sanitizer would answer their C++
// forms first.
[[gnu::noinline]] void nullWrite() {
    announce(nullWrite, __LINE__ + 1);
    asm volatile("movl $1, (%0)" : : "r"(nullptr) : "memory");
}
[[gnu::noinline]] void nullRead() {
    announce(nullRead, __LINE__ + 1);
    asm volatile("movl (%0), %%eax" : : "r"(nullptr) : "eax", "memory");
}
[[gnu::noinline]] void wildJump() {
    announce(wildJump, __LINE__ + 1);
    asm volatile("call *%0" : : "r"(size_t{0x1234567}) : "memory");
}
[[gnu::noinline]] void illegalInstruction() {
    announce(illegalInstruction, __LINE__ + 1);
    asm volatile("ud2");
}
[[gnu::noinline]] void divisionByZero() {
    announce(divisionByZero, __LINE__ + 1);
    asm volatile("xorl %%edx, %%edx; xorl %%ecx, %%ecx; idivl %%ecx" : : : "eax", "ecx", "edx");
}
[[gnu::noinline]] void abortion() {
    announce(abortion, __LINE__ + 1);
    std::abort();
}
[[gnu::noinline]] void uncaughtException() {
    announce(uncaughtException, __LINE__ + 1);
    throw std::invalid_argument("invalid stoi argument");
}

// Its words go to standard error, where nobody takes them.
void failBehind(void (*breakStandardError)()) {
    breakStandardError();
    uncaughtException();
}

[[gnu::noinline]] int useUpStack(volatile int* depth) {
    volatile char room[4096];  // less, and Wine would not have room to tell of it
    room[0] = static_cast<char>(*depth);
    *depth = *depth + 1;
    return *depth < 0 ? 0 : useUpStack(depth) + room[0];
}
[[gnu::noinline]] void stackOverflow() {
    volatile int depth = 0;
    announce(useUpStack, __LINE__ - 6);
    useUpStack(&depth);
}

// On a thread as the host has them.
class Overflow : public ICmEvent {
  public:
    Overflow() : ICmEvent(0) {}
    void OnFire() override { stackOverflow(); }
};

void stackOverflowOnAThread() {
    ACmThread* thread = nullptr;
    ACmThreadSingletonFactory::Instance().GetSingletonThread("overflows", thread);
    thread->GetEventQueue()->PostEvent(new Overflow, 128, 0);
    for (;;) platform::sleepMilliseconds(1000);
}

// As by a return address that has been written over.
[[gnu::noinline]] void jumpOntoTheStack() {
    volatile unsigned char undefined[2] = {0x0f, 0x0b};
    announce(jumpOntoTheStack, __LINE__ + 1);
    asm volatile("call *%0" : : "r"(undefined) : "memory");
}

// Writes over what the heap keeps in a block that is free: giving back the block before it fails where free neighbours
// become one. Then over what lies before a block in use: giving it back fails where that is checked. What is given back
// in between leaves the filter's libraries a heap that still has good blocks.
[[gnu::noinline]] void heapCorruption() {
    constexpr size_t kBlocks = 64;
    constexpr size_t kSize = 600;
    static char* blocks[kBlocks];
    for (char*& block : blocks) block = static_cast<char*>(std::malloc(kSize));
    char* volatile broken = blocks[1];
    std::free(blocks[1]);
    std::memset(broken, 0x41, kSize);
    for (size_t i = 5; i < kBlocks; i += 2) std::free(blocks[i]);
    announce(heapCorruption, __LINE__ + 1);
    std::free(blocks[0]);
    char* volatile beforeIt = blocks[2] - sizeof(size_t);
    std::memset(beforeIt, 0x41, sizeof(size_t));
    std::free(blocks[2]);
    beforeIt = nullptr;  // so that this function is still on the stack in the call
}

// As whoever raises a breakpoint leaves it in the register rcx.
struct BreakpointRecord {
    uint64_t unused[3];
    uint64_t firstFrame;
    const uint64_t* begin;
    const uint64_t* usedEnd;
    const uint64_t* end;
};

[[gnu::noinline]] void breakpointWithRecord() {
    static const uint64_t frames[2] = {reinterpret_cast<uint64_t>(&nullRead), 0};
    static const BreakpointRecord record = {
        {}, reinterpret_cast<uint64_t>(&nullWrite) + 1, frames, frames + 1, frames + 2};
    announce(breakpointWithRecord, __LINE__ + 1);
    asm volatile("int3" : : "c"(&record) : "memory");
}
[[gnu::noinline]] void breakpointWithoutRecord() {
    announce(breakpointWithoutRecord, __LINE__ + 1);
    asm volatile("int3" : : "c"(size_t{8}) : "memory");
}

// Every step of the filter fails in its own way.
class FailingSystem : public CrashSystem {
  public:
    CrashPath temporaryFolder() override { return {}; }
    CrashPath moduleFolder() override { return {}; }
    void writeDump(const platform::UncaughtException&, const CrashPath&) override { nullWrite(); }
    CrashStack readStack(const platform::UncaughtException&, bool) override { std::abort(); }
    void writeReport(const CrashPath&, const CrashText& report) override {
        for (const wchar_t c : report) std::putchar(static_cast<char>(c));
        std::fflush(stdout);
        illegalInstruction();
    }
};

void failingSteps() {
    static FailingSystem system;
    platform::installExceptionFilter([](const platform::UncaughtException& exception) {
        DumpCallback(exception, system);
        std::printf("\nthe end\n");
        std::fflush(stdout);
    });
    divisionByZero();
}

void print(unsigned long level, char* text, unsigned length) {
    std::printf("%lu %.*s\n", level, static_cast<int>(length), text);
    std::fflush(stdout);
}

// Like a client that no longer reads.
void printAndHang(unsigned long level, char* text, unsigned length) {
    print(level, text, length);
    for (;;) platform::sleepMilliseconds(1000);
}

const std::map<std::string, void (*)()> kKinds = {
    {"null-write", nullWrite},
    {"null-read", nullRead},
    {"wild-jump", wildJump},
    {"jump-onto-the-stack", jumpOntoTheStack},
    {"illegal-instruction", illegalInstruction},
    {"division-by-zero", divisionByZero},
    {"abort", abortion},
    {"uncaught-exception", uncaughtException},
    {"stack-overflow", stackOverflow},
    {"stack-overflow-on-a-thread", stackOverflowOnAThread},
    {"heap-corruption", heapCorruption},
    {"breakpoint-with-record", breakpointWithRecord},
    {"breakpoint-without-record", breakpointWithoutRecord},
    {"before-the-command-line", nullWrite},
    {"failing-steps", failingSteps},
    {"full-stderr", [] { failBehind(platform::test::fillStandardError); }},
    {"closed-stderr", [] { failBehind(platform::test::closeReaderOfStandardError); }},
    {"long-words", [] { throw std::runtime_error(std::string(5000, 'w')); }},
    {"number", [] { throw 7; }},
};

}  // namespace

int main(int count, char** arguments) {
    const std::string kind = count > 1 ? arguments[1] : "";
    const std::string sink = count > 2 ? arguments[2] : "print";
    installCrashFilter();
    set_util_external_trace_sink(sink == "hang" ? printAndHang : print);
    if (sink == "silent") set_external_trace_mask(-1);
    if (kind != "before-the-command-line") setCrashFileIds("12", "7");
    const auto found = kKinds.find(kind);
    if (found == kKinds.end()) return 98;
    found->second();
    return 99;
}
