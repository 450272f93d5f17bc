#include "platform/broken_stderr.h"

#include <fcntl.h>
#include <unistd.h>

namespace platform::test {

namespace {

// Returns the reader's end.
int makeStandardErrorAPipe() {
    int ends[2];
    if (pipe(ends) != 0) _exit(97);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    return ends[0];
}

}  // namespace

void fillStandardError() {
    makeStandardErrorAPipe();
    const int flags = fcntl(STDERR_FILENO, F_GETFL);
    fcntl(STDERR_FILENO, F_SETFL, flags | O_NONBLOCK);
    constexpr char kBytes[4096] = {};
    while (write(STDERR_FILENO, kBytes, sizeof kBytes) > 0) {
    }
    fcntl(STDERR_FILENO, F_SETFL, flags);
}

void closeReaderOfStandardError() {
    close(makeStandardErrorAPipe());
}

}  // namespace platform::test
