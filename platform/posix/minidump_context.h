#pragma once

#include <ucontext.h>

#include "platform/posix/minidump_format.h"
#include "platform/posix/task_list.h"

namespace platform::minidump {

// The registers of a signal frame, floating point included. Of a context that the program has taken itself (getcontext)
// the floating point and the segments are left out: it has none.
ContextAmd64 contextOf(const ucontext_t& context);

// What is known of a thread that could not be stopped.
ContextAmd64 contextOf(const TaskRegisters& registers);

// Of a thread of which nothing is known.
ContextAmd64 emptyContext();

}  // namespace platform::minidump
