#pragma once

#include <windows.h>

#include "platform/include/exception_filter.h"

struct platform::SystemException {
    EXCEPTION_POINTERS* pointers;
};
