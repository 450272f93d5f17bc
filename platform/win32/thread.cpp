#include "platform/include/thread.h"

#include <windows.h>

#include <string>

namespace platform {
namespace {

using SetThreadDescriptionFunction = HRESULT(WINAPI*)(HANDLE, PCWSTR);

// Looked up at run time: older systems do not have it.
SetThreadDescriptionFunction setThreadDescription() {
    const HMODULE kernel = GetModuleHandleA("kernel32.dll");
    void* function = reinterpret_cast<void*>(GetProcAddress(kernel, "SetThreadDescription"));
    return reinterpret_cast<SetThreadDescriptionFunction>(function);
}

std::wstring wide(const char* text) {
    const int length = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    std::wstring result(static_cast<size_t>(length > 0 ? length : 1), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text, -1, result.data(), length);
    return result;
}

}  // namespace

unsigned long currentThreadId() {
    return GetCurrentThreadId();
}

int currentProcessId() {
    return static_cast<int>(GetCurrentProcessId());
}

int setThreadName(const char* name) {
    static const SetThreadDescriptionFunction describe = setThreadDescription();
    if (!describe) return ERROR_PROC_NOT_FOUND;
    const HRESULT result = describe(GetCurrentThread(), wide(name).c_str());
    return SUCCEEDED(result) ? 0 : static_cast<int>(result);
}

}  // namespace platform
