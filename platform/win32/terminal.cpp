#include "platform/include/terminal.h"

#include <windows.h>

namespace platform {

bool isTerminal(StandardStream stream) {
    DWORD mode = 0;
    const HANDLE handle = GetStdHandle(stream == StandardStream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    return GetConsoleMode(handle, &mode) != 0;
}

}  // namespace platform
