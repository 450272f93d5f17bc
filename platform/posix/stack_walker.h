#pragma once

#include <ucontext.h>

#include <cstdint>

// Unwinds the stack of a failed thread, on the filter's thread and without the heap.
namespace platform {

// Told of each address on the way; false ends the walk.
using AddressVisitor = bool (*)(void* argument, uint64_t address);

// Visits the failed instruction's address and then the return addresses, innermost first, up to the thread's start or
// to code that the unwinder does not know. `context` is the one that the signal handler got, or one of getcontext in a
// caller of the filter; of an instruction in no code, as after a wild jump, the caller is put in its place. Ends where
// the stack is broken.
void walkStack(ucontext_t& context, bool instructionInCode, AddressVisitor visit, void* argument);

}  // namespace platform
