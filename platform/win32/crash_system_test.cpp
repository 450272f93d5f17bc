#include "platform/win32/crash_system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "crash/DumpCallback.h"
#include "platform/test_support.h"
#include "platform/win32/fake_debug_system.h"
#include "platform/win32/system_exception.h"
#include "tests/support/TraceCapture.h"

namespace {

using platform::test::readFile;
using platform::test::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Line = zeltest::TraceCapture::Line;

constexpr DWORD kCode = 0xC0000005;
const CrashPath kPath = "C:\\temporary\\crash.dmp";

// A failure of this thread at the point where this is made.
struct Failure {
    EXCEPTION_RECORD record{};
    CONTEXT context{};
    EXCEPTION_POINTERS pointers{&record, &context};
    platform::SystemException system{&pointers};
    platform::UncaughtException exception{kCode, "", GetCurrentThreadId(), &system};

    [[gnu::noinline]] Failure() {
        record.ExceptionCode = kCode;
        RtlCaptureContext(&context);
    }
    Failure(const Failure&) = delete;
    Failure& operator=(const Failure&) = delete;
};

CrashPath fileIn(const TemporaryFolder& folder, const std::string& name) {
    return CrashPath(folder.path(name));
}

template <typename Part>
Part partAt(const std::string& bytes, size_t offset) {
    Part part{};
    if (offset + sizeof part <= bytes.size()) std::memcpy(&part, bytes.data() + offset, sizeof part);
    return part;
}

MINIDUMP_EXCEPTION_STREAM exceptionIn(const std::string& dump) {
    const auto header = partAt<MINIDUMP_HEADER>(dump, 0);
    for (size_t i = 0; i < header.NumberOfStreams; ++i) {
        const size_t offset = header.StreamDirectoryRva + i * sizeof(MINIDUMP_DIRECTORY);
        const auto stream = partAt<MINIDUMP_DIRECTORY>(dump, offset);
        if (stream.StreamType == ExceptionStream) {
            return partAt<MINIDUMP_EXCEPTION_STREAM>(dump, stream.Location.Rva);
        }
    }
    return {};
}

std::vector<Line> traceOfFakeDump(FakeDebugSystem&) {
    const zeltest::TraceCapture trace;
    const Failure failure;
    crashSystem().writeDump(failure.exception, kPath);
    return trace.lines();
}

}  // namespace

TEST(WindowsCrashDumpTest, GoesItsStepsInOrder) {
    FakeDebugSystem system;
    EXPECT_THAT(traceOfFakeDump(system),
                ElementsAre(Line{0, "Minidump::dumpcallback, Saved dump file to: C:\\temporary\\crash.dmp"}));
    EXPECT_THAT(system.calls, ElementsAre("GetSystemDirectoryA 104", "LoadLibrary C:\\system\\dbghelp.DLL",
                                          "GetProcAddress 0x77 MiniDumpWriteDump",
                                          "CreateFileA C:\\temporary\\crash.dmp 40000000 2 2 80",
                                          "MiniDumpWriteDump 1 0x33 0 1", "CloseHandle 0x33", "FreeLibrary 0x77"));
}

TEST(WindowsCrashDumpTest, TellsOfThePointersAndTheFailedThread) {
    FakeDebugSystem system;
    Failure failure;
    failure.exception.thread = 4711;
    crashSystem().writeDump(failure.exception, kPath);
    EXPECT_EQ(system.dumped.ThreadId, 4711u);
    EXPECT_EQ(system.dumped.ExceptionPointers, &failure.pointers);
    EXPECT_FALSE(system.dumped.ClientPointers);
}

// The whole filter: no dump, and a report that says what it can without that library.
TEST(WindowsCrashDumpTest, MissingDbgHelpLeavesAReportWithoutStackAndVersion) {
    FakeDebugSystem system;
    system.failing = {"LoadLibrary"};
    const zeltest::TraceCapture trace;
    Failure failure;
    failure.exception.thread = 4711;
    DumpCallback(failure.exception, crashSystem());
    EXPECT_THAT(trace.lines(),
                ElementsAre(Line{0, "zelhost crashed!!!"}, Line{0, "Minidump::dumpcallback, DBGHELP.DLL not found."}));
    EXPECT_EQ(system.written,
              "Version: \r\nException Type: EXCEPTION_ACCESS_VIOLATION\r\nCrashed Thread: 4711\r\n"
              "[Could not determine stacktrace]");
}

TEST(WindowsCrashDumpTest, MissingDbgHelpIsTraced) {
    FakeDebugSystem system;
    system.failing = {"LoadLibrary"};
    EXPECT_THAT(traceOfFakeDump(system), ElementsAre(Line{0, "Minidump::dumpcallback, DBGHELP.DLL not found."}));
    EXPECT_THAT(system.calls, ElementsAre("GetSystemDirectoryA 104", "LoadLibrary C:\\system\\dbghelp.DLL"));
}

TEST(WindowsCrashDumpTest, DbgHelpWithoutDumpsIsTraced) {
    FakeDebugSystem system;
    system.missing = {"MiniDumpWriteDump"};
    EXPECT_THAT(traceOfFakeDump(system), ElementsAre(Line{0, "Minidump::dumpcallback, DBGHELP.DLL too old."}));
    EXPECT_THAT(system.calls, ElementsAre("GetSystemDirectoryA 104", "LoadLibrary C:\\system\\dbghelp.DLL",
                                          "GetProcAddress 0x77 MiniDumpWriteDump", "FreeLibrary 0x77"));
}

TEST(WindowsCrashDumpTest, FileThatCannotBeMadeIsTraced) {
    FakeDebugSystem system;
    system.failing = {"CreateFileA"};
    EXPECT_THAT(traceOfFakeDump(system), ElementsAre(Line{0,
                                                          "Minidump::dumpcallback, Failed to create dump file: "
                                                          "C:\\temporary\\crash.dmp, error=1234"}));
    EXPECT_EQ(system.calls.back(), "FreeLibrary 0x77");
    EXPECT_FALSE(system.called("MiniDumpWriteDump 1 0x33 0 1"));
    EXPECT_FALSE(system.called("CloseHandle 0x33"));
}

TEST(WindowsCrashDumpTest, FailedDumpIsTracedAndItsFileClosed) {
    FakeDebugSystem system;
    system.failing = {"MiniDumpWriteDump"};
    EXPECT_THAT(traceOfFakeDump(system),
                ElementsAre(Line{0, "Minidump::dumpcallback, Failed to save dump file, error=1234"}));
    const std::vector<std::string> last(system.calls.end() - 2, system.calls.end());
    EXPECT_THAT(last, ElementsAre("CloseHandle 0x33", "FreeLibrary 0x77"));
}

TEST(WindowsCrashDumpTest, DumpHoldsTheFailure) {
    const TemporaryFolder folder;
    const CrashPath path(folder.write("crash.dmp", "something else"));
    const zeltest::TraceCapture trace;
    const Failure failure;
    crashSystem().writeDump(failure.exception, path);
    EXPECT_EQ(trace.lines(),
              std::vector<Line>({{0, "Minidump::dumpcallback, Saved dump file to: " + std::string(path)}}));
    const std::string dump = readFile(std::string(path));
    EXPECT_EQ(dump.substr(0, 4), "MDMP");
    const MINIDUMP_EXCEPTION_STREAM found = exceptionIn(dump);
    EXPECT_EQ(found.ThreadId, GetCurrentThreadId());
    EXPECT_EQ(found.ExceptionRecord.ExceptionCode, kCode);
    EXPECT_EQ(partAt<CONTEXT>(dump, found.ThreadContext.Rva).Rip, failure.context.Rip);
}

TEST(WindowsCrashDumpTest, DumpInNoFolderIsTraced) {
    const TemporaryFolder folder;
    const zeltest::TraceCapture trace;
    const Failure failure;
    const CrashPath path = fileIn(folder, "none\\crash.dmp");
    crashSystem().writeDump(failure.exception, path);
    const std::string text = "Minidump::dumpcallback, Failed to create dump file: " + std::string(path) + ", error=3";
    EXPECT_EQ(trace.lines(), std::vector<Line>({{0, text}}));
}

TEST(WindowsCrashStackTest, IsOfTheFailedThread) {
    FakeDebugSystem system;
    system.frames = {0x10010};
    Failure failure;
    failure.exception.thread = 0x4711;
    const CrashStack stack = crashSystem().readStack(failure.exception, false);
    EXPECT_EQ(stack.stackText, L"host.exe+0x10;");
    EXPECT_EQ(stack.version, L"0.0.0.0");
    EXPECT_EQ(stack.extraText, L"");
    EXPECT_TRUE(system.called("OpenThread 1f03ff 0 4711"));
    std::ostringstream process;
    process << "OpenProcess 410 0 " << std::hex << GetCurrentProcessId();
    EXPECT_TRUE(system.called(process.str()));
    EXPECT_EQ(system.firstFrame.AddrPC.Offset, failure.context.Rip);
}

TEST(WindowsCrashStackTest, BreakpointHasExtraFrames) {
    FakeDebugSystem system;
    Failure failure;
    failure.context.Rcx = 0x9000;
    system.memory = {{0x9018, 0x10018}, {0x9020, 0}, {0x9028, 0}, {0x9030, 0}};
    EXPECT_EQ(crashSystem().readStack(failure.exception, true).extraText, L"host.exe+0x18;");
    system.memory.clear();
    EXPECT_THROW(crashSystem().readStack(failure.exception, true), std::runtime_error);
}

TEST(WindowsCrashStackTest, OwnStackBeginsWhereThisFailed) {
    const Failure failure;
    const CrashStack stack = crashSystem().readStack(failure.exception, false);
    CrashText offset(L"+0x", crashMemory());
    appendHexadecimal(offset, failure.context.Rip - reinterpret_cast<uint64_t>(GetModuleHandleW(nullptr)));
    offset += L';';
    EXPECT_EQ(stack.stackText.find(L"crash_system_test"), 0u);
    EXPECT_EQ(stack.stackText.find(offset), stack.stackText.find(L"+0x"));
    EXPECT_EQ(stack.stackText.back(), L';');
    EXPECT_EQ(std::string(stack.version.begin(), stack.version.end()), TEST_PRODUCT_VERSION);
}

TEST(WindowsCrashFoldersTest, TemporaryFolderIsTheSystems) {
    char expected[MAX_PATH];
    ASSERT_GT(GetTempPathA(MAX_PATH, expected), 0u);
    EXPECT_EQ(crashSystem().temporaryFolder(), expected);
    EXPECT_EQ(crashSystem().temporaryFolder().back(), '\\');
}

TEST(WindowsCrashFoldersTest, TemporaryFolderIsUsedUpTo2047Bytes) {
    FakeDebugSystem system;
    system.folder = "x";
    EXPECT_EQ(crashSystem().temporaryFolder(), "x");
    EXPECT_TRUE(system.called("GetTempPathA 800"));
    system.folder = std::string(2047, 'x');
    EXPECT_EQ(crashSystem().temporaryFolder(), CrashPath(2047, 'x'));
    system.folder = std::string(2048, 'x');
    EXPECT_EQ(crashSystem().temporaryFolder(), "");
    system.failing = {"GetTempPathA"};
    EXPECT_EQ(crashSystem().temporaryFolder(), "");
}

TEST(WindowsCrashFoldersTest, ModuleFolderIsTheProgramsOwn) {
    char expected[MAX_PATH];
    ASSERT_GT(GetModuleFileNameA(nullptr, expected, MAX_PATH), 0u);
    const std::string program = expected;
    EXPECT_EQ(std::string(crashSystem().moduleFolder()) + "crash_system_test.exe", program);
}

TEST(WindowsCrashFoldersTest, ModuleFolderEndsBehindTheLastSeparator) {
    FakeDebugSystem system;
    EXPECT_EQ(crashSystem().moduleFolder(), "C:\\folder\\");
    EXPECT_THAT(system.calls, ElementsAre("GetModuleHandleExW 6", "GetModuleFileNameA 0x44 800"));
    EXPECT_EQ(system.ownModule, GetModuleHandleW(nullptr));
    system.program = "host.exe";
    EXPECT_EQ(crashSystem().moduleFolder(), "");
}

TEST(WindowsCrashFoldersTest, ModuleFolderThatCannotBeToldIsEmpty) {
    FakeDebugSystem system;
    system.program = "C:\\" + std::string(2044, 'x');
    EXPECT_EQ(crashSystem().moduleFolder(), "C:\\");
    system.program += 'x';
    EXPECT_EQ(crashSystem().moduleFolder(), "");
    for (const char* const call : {"GetModuleFileNameA", "GetModuleHandleExW"}) {
        system.program = "C:\\folder\\host.exe";
        system.failing = {call};
        EXPECT_EQ(crashSystem().moduleFolder(), "") << call;
    }
}

TEST(WindowsCrashReportTest, ReplacesTheFileThatLiesThere) {
    const TemporaryFolder folder;
    const CrashPath path(folder.write("crash.txt", std::string(10000, 'x')));
    crashSystem().writeReport(path, CrashText(L"Version: 1\nType\nstack;"));
    EXPECT_EQ(readFile(std::string(path)), "Version: 1\r\nType\r\nstack;");
}

TEST(WindowsCrashReportTest, CharactersAbove7FAreMarked) {
    FakeDebugSystem system;
    crashSystem().writeReport("C:\\crash.txt", CrashText(L"a\u007F\u0080\u20AC\uFFFFb\r\n\n"));
    EXPECT_EQ(system.written, "a\x7F???b\r\r\n\r\n");
    EXPECT_EQ(system.calls.front(), "CreateFileA C:\\crash.txt 40000000 3 2 80");
    EXPECT_EQ(system.calls.back(), "CloseHandle 0x33");
}

TEST(WindowsCrashReportTest, LongTextIsWrittenWhole) {
    for (size_t length : {0, 1022, 1023, 1024, 1025, 5000}) {
        FakeDebugSystem system;
        std::string expected;
        CrashText text;
        for (size_t i = 0; i < length; ++i) {
            text += i % 7 == 0 ? L'\n' : static_cast<wchar_t>(L'a' + i % 26);
            expected += i % 7 == 0 ? std::string("\r\n") : std::string(1, static_cast<char>('a' + i % 26));
        }
        crashSystem().writeReport("C:\\crash.txt", text);
        EXPECT_EQ(system.written, expected) << length;
    }
}

TEST(WindowsCrashReportTest, LineEndIsNotSplit) {
    FakeDebugSystem system;
    crashSystem().writeReport("C:\\crash.txt", CrashText(1, L'a') + CrashText(600, L'\n'));
    EXPECT_EQ(system.calls[1], "WriteFile 0x33 3ff");
    EXPECT_EQ(system.calls[2], "WriteFile 0x33 b2");
}

TEST(WindowsCrashReportTest, FailureGoesUnnoticed) {
    FakeDebugSystem system;
    system.failing = {"CreateFileA"};
    crashSystem().writeReport("C:\\crash.txt", CrashText(L"text"));
    EXPECT_THAT(system.calls, ElementsAre("CreateFileA C:\\crash.txt 40000000 3 2 80"));
    system.failing = {"WriteFile"};
    system.calls.clear();
    crashSystem().writeReport("C:\\crash.txt", CrashText(5000, L'x'));
    EXPECT_THAT(system.calls,
                ElementsAre("CreateFileA C:\\crash.txt 40000000 3 2 80", HasSubstr("WriteFile"), "CloseHandle 0x33"));
}
