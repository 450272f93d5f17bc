#pragma once

#include <cstddef>
#include <cstring>

// Bounds-checked memory operations of our own. A runtime may have functions of the same names that behave otherwise, so
// these live in a namespace and are called with it: `cm::memset_s(...)`.
//
// Each returns 0, or 22 (EINVAL) when a constraint is violated; then it calls the constraint handler with the message
// and sets errno to 22. Sizes are bytes, in cm::wcscpy_s wide characters; none may exceed 0x7FFFFFFFFFFFFFFF.
namespace cm {

inline constexpr size_t kMemoryMax = 0x7FFFFFFFFFFFFFFF;

// Only checks, in this order: dest, src, n against dmax, dmax against the maximum, no byte of the n in common. Copies
// nothing; see checkedCopy.
int memcpy_s(void* dest, size_t dmax, const void* src, size_t n);

// Sets n bytes to c. Checked in this order: s, smax and n against the maximum, n against smax. When n is too large, all
// smax bytes are cleared to 0 before the failure is reported.
int memset_s(void* s, size_t smax, int c, size_t n);

// Clears n bytes to 0, checked as memset_s is.
int smemzero_s(void* s, size_t smax, size_t n);

// Copies a wide text with its terminator. Checked in this order: dest, dmax not 0, src, no character in common, room.
// After a failure dest holds the empty text, if there is a dest at all.
int wcscpy_s(wchar_t* dest, size_t dmax, const wchar_t* src);

// Checks and copies: n bytes from src to dest, which has room for dmax. Nothing is copied on a failure.
inline int checkedCopy(void* dest, size_t dmax, const void* src, size_t n) {
    const int result = memcpy_s(dest, dmax, src, n);
    if (result == 0 && n != 0) std::memcpy(dest, src, n);
    return result;
}

// What is called on a violation, in the whole process, on the thread of the caller. Null is the default handler: if the
// verbosity is at least 1 it hands code and message to the log callback, or without one prints
// "DATA INCONSISTENCY/DATA CORRUPTION: (code) message" to stderr and flushes it. Each setter returns the old value.
using ConstraintHandler = void (*)(unsigned code, const char* message);
using ConstraintLog = void (*)(unsigned code, const char* message);
ConstraintHandler setConstraintHandler(ConstraintHandler handler);
ConstraintLog setConstraintLog(ConstraintLog log);
int setConstraintVerbosity(int level);  // 1 at start

}  // namespace cm
