#pragma once

#include <signal.h>
#include <ucontext.h>

#include "platform/include/exception_filter.h"

struct platform::SystemException {
    siginfo_t info;       // si_signo is the signal by which the process ends
    ucontext_t* context;  // the thread's registers at the failure
};
