#include "platform/broken_stderr.h"

#include <io.h>
#include <windows.h>

#include <cstdio>

namespace platform::test {

namespace {

constexpr DWORD kRoom = 4096;  // bytes

// Returns the reader's end.
HANDLE makeStandardErrorAPipe() {
    HANDLE reader = nullptr, writer = nullptr;
    if (!CreatePipe(&reader, &writer, nullptr, kRoom)) ExitProcess(97);
    // The runtime's, and with it the system's.
    const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(writer), 0);
    if (_dup2(descriptor, _fileno(stderr)) != 0) ExitProcess(97);
    _close(descriptor);
    return reader;
}

}  // namespace

void fillStandardError() {
    makeStandardErrorAPipe();
    const HANDLE writer = GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = PIPE_READMODE_BYTE | PIPE_NOWAIT, written = 0;
    SetNamedPipeHandleState(writer, &mode, nullptr, nullptr);
    const char byte = 0;
    while (WriteFile(writer, &byte, 1, &written, nullptr) && written == 1) {
    }
    mode = PIPE_READMODE_BYTE | PIPE_WAIT;
    SetNamedPipeHandleState(writer, &mode, nullptr, nullptr);
}

void closeReaderOfStandardError() {
    CloseHandle(makeStandardErrorAPipe());
}

}  // namespace platform::test
