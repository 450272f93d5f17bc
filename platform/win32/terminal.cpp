#include "platform/include/terminal.h"

#include <windows.h>

#include <cstdio>

namespace platform {

bool isTerminal(StandardStream stream) {
    DWORD mode = 0;
    const HANDLE handle = GetStdHandle(stream == StandardStream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    return GetConsoleMode(handle, &mode) != 0;
}

void writeToStandardError(const char* text, size_t size) {
    std::fwrite(text, 1, size, stderr);
    std::fflush(stderr);
}

}  // namespace platform
