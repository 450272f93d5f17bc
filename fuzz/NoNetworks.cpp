#include "platform/posix/resource_table.h"

// The table of an executable without networks.
extern "C" const ZelResource zel_resource_table[] = {{}};
extern "C" const int zel_resource_count = 0;
