#include "crash/ExceptionFilter.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string>

#include "crash/CrashSystem.h"
#include "crash/DumpCallback.h"
#include "crash/ExceptionName.h"
#include "platform/include/exception_filter.h"
#include "platform/include/process.h"
#include "platform/include/terminal.h"
#include "util/include/CmTrace.h"

namespace {

constexpr uint32_t kMostSeconds = 600;

// Whole in one piece, so that no other thread's output comes between; cut to fit.
void printUncaught(const char* message) {
    char line[1024];
    constexpr int kRoom = sizeof line - 1;
    const int length = std::min(std::snprintf(line, kRoom, "zelhost: uncaught exception: %s", message), kRoom - 1);
    line[length] = '\n';
    platform::writeToStandardError(line, static_cast<size_t>(length) + 1);
}

void onUncaughtException(const platform::UncaughtException& exception) {
    // First what cannot wait for a client.
    if (exception.code == kCppException) printUncaught(exception.message);
    DumpCallback(exception, crashSystem());
}

// A whole number of seconds; anything else is the limit that everybody has.
uint32_t timeLimitMs() {
    const std::string text = platform::environmentVariable("ZELHOST_CRASH_SECONDS");
    uint32_t seconds = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool given = error == std::errc() && rest == text.data() + text.size();
    return given && seconds >= 1 && seconds <= kMostSeconds ? seconds * 1000 : platform::kFilterTimeLimitMs;
}

}  // namespace

void installCrashFilter() {
    // Found and made now: it takes memory of the heap.
    TraceModuleName(nullptr);
    crashMemory();
    crashSystem();
    platform::installExceptionFilter(onUncaughtException, timeLimitMs());
}
