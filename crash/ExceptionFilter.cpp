#include "crash/ExceptionFilter.h"

#include <cstdio>

#include "platform/include/exception_filter.h"
#include "util/include/CmTrace.h"

namespace {

constexpr uint32_t kCppException = 0xE06D7363;

// Whole in one piece, so that no other thread's output comes between; cut to fit.
void printUncaught(const char* message) {
    char line[1024];
    std::snprintf(line, sizeof line - 1, "zelhost: uncaught exception: %s", message);
    std::fprintf(stderr, "%s\n", line);
    std::fflush(stderr);
}

void onUncaughtException(const platform::UncaughtException& exception) {
    // First what cannot wait for a client.
    if (exception.code == kCppException) printUncaught(exception.message);
    CM_ERROR("zelhost crashed!!!");
}

}  // namespace

void installCrashFilter() {
    platform::installExceptionFilter(onUncaughtException);
}
