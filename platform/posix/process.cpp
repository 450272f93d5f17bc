#include "platform/include/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "platform/include/clock.h"
#include "platform/include/kernel_objects.h"
#include "platform/posix/descriptor.h"

// POSIX leaves it to its users to declare this; some headers do all the same.
extern char** environ;  // NOLINT(readability-redundant-declaration)

namespace platform {

namespace {

constexpr int kSignalledExit = 128;
constexpr int kUnknownExit = -1;

class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return number_; }
    void reset(int number = -1) {
        if (number_ >= 0) close(number_);
        number_ = number;
    }

  private:
    int number_;
};

std::string errorText(int error) {
    return std::generic_category().message(error);
}

// The strings with their pointers, as exec takes them.
class StringArray {
  public:
    explicit StringArray(std::vector<std::string> strings) : strings_(std::move(strings)) {
        for (std::string& string : strings_) pointers_.push_back(string.data());
        pointers_.push_back(nullptr);
    }
    StringArray(const StringArray&) = delete;
    StringArray& operator=(const StringArray&) = delete;

    char** get() { return pointers_.data(); }

  private:
    std::vector<std::string> strings_;
    std::vector<char*> pointers_;
};

std::vector<std::string> mergedEnvironment(const ProcessOptions& options) {
    std::vector<std::string> merged;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string variable = *entry;
        const std::string name = variable.substr(0, variable.find('='));
        const bool replaced = std::any_of(options.environment.begin(), options.environment.end(),
                                          [&](const auto& setting) { return setting.first == name; });
        if (!replaced) merged.push_back(variable);
    }
    for (const auto& [name, value] : options.environment) merged.emplace_back(name).append("=").append(value);
    return merged;
}

// What the child does between fork and exec, all of it prepared: after a fork in a program of several threads only
// async-signal-safe calls are allowed.
struct ChildSetup {
    const char* program;
    char** arguments;
    char** environment;
    int streams[3];  // for 0, 1 and 2; each above 2, or -1 to leave the parent's
    int report;      // takes errno of a failed step
    pid_t parent;
    bool dieWithParent;
};

void closeOthersAtExec() {
    constexpr unsigned kCloseAtExec = 1u << 2;  // CLOSE_RANGE_CLOEXEC
    if (syscall(SYS_close_range, 3u, ~0u, kCloseAtExec) == 0) return;
    // Kernels before 5.11.
    rlimit limit;
    const int end = getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < INT_MAX ? int(limit.rlim_cur) : 65536;
    for (int i = 3; i < end; ++i) fcntl(i, F_SETFD, FD_CLOEXEC);
}

void restoreSignals() {
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigaction(SIGPIPE, &action, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void runChild(const ChildSetup& setup) {
    bool ok = true;
    if (setup.dieWithParent) {
        ok = prctl(PR_SET_PDEATHSIG, SIGKILL) == 0;
        // The parent may have gone before the request was in force.
        if (getppid() != setup.parent) _exit(kSignalledExit + SIGKILL);
    }
    for (int i = 0; ok && i < 3; ++i) ok = setup.streams[i] < 0 || dup2(setup.streams[i], i) == i;
    if (ok) {
        closeOthersAtExec();
        restoreSignals();
        execve(setup.program, setup.arguments, setup.environment);
    }
    const int error = errno;
    ssize_t written = write(setup.report, &error, sizeof error);
    _exit(written == sizeof error ? 127 : 126);
}

class PosixProcess : public Process {
  public:
    PosixProcess(pid_t id, int handle) : id_(id), handle_(handle) {}
    ~PosixProcess() override { waitForExit(0); }

    int id() const override { return id_; }

    bool waitForExit(uint32_t timeoutMs) override {
        if (!ended_ && becomesReadable(timeoutMs)) reap();
        return ended_;
    }

    int exitCode() const override { return exitCode_; }

    // By the handle, since the number may be another process's once the child has been reaped.
    void kill() override { syscall(SYS_pidfd_send_signal, handle_.get(), SIGKILL, nullptr, 0); }

  private:
    bool becomesReadable(uint32_t timeoutMs) const {
        const uint64_t deadline = monotonicMicroseconds() / 1000 + timeoutMs;
        for (;;) {
            int wait = -1;
            if (timeoutMs != kInfinite) {
                const uint64_t now = monotonicMicroseconds() / 1000;
                wait = now < deadline ? static_cast<int>(std::min<uint64_t>(deadline - now, INT_MAX)) : 0;
            }
            pollfd entry = {handle_.get(), POLLIN, 0};
            const int ready = poll(&entry, 1, wait);
            if (ready > 0) return true;
            if (ready < 0 && errno != EINTR) return false;
            if (ready == 0 && monotonicMicroseconds() / 1000 >= deadline) return false;
        }
    }

    void reap() {
        int status = 0;
        pid_t reaped;
        do {
            reaped = waitpid(id_, &status, 0);
        } while (reaped < 0 && errno == EINTR);
        ended_ = true;
        // Another part of the program may reap every child; the exit code is gone then.
        if (reaped != id_) return;
        exitCode_ = WIFSIGNALED(status) ? kSignalledExit + WTERMSIG(status) : WEXITSTATUS(status);
    }

    const pid_t id_;
    const Descriptor handle_;
    bool ended_ = false;
    int exitCode_ = kUnknownExit;
};

// The child's streams. Numbers above 2, so that putting one in its place never covers another.
class Streams {
  public:
    bool open(const ProcessOptions& options, std::string& error) {
        if (!openFile("/dev/null", O_RDONLY, input_, error)) return false;
        if (!openOutput(options.standardOutput, output_, error)) return false;
        if (options.standardError == "inherit") {
            const bool isThere = fcntl(STDERR_FILENO, F_GETFD) >= 0;
            return isThere || openOutput("", error_, error);  // a program without streams has none to share
        }
        if (!options.standardError.empty() && options.standardError == options.standardOutput) {
            error_.reset(fcntl(output_.get(), F_DUPFD_CLOEXEC, 3));
            if (error_.get() < 0) error = "cannot share " + options.standardOutput + ": " + errorText(errno);
            return error_.get() >= 0;
        }
        return openOutput(options.standardError, error_, error);
    }

    void putInto(int (&streams)[3]) const {
        streams[0] = input_.get();
        streams[1] = output_.get();
        streams[2] = error_.get();
    }

  private:
    static bool openOutput(const std::string& path, Descriptor& descriptor, std::string& error) {
        if (path.empty()) return openFile("/dev/null", O_WRONLY, descriptor, error);
        return openFile(path, O_WRONLY | O_CREAT | O_TRUNC, descriptor, error);
    }

    static bool openFile(const std::string& path, int flags, Descriptor& descriptor, std::string& error) {
        descriptor.reset(aboveStreams(::open(path.c_str(), flags | O_CLOEXEC, 0666)));
        if (descriptor.get() < 0) error = "cannot open " + path + ": " + errorText(errno);
        return descriptor.get() >= 0;
    }

    Descriptor input_;
    Descriptor output_;
    Descriptor error_;
};

// Forks with all signals blocked, so that no handler of ours runs in the child.
pid_t forkChild(const ChildSetup& setup) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = fork();
    if (child == 0) runChild(setup);
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return child;
}

// The pipe by which a child tells why it could not become its program.
class ReportPipe {
  public:
    bool open() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return false;
        read_.reset(aboveStreams(ends[0]));
        write_.reset(aboveStreams(ends[1]));
        return read_.get() >= 0 && write_.get() >= 0;
    }

    int writeEnd() const { return write_.get(); }

    // The error of the child's way to its program; 0 once that runs, which closes the pipe.
    int readError() {
        write_.reset();
        int error = 0;
        ssize_t size;
        do {
            size = read(read_.get(), &error, sizeof error);
        } while (size < 0 && errno == EINTR);
        return size == sizeof error ? error : 0;
    }

  private:
    Descriptor read_;
    Descriptor write_;
};

void endAndReap(pid_t child) {
    ::kill(child, SIGKILL);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

std::nullptr_t failed(const std::string& program, int reason, std::string& error) {
    error = "cannot start " + program + ": " + errorText(reason);
    return nullptr;
}

std::unique_ptr<Process> start(const std::string& program, const std::vector<std::string>& arguments,
                               const ProcessOptions& options, std::string& error) {
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    StringArray argumentArray(std::move(words));
    StringArray environment(mergedEnvironment(options));
    Streams streams;
    if (!streams.open(options, error)) return nullptr;
    ReportPipe report;
    if (!report.open()) return failed(program, errno, error);

    ChildSetup setup = {};
    setup.program = program.c_str();
    setup.arguments = argumentArray.get();
    setup.environment = environment.get();
    streams.putInto(setup.streams);
    setup.report = report.writeEnd();
    setup.parent = getpid();
    setup.dieWithParent = options.dieWithParent;
    const pid_t child = forkChild(setup);
    if (child < 0) return failed(program, errno, error);
    const int handle = aboveStreams(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    const int reason = handle < 0 ? errno : report.readError();
    if (reason != 0) {
        endAndReap(child);
        if (handle >= 0) close(handle);
        return failed(program, reason, error);
    }
    return std::make_unique<PosixProcess>(child, handle);
}

}  // namespace

std::unique_ptr<Process> startProcess(const std::string& program, const std::vector<std::string>& arguments,
                                      const ProcessOptions& options, std::string* error) {
    std::string text;
    std::unique_ptr<Process> process = start(program, arguments, options, text);
    if (error) *error = text;
    return process;
}

bool killProcess(int id) {
    return id > 0 && ::kill(id, SIGKILL) == 0;
}

void endProcess(int exitCode) {
    _exit(exitCode);
}

std::vector<std::string> programArguments(int count, char** arguments) {
    return {arguments, arguments + count};
}

std::string environmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

uint64_t residentBytes() {
    std::FILE* file = std::fopen("/proc/self/statm", "re");
    if (!file) return 0;
    unsigned long long total = 0;
    unsigned long long resident = 0;
    const int fields = std::fscanf(file, "%llu %llu", &total, &resident);
    std::fclose(file);
    return fields == 2 ? resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE)) : 0;
}

uint64_t processorMicroseconds() {
    timespec used;
    if (clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used) != 0) return 0;
    return static_cast<uint64_t>(used.tv_sec) * 1000000 + static_cast<uint64_t>(used.tv_nsec) / 1000;
}

}  // namespace platform
