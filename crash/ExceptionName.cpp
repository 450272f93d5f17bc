#include "crash/ExceptionName.h"

#include <algorithm>
#include <iterator>

namespace {

struct Name {
    uint32_t code;
    const wchar_t* text;
};

constexpr Name kNames[] = {
    {0xC0000005, L"EXCEPTION_ACCESS_VIOLATION"},
    {0x80000002, L"EXCEPTION_DATATYPE_MISALIGNMENT"},
    {kBreakpointException, L"EXCEPTION_BREAKPOINT"},
    {0x80000004, L"EXCEPTION_SINGLE_STEP"},
    {0xC0000006, L"EXCEPTION_IN_PAGE_ERROR"},
    {0xC000001D, L"EXCEPTION_ILLEGAL_INSTRUCTION"},
    {0xC0000025, L"EXCEPTION_NONCONTINUABLE_EXCEPTION"},
    {0xC0000026, L"EXCEPTION_INVALID_DISPOSITION"},
    {0xC000008C, L"EXCEPTION_ARRAY_BOUNDS_EXCEEDED"},
    {0xC000008D, L"EXCEPTION_FLT_DENORMAL_OPERAND"},
    {0xC000008E, L"EXCEPTION_FLT_DIVIDE_BY_ZERO"},
    {0xC000008F, L"EXCEPTION_FLT_INEXACT_RESULT"},
    {0xC0000090, L"EXCEPTION_FLT_INVALID_OPERATION"},
    {0xC0000091, L"EXCEPTION_FLT_OVERFLOW"},
    {0xC0000092, L"EXCEPTION_FLT_STACK_CHECK"},
    {0xC0000093, L"EXCEPTION_FLT_UNDERFLOW"},
    {0xC0000094, L"EXCEPTION_INT_DIVIDE_BY_ZERO"},
    {0xC0000095, L"EXCEPTION_INT_OVERFLOW"},
    {0xC0000096, L"EXCEPTION_PRIV_INSTRUCTION"},
    {0xC00000FD, L"EXCEPTION_STACK_OVERFLOW"},
};

}  // namespace

CrashText GetExceptionName(uint32_t code) {
    CrashText text(crashMemory());
    const Name* const known =
        std::find_if(std::begin(kNames), std::end(kNames), [code](const Name& name) { return name.code == code; });
    if (known != std::end(kNames)) {
        text = known->text;
        return text;
    }
    text = L"UNKNOWN EXCEPTION(";
    appendDecimal(text, code);
    text += L')';
    return text;
}
