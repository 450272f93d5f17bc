#include "client/tool/Failure.h"

#include <cstdio>
#include <exception>
#include <iostream>
#include <new>

namespace zeltool {

namespace {

int told(ExitCode code, const char* text) {
    std::fprintf(stderr, "zelclient: %s\n", text);
    return code;
}

void flushResults() {
    std::cout.flush();
    if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout))
        throw Failure{kOutput, "cannot write the results to standard output: is there room?"};
}

}  // namespace

int exitCodeOf(const std::function<int()>& body) try {
    const int code = body();
    flushResults();
    return code;
} catch (const Failure& failure) {
    return told(failure.code, failure.text.c_str());
} catch (const std::bad_alloc&) {
    return told(kFailed, "there is not enough memory");
} catch (const std::exception& failure) {
    return told(kFailed, failure.what());
}

}  // namespace zeltool
