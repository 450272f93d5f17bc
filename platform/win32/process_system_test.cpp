#include <gtest/gtest.h>
#include <windows.h>

#include <shellapi.h>

#include "platform/test_support.h"
#include "platform/win32/command_line.h"

namespace platform::test {

TEST(WindowsProcessTest, ChildInheritsNoHandleButItsStreams) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    const HANDLE event = CreateEventW(&inheritable, TRUE, FALSE, nullptr);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(runTestChild({"set-event", std::to_string(reinterpret_cast<uintptr_t>(event))}).exitCode, 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), static_cast<DWORD>(WAIT_TIMEOUT));
    CloseHandle(event);
}

TEST(WindowsProcessTest, CommandLineGivesTheSameWordsAgain) {
    const std::vector<std::wstring> words = {L"C:\\with space\\host.exe",
                                             L"",
                                             L"a b",
                                             L"\\",
                                             L"a\\\\b",
                                             L"\"",
                                             L"a\\\"b",
                                             L"end\\",
                                             L"sp ace\\",
                                             L"sp ace\\\\",
                                             L"\\\\\"",
                                             L"\ttab"};
    int count = 0;
    wchar_t** parsed = CommandLineToArgvW(commandLineOf(words).c_str(), &count);
    ASSERT_NE(parsed, nullptr);
    EXPECT_EQ(std::vector<std::wstring>(parsed, parsed + count), words);
    LocalFree(parsed);
}

}  // namespace platform::test
