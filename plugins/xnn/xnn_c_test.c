/* The interface as a C compiler sees it. */
#include "plugins/xnn/xnn.h"
