#include "platform/include/terminal.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "platform/include/exception_filter.h"

namespace platform {

namespace {

// A pipe that is ready takes a line whole.
bool takesAtOnce(int descriptor) {
    pollfd state = {descriptor, POLLOUT, 0};
    return poll(&state, 1, 0) == 1 && (state.revents & POLLOUT) != 0;
}

}  // namespace

bool isTerminal(StandardStream stream) {
    return isatty(stream == StandardStream::kOutput ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

void writeToStandardError(const char* text, size_t size) {
    while (size > 0) {
        if (isThreadInFilter() && !takesAtOnce(STDERR_FILENO)) return;
        const ssize_t written = write(STDERR_FILENO, text, size);
        if (written < 0 && errno != EINTR) return;
        if (written <= 0) continue;
        text += written;
        size -= static_cast<size_t>(written);
    }
}

}  // namespace platform
