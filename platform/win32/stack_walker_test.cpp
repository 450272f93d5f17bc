#include "platform/win32/stack_walker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <stdexcept>

#include "platform/win32/fake_debug_system.h"

namespace {

using ::testing::ElementsAre;

constexpr DWORD kProcess = 0x500;
constexpr DWORD kThread = 0x600;
constexpr const char* kNoStack = "[Could not determine stacktrace]";

std::string narrow(const CrashText& text) {
    return std::string(text.begin(), text.end());
}

struct Result {
    std::string stack;
    std::string extra;
    std::string version;
};

Result getStack(CONTEXT& context, bool breakpoint = false, DWORD process = kProcess, DWORD thread = kThread) {
    CrashText extra(crashMemory());
    CrashText version(crashMemory());
    const CrashText stack = GetCrashStack(process, thread, &context, breakpoint, extra, version);
    return {narrow(stack), narrow(extra), narrow(version)};
}

Result getStack(bool breakpoint = false) {
    CONTEXT context{};
    context.Rcx = 0x9000;
    return getStack(context, breakpoint);
}

long countOf(const std::vector<std::string>& texts, const std::string& text) {
    return std::count(texts.begin(), texts.end(), text);
}

// A record at 0x9000 whose array lies at 0xA000.
void layRecord(FakeDebugSystem& system, uint64_t usedEnd, uint64_t end) {
    system.memory[0x9018] = 0x10018;
    system.memory[0x9020] = 0xA000;
    system.memory[0x9028] = usedEnd;
    system.memory[0x9030] = end;
    for (uint64_t slot = 0; slot < 101; ++slot) system.memory[0xA000 + slot * 8] = 0x10100 + slot;
}

std::vector<std::string> entriesOf(const std::string& text) {
    std::vector<std::string> entries;
    std::istringstream stream(text);
    for (std::string entry; std::getline(stream, entry, ';');) entries.push_back(entry);
    return entries;
}

const uint64_t kProgramBase = reinterpret_cast<uint64_t>(GetModuleHandleW(nullptr));

// Wine lists modules without their extension.
std::vector<uint64_t> programOffsetsOf(const std::string& text) {
    std::vector<uint64_t> offsets;
    for (const std::string& entry : entriesOf(text)) {
        const size_t plus = entry.find("+0x");
        const std::string name = entry.substr(0, plus);
        if (name != "crash_system_test.exe" && name != "crash_system_test") break;
        offsets.push_back(std::stoull(entry.substr(plus + 3), nullptr, 16));
    }
    return offsets;
}

uint64_t functionAt(uint64_t address) {
    DWORD64 base = 0;
    const RUNTIME_FUNCTION* const function = RtlLookupFunctionEntry(address, &base, nullptr);
    return function ? base + function->BeginAddress : 0;
}

Result getOwnStack(CONTEXT& context, uint64_t record) {
    context.Rcx = record;
    return getStack(context, true, GetCurrentProcessId(), GetCurrentThreadId());
}

// What whoever raises a breakpoint lays down, its array behind it.
struct Record {
    uint64_t unused[3] = {};
    uint64_t first = kProgramBase + 0x18;
    uint64_t begin = reinterpret_cast<uint64_t>(&slots[0]);
    uint64_t usedEnd = begin + 8;
    uint64_t end;
    std::array<uint64_t, 101> slots{};

    explicit Record(size_t count) : end(begin + count * 8) {
        for (size_t i = 0; i < slots.size(); ++i) slots[i] = kProgramBase + 0x100 + i;
    }
};
static_assert(offsetof(Record, first) == 0x18 && offsetof(Record, end) == 0x30);

struct Captured {
    Record record{100};
    CONTEXT context{};
    Result result;
};

[[gnu::noinline]] void captureHere(Captured& captured) {
    RtlCaptureContext(&captured.context);
    captured.result = getOwnStack(captured.context, reinterpret_cast<uint64_t>(&captured.record));
}

[[gnu::noinline]] int captureBelow(Captured& captured, int depth) {
    if (depth == 0) {
        captureHere(captured);
        return 0;
    }
    volatile int below = captureBelow(captured, depth - 1);
    return below + 1;
}

// Once for all, since a walk takes seconds under Wine.
const Captured& deepCapture() {
    static Captured captured;
    static const int depth = captureBelow(captured, 150);
    static_cast<void>(depth);
    return captured;
}

// Of a thread that runs in memory of no module, with nothing on its stack and a record that is too long.
Result getStackFromNowhere() {
    static uint64_t stack[1024] = {};
    const Record record(101);
    void* const page = VirtualAlloc(nullptr, 4096, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    CONTEXT context;
    RtlCaptureContext(&context);
    context.Rip = reinterpret_cast<uint64_t>(page) + 16;
    context.Rsp = context.Rbp = reinterpret_cast<uint64_t>(&stack[512]);
    Result result = getOwnStack(context, reinterpret_cast<uint64_t>(&record));
    VirtualFree(page, 0, MEM_RELEASE);
    return result;
}

const Result& nowhere() {
    static const Result result = getStackFromNowhere();
    return result;
}

}  // namespace

TEST(WindowsStackWalkerTest, GoesItsStepsInOrder) {
    FakeDebugSystem system;
    system.frames = {0x10010, 0x10020};
    getStack();
    EXPECT_THAT(
        system.calls,
        ElementsAre("GetSystemDirectoryA 104", "LoadLibrary C:\\system\\dbghelp.DLL", "OpenProcess 410 0 500",
                    "GetProcAddress 0x77 SymGetModuleInfoW64", "GetProcAddress 0x77 EnumerateLoadedModulesExW",
                    "GetProcAddress 0x77 StackWalk64", "GetProcAddress 0x77 SymCleanup",
                    "GetProcAddress 0x77 SymFunctionTableAccess64", "GetProcAddress 0x77 SymGetModuleBase64",
                    "GetProcAddress 0x77 SymInitialize", "GetProcAddress 0x77 SymSetOptions",
                    "GetProcAddress 0x77 SymGetOptions", "GetProcAddress 0x77 SymFromAddrW",
                    "GetProcAddress 0x77 SymGetLineFromAddrW64", "GetProcAddress 0x77 SymSrvGetFileIndexes",
                    "SymGetOptions", "SymSetOptions 80002", "SymInitialize 0x11 fake_address 1",
                    "EnumerateLoadedModulesExW 0x11", "OpenThread 1f03ff 0 600", "StackWalk64 8664 0x11 0x22 1",
                    "StackWalk64 8664 0x11 0x22 1", "StackWalk64 8664 0x11 0x22 1",
                    "debugger: StackWalk64 returned FALSE, lastError: 1234", "SymGetModuleInfoW64 0x11 10010 cc0 1",
                    "GetFileVersionInfoSizeW C:\\folder\\Host.EXE", "GetFileVersionInfoW C:\\folder\\Host.EXE 64",
                    "VerQueryValueW \\", "debugger: number of exception_frames:  0", "debugger: number of modList:  1",
                    "debugger: number of stackTraceStrs:  2", "debugger: number of stackTraceAddresses:  2",
                    "CloseHandle 0x22", "SymCleanup 0x11", "FreeLibrary 0x77", "CloseHandle 0x11"));
}

TEST(WindowsStackWalkerTest, TextsAreThoseOfTheFrames) {
    FakeDebugSystem system;
    system.modules = {{L"C:\\folder\\Host.EXE", 0x10000, 0x1000}, {L"D:\\A\\Engine.dll", 0x7FFF12340000, 0x100}};
    system.frames = {0x10ABC, 0x7FFF12340001};
    system.version.dwProductVersionMS = 0xFFFE0001;
    system.version.dwProductVersionLS = 0x0002FFFF;
    const Result result = getStack();
    EXPECT_EQ(result.stack, "host.exe+0xabc;engine.dll+0x1;");
    EXPECT_EQ(result.extra, "");
    EXPECT_EQ(result.version, "65534.1.2.65535");
}

TEST(WindowsStackWalkerTest, ModuleWithoutFolderKeepsItsName) {
    FakeDebugSystem system;
    system.modules[0].path = L"Host.EXE";
    system.frames = {0x10010};
    EXPECT_EQ(getStack().stack, "Host.EXE+0x10;");
}

TEST(WindowsStackWalkerTest, MissingDbgHelpIsTold) {
    for (const char* const call : {"GetSystemDirectoryA", "LoadLibrary"}) {
        FakeDebugSystem system;
        system.failing = {call};
        const Result result = getStack(true);
        EXPECT_EQ(result.stack, kNoStack);
        EXPECT_EQ(result.extra + result.version, "");
        EXPECT_EQ(system.calls.back(), "debugger: error loading dbghelp: 1234") << call;
    }
}

TEST(WindowsStackWalkerTest, SystemFolderThatDoesNotFitIsNone) {
    FakeDebugSystem system;
    system.systemFolder = std::string(MAX_PATH, 'x');
    EXPECT_EQ(getStack().stack, kNoStack);
    EXPECT_THAT(system.calls, ElementsAre("GetSystemDirectoryA 104", "debugger: error loading dbghelp: 1234"));
}

TEST(WindowsStackWalkerTest, ClosedProcessIsTold) {
    FakeDebugSystem system;
    system.failing = {"OpenProcess"};
    EXPECT_EQ(getStack().stack, kNoStack);
    EXPECT_THAT(system.calls,
                ElementsAre("GetSystemDirectoryA 104", "LoadLibrary C:\\system\\dbghelp.DLL", "OpenProcess 410 0 500",
                            "debugger: error opening crash process: 1234", "FreeLibrary 0x77"));
}

TEST(WindowsStackWalkerTest, EveryRequiredFunctionIsNeeded) {
    for (const char* const name : {"EnumerateLoadedModulesExW", "StackWalk64", "SymCleanup", "SymFunctionTableAccess64",
                                   "SymGetModuleBase64", "SymInitialize", "SymSetOptions", "SymGetOptions"}) {
        SCOPED_TRACE(name);
        FakeDebugSystem system;
        system.frames = {0x10010};
        system.missing = {name};
        EXPECT_EQ(getStack().stack, kNoStack);
        const std::vector<std::string> last(system.calls.end() - 4, system.calls.end());
        EXPECT_THAT(
            last, ElementsAre("GetProcAddress 0x77 SymSrvGetFileIndexes", "debugger: error resolving dbghelp methods 0",
                              "FreeLibrary 0x77", "CloseHandle 0x11"));
    }
}

TEST(WindowsStackWalkerTest, FailedSymbolsProbeTheExitCode) {
    FakeDebugSystem system;
    system.failing = {"SymInitialize"};
    EXPECT_EQ(getStack().stack, kNoStack);
    const std::vector<std::string> last(system.calls.end() - 6, system.calls.end());
    EXPECT_THAT(last, ElementsAre("SymInitialize 0x11 fake_address 1", "debugger: error SymInitialize: 1234",
                                  "GetExitCodeProcess 0x11", "debugger: Testing exit code of the process: 259",
                                  "FreeLibrary 0x77", "CloseHandle 0x11"));
}

TEST(WindowsStackWalkerTest, FailedProbeIsTold) {
    FakeDebugSystem system;
    system.failing = {"SymInitialize", "GetExitCodeProcess"};
    getStack();
    EXPECT_THAT(system.told(), ElementsAre("error SymInitialize: 1234", "GetExitCodeProcess error: 1234"));
}

TEST(WindowsStackWalkerTest, FailedCleanUpIsToldAndGoesOn) {
    FakeDebugSystem system;
    system.failing = {"SymCleanup"};
    system.frames = {0x10010};
    EXPECT_EQ(getStack().stack, "host.exe+0x10;");
    const std::vector<std::string> last(system.calls.end() - 4, system.calls.end());
    EXPECT_THAT(last, ElementsAre("SymCleanup 0x11", "debugger: SymCleanupFuncRetVal fail: 1234", "FreeLibrary 0x77",
                                  "CloseHandle 0x11"));
}

TEST(WindowsStackWalkerTest, WalkGoesOnWithTheModulesThatWereListed) {
    FakeDebugSystem system;
    system.failing = {"EnumerateLoadedModulesExW"};
    system.frames = {0x10010};
    EXPECT_EQ(getStack().stack, "host.exe+0x10;");
    EXPECT_THAT(
        system.told(),
        ElementsAre("error EnumerateLoadedModulesExWFuncRetVal: 1234", "Testing exit code of the process: 259",
                    "StackWalk64 returned FALSE, lastError: 1234", "number of exception_frames:  0",
                    "number of modList:  1", "number of stackTraceStrs:  1", "number of stackTraceAddresses:  1"));
}

TEST(WindowsStackWalkerTest, WalkGoesOnWithoutTheThread) {
    FakeDebugSystem system;
    system.failing = {"OpenThread"};
    system.frames = {0x10010};
    EXPECT_EQ(getStack().stack, "host.exe+0x10;");
    EXPECT_EQ(system.told().front(), "error opening crash thread: 1234");
    EXPECT_TRUE(system.called("StackWalk64 8664 0x11 0 1"));
    EXPECT_FALSE(system.called("CloseHandle 0x22"));
    EXPECT_FALSE(system.called("CloseHandle 0"));
}

TEST(WindowsStackWalkerTest, FirstFrameHasStackAndFrameCrossed) {
    FakeDebugSystem system;
    CONTEXT context{};
    context.Rip = 0x111;
    context.Rsp = 0x222;
    context.Rbp = 0x333;
    getStack(context);
    const STACKFRAME64& frame = system.firstFrame;
    EXPECT_EQ(frame.AddrPC.Offset, 0x111u);
    EXPECT_EQ(frame.AddrFrame.Offset, 0x222u);
    EXPECT_EQ(frame.AddrStack.Offset, 0x333u);
    for (const ADDRESS64& address : {frame.AddrPC, frame.AddrFrame, frame.AddrStack}) {
        EXPECT_EQ(address.Segment, 0);
        EXPECT_EQ(address.Mode, 3);
    }
    EXPECT_EQ(frame.AddrReturn.Offset, 0u);
    EXPECT_EQ(frame.AddrBStore.Offset, 0u);
    EXPECT_EQ(frame.FuncTableEntry, nullptr);
}

TEST(WindowsStackWalkerTest, ContextOfTheFailureStaysAsItIs) {
    FakeDebugSystem system;
    system.frames = {0x10010, 0x10020};
    CONTEXT context{};
    context.Rip = 0x111;
    getStack(context);
    EXPECT_EQ(context.Rip, 0x111u);
    ASSERT_EQ(system.contexts.size(), 3u);
    EXPECT_EQ(system.contexts[2], system.contexts[0]) << "each step goes on from the one before";
}

TEST(WindowsStackWalkerTest, WalkEndsAtAddressZero) {
    FakeDebugSystem system;
    system.frames = {0x10010, 0, 0x10020};
    EXPECT_EQ(getStack().stack, "host.exe+0x10;");
    EXPECT_EQ(system.told().front(), "stackFrame.AddrPC.Offset is 0 0");
}

TEST(WindowsStackWalkerTest, FrameInNoModuleIsDroppedAndTold) {
    FakeDebugSystem system;
    system.frames = {0x10000, 0x10001, 0x11000, 0x10FFF};
    EXPECT_EQ(getStack().stack, "host.exe+0x1;host.exe+0xfff;");
    EXPECT_EQ(countOf(system.told(), "main findModuleNameFromAddress failed on offset: 65536"), 1);
    EXPECT_EQ(countOf(system.told(), "main findModuleNameFromAddress failed on offset: 69632"), 1);
    EXPECT_TRUE(system.called("SymGetModuleInfoW64 0x11 10001 cc0 1"));
}

TEST(WindowsStackWalkerTest, NoFrameAtAllGivesTheFixedText) {
    FakeDebugSystem system;
    system.frames = {0x20000};
    const Result result = getStack();
    EXPECT_EQ(result.stack, kNoStack);
    EXPECT_EQ(result.version, "");
    EXPECT_THAT(system.told(), ElementsAre("main findModuleNameFromAddress failed on offset: 131072",
                                           "StackWalk64 returned FALSE, lastError: 1234", "stack frames are empty 0",
                                           "number of exception_frames:  0", "number of modList:  1",
                                           "number of stackTraceStrs:  0", "number of stackTraceAddresses:  0"));
}

TEST(WindowsStackWalkerTest, HundredResolvedFramesAreEnough) {
    FakeDebugSystem system;
    for (int i = 0; i < 99; ++i) {
        system.frames.push_back(0x20000);
        system.frames.push_back(0x10010);
    }
    system.frames.insert(system.frames.end(), {0x10020, 0x10030});
    const std::vector<std::string> entries = entriesOf(getStack().stack);
    EXPECT_EQ(entries.size(), 100u);
    EXPECT_EQ(entries.back(), "host.exe+0x20");
    EXPECT_EQ(system.contexts.size(), 199u);
    EXPECT_TRUE(system.called("debugger: number of stackTraceStrs:  100"));
}

TEST(WindowsStackWalkerTest, EndlessFramesInNoModuleAreGivenUp) {
    FakeDebugSystem system;
    system.frames = {0x10010, 0x20000};
    system.endless = true;
    EXPECT_EQ(getStack().stack, "host.exe+0x10;");
    EXPECT_EQ(system.contexts.size(), 10000u);
}

TEST(WindowsStackWalkerTest, MissingOrFailingModuleInformationLeavesTheVersionEmpty) {
    for (const bool missing : {false, true}) {
        FakeDebugSystem system;
        system.frames = {0x10010};
        (missing ? system.missing : system.failing) = {"SymGetModuleInfoW64"};
        const Result result = getStack();
        EXPECT_EQ(result.stack, "host.exe+0x10;");
        EXPECT_EQ(result.version, "");
        EXPECT_EQ(countOf(system.told(), "error SymGetModuleInfoW64FuncRetVal: 1234"), 1) << missing;
        EXPECT_FALSE(system.called("GetFileVersionInfoSizeW C:\\folder\\Host.EXE"));
    }
}

TEST(WindowsStackWalkerTest, ModuleWithoutImageHasNoVersion) {
    FakeDebugSystem system;
    system.frames = {0x10010};
    system.image = L"";
    EXPECT_EQ(getStack().version, "");
    EXPECT_FALSE(system.called("GetFileVersionInfoSizeW "));
}

TEST(WindowsStackWalkerTest, FailingVersionCallLeavesTheVersionEmpty) {
    for (const char* const call : {"GetFileVersionInfoSizeW", "GetFileVersionInfoW", "VerQueryValueW"}) {
        FakeDebugSystem system;
        system.frames = {0x10010};
        EXPECT_EQ(getStack().version, "0.0.0.0");
        system.frames = {0x10010};
        system.failing = {call};
        EXPECT_EQ(getStack().version, "") << call;
    }
}

TEST(WindowsStackWalkerTest, DamagedVersionLeavesTheVersionEmpty) {
    FakeDebugSystem system;
    system.frames = {0x10010};
    system.versionSize = 0xFFFFFFFF;
    EXPECT_EQ(getStack().version, "");
    system.frames = {0x10010};
    system.versionSize = 100;
    system.versionLength = sizeof(VS_FIXEDFILEINFO) - 1;
    EXPECT_EQ(getStack().version, "");
}

TEST(WindowsStackWalkerTest, ExtraFramesAreReadOnlyForABreakpoint) {
    FakeDebugSystem system;
    system.frames = {0x10010};
    layRecord(system, 0xA008, 0xA010);
    EXPECT_EQ(getStack(false).extra, "");
    EXPECT_EQ(countOf(system.told(), "trying to read extra stack trace 0"), 0);
    system.frames = {0x10010};
    EXPECT_EQ(getStack(true).extra, "host.exe+0x18;host.exe+0x100;host.exe+0x101;");
    EXPECT_EQ(countOf(system.told(), "trying to read extra stack trace 0"), 1);
    EXPECT_EQ(countOf(system.told(), "number of exception_frames:  3"), 1);
    EXPECT_TRUE(system.called("ReadProcessMemory 0x11 9018 8"));
}

TEST(WindowsStackWalkerTest, ExtraFrameInNoModuleIsLeftOutAndTold) {
    FakeDebugSystem system;
    layRecord(system, 0xA008, 0xA010);
    system.memory[0xA000] = 0x11000;
    const Result result = getStack(true);
    EXPECT_EQ(result.extra, "host.exe+0x18;host.exe+0x101;");
    EXPECT_EQ(result.stack, kNoStack);
    EXPECT_EQ(system.told().back(), "exception_frames findModuleNameFromAddress failed on offset: 69632");
}

TEST(WindowsStackWalkerTest, ExtraFramesOf800BytesAreReadAndOf808AreNot) {
    FakeDebugSystem system;
    layRecord(system, 0xA008, 0xA000 + 800);
    EXPECT_EQ(entriesOf(getStack(true).extra).size(), 101u);
    layRecord(system, 0xA008, 0xA000 + 808);
    EXPECT_EQ(getStack(true).extra, "host.exe+0x18;");
}

TEST(WindowsStackWalkerTest, UnreadableRecordThrowsAfterCleanUp) {
    for (const bool readInPart : {false, true}) {
        FakeDebugSystem system;
        if (readInPart) {
            layRecord(system, 0xA008, 0xA010);
            system.shortWords = {0xA008};
        }
        try {
            getStack(true);
            ADD_FAILURE() << "no exception";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "Can't read memory");
        }
        const std::vector<std::string> last(system.calls.end() - 3, system.calls.end());
        EXPECT_THAT(last, ElementsAre("SymCleanup 0x11", "FreeLibrary 0x77", "CloseHandle 0x11"));
        EXPECT_THAT(system.told(), ElementsAre("trying to read extra stack trace 0"));
    }
}

TEST(WindowsOwnStackTest, BeginsInTheFunctionThatFailed) {
    const std::vector<uint64_t> offsets = programOffsetsOf(deepCapture().result.stack);
    const uint64_t address = deepCapture().context.Rip;
    ASSERT_FALSE(offsets.empty());
    EXPECT_EQ(offsets[0], address - kProgramBase);
    EXPECT_EQ(functionAt(address), reinterpret_cast<uint64_t>(&captureHere));
}

TEST(WindowsOwnStackTest, GoesThroughTheCallersForHundredEntries) {
    const std::string& stack = deepCapture().result.stack;
    EXPECT_EQ(entriesOf(stack).size(), 100u);
    EXPECT_EQ(std::count(stack.begin(), stack.end(), ';'), 100);
    EXPECT_EQ(stack.back(), ';');
    const std::vector<uint64_t> offsets = programOffsetsOf(stack);
    ASSERT_EQ(offsets.size(), 100u);
    for (size_t i = 1; i < offsets.size(); ++i) {
        EXPECT_EQ(functionAt(kProgramBase + offsets[i]), reinterpret_cast<uint64_t>(&captureBelow)) << i;
    }
}

TEST(WindowsOwnStackTest, VersionIsTheProgramsOwn) {
    EXPECT_EQ(deepCapture().result.version, TEST_PRODUCT_VERSION);
}

TEST(WindowsOwnStackTest, ContextInNoModuleHasNoStack) {
    EXPECT_EQ(nowhere().stack, kNoStack);
    EXPECT_EQ(nowhere().version, "");
}

TEST(WindowsOwnStackTest, TooLongRecordHasItsFirstFrameOnly) {
    EXPECT_EQ(programOffsetsOf(nowhere().extra), std::vector<uint64_t>{0x18});
}

TEST(WindowsOwnStackTest, ExtraFramesAreThoseOfTheRecord) {
    std::vector<uint64_t> expected = {0x18};
    for (uint64_t i = 0; i < 100; ++i) expected.push_back(0x100 + i);
    EXPECT_EQ(programOffsetsOf(deepCapture().result.extra), expected);
}

TEST(WindowsOwnStackTest, UnreadableRecordThrows) {
    CONTEXT context;
    RtlCaptureContext(&context);
    EXPECT_THROW(getOwnStack(context, 8), std::runtime_error);
}
