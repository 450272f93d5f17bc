#include <cstdio>
#include <stdexcept>
#include <string>

#include "crash/ExceptionFilter.h"
#include "platform/include/clock.h"
#include "util/include/CmTrace.h"

// Started by the tests: crash_test_child FAILURE [SINK]. Fails with the crash filter in force.

namespace {

void print(unsigned long level, char* text, unsigned length) {
    std::printf("%lu %.*s\n", level, static_cast<int>(length), text);
    std::fflush(stdout);
}

// Like a client that no longer reads.
void printAndHang(unsigned long level, char* text, unsigned length) {
    print(level, text, length);
    for (;;) platform::sleepMilliseconds(1000);
}

}  // namespace

int main(int count, char** arguments) {
    const std::string failure = count > 1 ? arguments[1] : "";
    const std::string sink = count > 2 ? arguments[2] : "print";
    installCrashFilter();
    set_util_external_trace_sink(sink == "hang" ? printAndHang : print);
    if (sink == "silent") set_external_trace_mask(-1);
    if (failure == "words") throw std::invalid_argument("invalid stoi argument");
    if (failure == "long-words") throw std::runtime_error(std::string(5000, 'w'));
    if (failure == "number") throw 7;
    if (failure == "access") asm volatile("movl $1, (%0)" : : "r"(nullptr) : "memory");
    return 99;
}
