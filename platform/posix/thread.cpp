#include "platform/include/thread.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>

namespace platform {

unsigned long currentThreadId() {
    return static_cast<unsigned long>(syscall(SYS_gettid));
}

int currentProcessId() {
    return getpid();
}

int setThreadName(const char* name) {
    constexpr size_t kKept = 15;
    return pthread_setname_np(pthread_self(), std::string(name).substr(0, kKept).c_str());
}

}  // namespace platform
