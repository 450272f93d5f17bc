#include "platform/include/terminal.h"

#include <windows.h>

#include <cstdio>

#include "platform/include/exception_filter.h"

namespace platform {

namespace {

// Past the runtime's stream, which another thread may hold. What a full pipe does not take is lost.
void writeAtOnce(const char* text, size_t size) {
    const HANDLE handle = GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = PIPE_READMODE_BYTE | PIPE_NOWAIT, written = 0;
    if (GetFileType(handle) == FILE_TYPE_PIPE) SetNamedPipeHandleState(handle, &mode, nullptr, nullptr);
    WriteFile(handle, text, static_cast<DWORD>(size), &written, nullptr);
}

}  // namespace

bool isTerminal(StandardStream stream) {
    DWORD mode = 0;
    const HANDLE handle = GetStdHandle(stream == StandardStream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    return GetConsoleMode(handle, &mode) != 0;
}

void writeToStandardError(const char* text, size_t size) {
    if (isThreadInFilter()) return writeAtOnce(text, size);
    std::fwrite(text, 1, size, stderr);
    std::fflush(stderr);
}

}  // namespace platform
