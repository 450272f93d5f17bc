#include "platform/posix/minidump_context.h"

#include <cstring>

namespace platform::minidump {

namespace {

constexpr unsigned long kSignalFrame = 2;  // the kernel's UC_SIGCONTEXT_SS, which it sets in every frame of its own

void setFloatingPoint(ContextAmd64& record, const _libc_fpstate& state) {
    static_assert(sizeof state == sizeof record.floatingPoint);
    std::memcpy(record.floatingPoint, &state, sizeof state);
    record.mxcsr = state.mxcsr;
    record.flags |= kContextFloatingPoint;
}

// cs, gs, fs and ss lie in one register's room.
void setSegments(ContextAmd64& record, uint64_t segments) {
    record.cs = static_cast<uint16_t>(segments);
    record.gs = static_cast<uint16_t>(segments >> 16);
    record.fs = static_cast<uint16_t>(segments >> 32);
    record.ss = static_cast<uint16_t>(segments >> 48);
    record.flags |= kContextSegments;
}

}  // namespace

ContextAmd64 contextOf(const ucontext_t& context) {
    const auto value = [&context](int index) { return static_cast<uint64_t>(context.uc_mcontext.gregs[index]); };
    ContextAmd64 record = emptyContext();
    record.flags = kContextControl | kContextInteger;
    record.eflags = static_cast<uint32_t>(value(REG_EFL));
    record.rax = value(REG_RAX);
    record.rcx = value(REG_RCX);
    record.rdx = value(REG_RDX);
    record.rbx = value(REG_RBX);
    record.rsp = value(REG_RSP);
    record.rbp = value(REG_RBP);
    record.rsi = value(REG_RSI);
    record.rdi = value(REG_RDI);
    record.r8 = value(REG_R8);
    record.r9 = value(REG_R9);
    record.r10 = value(REG_R10);
    record.r11 = value(REG_R11);
    record.r12 = value(REG_R12);
    record.r13 = value(REG_R13);
    record.r14 = value(REG_R14);
    record.r15 = value(REG_R15);
    record.rip = value(REG_RIP);
    if (context.uc_flags & kSignalFrame) {
        setSegments(record, value(REG_CSGSFS));
        if (context.uc_mcontext.fpregs) setFloatingPoint(record, *context.uc_mcontext.fpregs);
    }
    return record;
}

ContextAmd64 contextOf(const TaskRegisters& registers) {
    ContextAmd64 record = emptyContext();
    record.flags = kContextControl;
    record.rsp = registers.stackPointer;
    record.rip = registers.instructionPointer;
    return record;
}

ContextAmd64 emptyContext() {
    ContextAmd64 record = {};
    record.flags = kContextAmd64;
    return record;
}

}  // namespace platform::minidump
