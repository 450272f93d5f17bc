#include "crash/CrashReport.h"

#include "crash/ExceptionName.h"

CrashText crashReport(const CrashStack& stack, uint32_t code, unsigned long thread) {
    CrashText text(L"Version: ", crashMemory());
    text += stack.version;
    text += L"\nException Type: ";
    text += GetExceptionName(code);
    text += L"\nCrashed Thread: ";
    appendDecimal(text, thread);
    text += L'\n';
    text += stack.stackText;
    return text;
}
