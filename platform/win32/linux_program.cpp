#include "platform/linux_program.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>

#include "platform/include/clock.h"
#include "platform/include/process.h"
#include "platform/win32/utf8.h"

namespace platform::test {

namespace {

// Wine's own function for it; null on Windows itself.
auto unixFileName() {
    using Function = char*(__cdecl*)(const wchar_t*);
    const HMODULE kernel = GetModuleHandleW(L"kernel32");
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(kernel, "wine_get_unix_file_name")));
}

// Wine starts a program of Linux without a handle to wait on, so a shell writes down how it ended.
constexpr char kScript[] = R"(out=$1; shift; timeout 60 "$@" >"$out/output" 2>"$out/error"
echo $? >"$out/status.part"; mv "$out/status.part" "$out/status")";

bool waitForFile(const std::string& path) {
    constexpr uint64_t kDeadlineMicroseconds = 90'000'000;
    const uint64_t start = monotonicMicroseconds();
    while (!std::filesystem::exists(path)) {
        if (monotonicMicroseconds() - start > kDeadlineMicroseconds) return false;
        sleepMilliseconds(5);
    }
    return true;
}

}  // namespace

bool runsLinuxPrograms() {
    return unixFileName() != nullptr;
}

Outcome runLinuxProgram(const std::string& program, const std::vector<std::string>& arguments) {
    const TemporaryFolder folder;
    std::vector<std::string> all = {"-c", kScript, "sh", linuxPath(folder.path()), program};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::string reason;
    Outcome outcome;
    if (!startProcess(R"(\\?\unix\bin\sh)", all, {}, &reason)) {
        ADD_FAILURE() << reason;
        return outcome;
    }
    if (!waitForFile(folder.path("status"))) {
        ADD_FAILURE() << program << " did not end";
        return outcome;
    }
    outcome.exitCode = std::stoi(readFile(folder.path("status")));
    outcome.output = readFile(folder.path("output"));
    outcome.error = readFile(folder.path("error"));
    return outcome;
}

std::string linuxPath(const std::string& path) {
    char* const name = unixFileName()(wideFromUtf8(path).c_str());
    if (!name) return path;
    const std::string text = name;
    HeapFree(GetProcessHeap(), 0, name);
    return text;
}

}  // namespace platform::test
