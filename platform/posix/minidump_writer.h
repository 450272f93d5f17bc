#pragma once

#include <signal.h>
#include <sys/types.h>
#include <ucontext.h>

#include <cstdint>

namespace platform {

// What is written of a failure. The pointers are not null.
struct MinidumpRequest {
    pid_t thread;  // the one that failed
    uint32_t code;
    const siginfo_t* info;
    const ucontext_t* context;  // of that thread
};

struct MinidumpResult {
    enum class State { kWritten, kNotCreated, kNotSaved };
    State state;
    int error;  // errno, 0 when it was written
};

// Writes a minidump of this process, as Windows writes it (MiniDumpNormal), in place of what lies at `path`; only the
// owner may read it. It appears there as a whole or not at all: PATH.part is written first.
//
// Async-signal-safe calls only, no heap, less than 32 KiB of stack; from one thread at a time. The other threads go on
// running, since there is no safe way to stop them: of one that waits in the kernel the dump has the stack pointer, the
// instruction pointer and some of the stack, of one that runs just then its id only.
//
// The exception's code is the signal, its flags are si_code, its address is the instruction pointer, and the one
// parameter is `code`.
MinidumpResult writeMinidump(const char* path, const MinidumpRequest& request);

}  // namespace platform
