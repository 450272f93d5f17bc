#include "platform/win32/debug_system.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string gHeard;

// How a debugger gets the text, whether or not there is one.
LONG CALLBACK hear(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode == DBG_PRINTEXCEPTION_C) {
        gHeard = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

TEST(WindowsDebugSystemTest, DebuggerGetsTheText) {
    void* const handler = AddVectoredExceptionHandler(1, hear);
    debugSystem().outputDebugString("some text 17");
    RemoveVectoredExceptionHandler(handler);
    EXPECT_EQ(gHeard, "some text 17");
}

TEST(WindowsDebugSystemTest, DbgHelpIsThatOfTheSystemsFolder) {
    void* const library = loadDbgHelp();
    ASSERT_NE(library, nullptr);
    wchar_t path[MAX_PATH];
    wchar_t expected[MAX_PATH];
    GetModuleFileNameW(static_cast<HMODULE>(library), path, MAX_PATH);
    GetSystemDirectoryW(expected, MAX_PATH);
    EXPECT_EQ(lstrcmpiW(path, (std::wstring(expected) + L"\\dbghelp.dll").c_str()), 0);
    EXPECT_NE(debugSystem().getProcAddress(library, "MiniDumpWriteDump"), nullptr);
    EXPECT_EQ(debugSystem().getProcAddress(library, "NoSuchFunction"), nullptr);
    debugSystem().freeLibrary(library);
}

TEST(WindowsDebugSystemTest, MissingLibraryLeavesItsError) {
    EXPECT_EQ(debugSystem().loadLibrary("C:\\no such folder\\dbghelp.DLL"), nullptr);
    EXPECT_EQ(debugSystem().getLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

TEST(WindowsDebugSystemTest, LivingProcessHasNoExitCodeYet) {
    const HANDLE process = debugSystem().openProcess(PROCESS_QUERY_INFORMATION, FALSE, GetCurrentProcessId());
    ASSERT_NE(process, nullptr);
    DWORD code = 0;
    EXPECT_TRUE(debugSystem().getExitCodeProcess(process, &code));
    EXPECT_EQ(code, static_cast<DWORD>(STILL_ACTIVE));
    debugSystem().closeHandle(process);
}
