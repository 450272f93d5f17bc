#include <cstdio>

#include "util/include/CmSystem.h"
#include "util/include/CmTrace.h"

// Says what a fresh process makes of its environment: the mask, read twice as a host does, a line of each level, and
// the form for logs of each path in the arguments.
int main(int argumentCount, char** arguments) {
    CCmKlxTrace::instance()->Init();
    CCmKlxTrace::instance()->Init();
    std::printf("mask=%d module=%s\n", get_external_trace_mask(), TraceModuleName(""));
    QOR_ERROR("an error");
    QOR_WARNING("a warning");
    QOR_INFO("progress");
    for (int i = 1; i < argumentCount; ++i) {
        char shown[512];
        kmo_get_filepath_trace(arguments[i], shown, sizeof shown);
        std::printf("%s\n", shown);
    }
    return 0;
}
