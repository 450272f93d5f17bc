#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

// The same open file under a number above the standard streams', closed at exec: in the place of a closed stream it
// would take what is written to that. Locks stay. On failure -1 with errno, and the file is closed; -1 stays -1.
inline int aboveStreams(int descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
    const int above = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(descriptor);
    errno = error;
    return above;
}

}  // namespace platform
