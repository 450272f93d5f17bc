#include "platform/posix/stack_walker.h"

#include <unwind.h>

#include "platform/include/exception_filter.h"
#include "platform/posix/process_memory.h"

namespace platform {

namespace {

constexpr int kMaxFrames = 10000;  // with those of the filter itself, and those that nobody wants

struct Walk {
    uint64_t stackPointer;
    uint64_t instruction;
    AddressVisitor visit;
    void* argument;
    bool inFilter = true;  // still below the frame that failed
    int frames = 0;
};

_Unwind_Reason_Code onFrame(_Unwind_Context* frame, void* argument) {
    Walk& walk = *static_cast<Walk*>(argument);
    if (++walk.frames > kMaxFrames) return _URC_NORMAL_STOP;
    uint64_t address = _Unwind_GetIP(frame);
    if (walk.inFilter) {
        if (_Unwind_GetCFA(frame) != walk.stackPointer) return _URC_NO_REASON;
        walk.inFilter = false;
        address = walk.instruction;
    }
    if (address == 0) return _URC_NORMAL_STOP;
    return walk.visit(walk.argument, address) ? _URC_NO_REASON : _URC_NORMAL_STOP;
}

// What a call into nowhere has left: the caller's address on top of the stack.
bool returnToCaller(greg_t* registers) {
    uint64_t caller = 0;
    if (!readProcessRecord(static_cast<uint64_t>(registers[REG_RSP]), caller)) return false;
    registers[REG_RIP] = static_cast<greg_t>(caller);
    registers[REG_RSP] += sizeof caller;
    return true;
}

}  // namespace

void walkStack(ucontext_t& context, bool instructionInCode, AddressVisitor visit, void* argument) {
    greg_t* const registers = context.uc_mcontext.gregs;
    if (!instructionInCode) {
        if (!visit(argument, static_cast<uint64_t>(registers[REG_RIP]))) return;
        if (!returnToCaller(registers)) return;
    }
    Walk walk = {static_cast<uint64_t>(registers[REG_RSP]), static_cast<uint64_t>(registers[REG_RIP]), visit, argument};
    runFilterStep([](void* own) { _Unwind_Backtrace(onFrame, own); }, &walk);
}

}  // namespace platform
