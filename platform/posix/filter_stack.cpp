#include "platform/filter_stack.h"

#include <csignal>

namespace platform::test {

size_t stackForFilter() {
    stack_t stack = {};
    sigaltstack(nullptr, &stack);
    return stack.ss_flags & SS_DISABLE ? 0 : stack.ss_size;
}

}  // namespace platform::test
