#include "platform/win32/crash_system.h"

#include <windows.h>

#include <dbghelp.h>

#include <string_view>

#include "platform/win32/debug_system.h"
#include "platform/win32/stack_walker.h"
#include "platform/win32/system_exception.h"
#include "util/include/CmTrace.h"

namespace {

constexpr DWORD kLongestPath = 2048;  // bytes, the terminator included
const char kOurData = 0;              // its module is the host's

using WriteDumpFunction = decltype(&::MiniDumpWriteDump);

void saveDump(WriteDumpFunction write, HANDLE file, const platform::UncaughtException& exception, const char* path) {
    MINIDUMP_EXCEPTION_INFORMATION information{exception.thread, exception.system->pointers, FALSE};
    const HANDLE process = GetCurrentProcess();
    if (write(process, GetCurrentProcessId(), file, MiniDumpNormal, &information, nullptr, nullptr)) {
        CM_ERROR("Minidump::dumpcallback, Saved dump file to: " << path);
    } else {
        const DWORD error = debugSystem().getLastError();
        CM_ERROR("Minidump::dumpcallback, Failed to save dump file, error=" << error);
    }
}

void writeDumpBy(void* library, const platform::UncaughtException& exception, const char* path) {
    DebugSystem& system = debugSystem();
    const auto write = reinterpret_cast<WriteDumpFunction>(system.getProcAddress(library, "MiniDumpWriteDump"));
    if (!write) {
        CM_ERROR("Minidump::dumpcallback, DBGHELP.DLL too old.");
        return;
    }
    const HANDLE file = system.createFile(path, GENERIC_WRITE, FILE_SHARE_WRITE, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL);
    if (file == INVALID_HANDLE_VALUE) {
        const DWORD error = system.getLastError();
        CM_ERROR("Minidump::dumpcallback, Failed to create dump file: " << path << ", error=" << error);
        return;
    }
    saveDump(write, file, exception, path);
    system.closeHandle(file);
}

bool writeBytes(HANDLE file, const char* bytes, size_t size) {
    DWORD written = 0;
    return debugSystem().writeFile(file, bytes, static_cast<DWORD>(size), &written) && written == size;
}

void writeText(HANDLE file, const CrashText& text) {
    char piece[1024];
    size_t length = 0;
    for (const wchar_t c : text) {
        if (length + 2 > sizeof piece) {
            if (!writeBytes(file, piece, length)) return;
            length = 0;
        }
        if (c == L'\n') piece[length++] = '\r';
        piece[length++] = c <= 0x7F ? static_cast<char>(c) : '?';
    }
    writeBytes(file, piece, length);
}

}  // namespace

CrashPath WindowsCrashSystem::temporaryFolder() {
    char path[kLongestPath] = {};
    const DWORD length = debugSystem().getTempPath(kLongestPath, path);
    return CrashPath(path, length < kLongestPath ? length : 0, crashMemory());
}

CrashPath WindowsCrashSystem::moduleFolder() {
    constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    HMODULE module = nullptr;
    if (!debugSystem().getModuleHandleEx(kFlags, &kOurData, &module)) return CrashPath(crashMemory());
    char path[kLongestPath] = {};
    const DWORD length = debugSystem().getModuleFileName(module, path, kLongestPath);
    const std::string_view whole(path, length < kLongestPath ? length : 0);
    return CrashPath(whole.substr(0, whole.rfind('\\') + 1), crashMemory());
}

void WindowsCrashSystem::writeDump(const platform::UncaughtException& exception, const CrashPath& path) {
    void* const library = loadDbgHelp();
    if (!library) {
        CM_ERROR("Minidump::dumpcallback, DBGHELP.DLL not found.");
        return;
    }
    writeDumpBy(library, exception, path.c_str());
    debugSystem().freeLibrary(library);
}

CrashStack WindowsCrashSystem::readStack(const platform::UncaughtException& exception, bool breakpoint) {
    CrashStack stack;
    CONTEXT* const context = exception.system->pointers->ContextRecord;
    stack.stackText =
        GetCrashStack(GetCurrentProcessId(), exception.thread, context, breakpoint, stack.extraText, stack.version);
    return stack;
}

void WindowsCrashSystem::writeReport(const CrashPath& path, const CrashText& report) {
    DebugSystem& system = debugSystem();
    const HANDLE file = system.createFile(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                          CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL);
    if (file == INVALID_HANDLE_VALUE) return;
    writeText(file, report);
    system.closeHandle(file);
}

CrashSystem& crashSystem() {
    static WindowsCrashSystem& system = *new WindowsCrashSystem;  // never destroyed: static objects may fail as they go
    return system;
}
