#include "platform/filter_stack.h"

#include <windows.h>

namespace platform::test {

size_t stackForFilter() {
    ULONG size = 0;  // asks only
    SetThreadStackGuarantee(&size);
    return size;
}

}  // namespace platform::test
