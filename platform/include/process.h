#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Child processes, for the client library and for tests.
namespace platform {

struct ProcessOptions {
    std::vector<std::pair<std::string, std::string>> environment;  // set on top of the parent's
    std::string standardOutput;  // file that takes the child's stdout, truncated first; "" discards it
    std::string standardError;   // the same for stderr; "inherit" leaves the parent's
    bool dieWithParent = false;  // the system ends the child when the parent's starting thread is gone (Linux only)
};

// One child. Not thread-safe, except that kill may be called from any thread.
class Process {
  public:
    virtual ~Process() = default;  // neither kills nor waits; a child that has ended is reaped
    virtual int id() const = 0;
    // True once the child has ended; waits at most timeoutMs (0: only looks, platform::kInfinite: for ever).
    virtual bool waitForExit(uint32_t timeoutMs) = 0;
    // Exit code after waitForExit returned true; on Linux 128 + signal for a child that a signal ended.
    virtual int exitCode() const = 0;
    // Ends the child at once, as `kill -9` does.
    virtual void kill() = 0;
};

// Starts `program` with UTF-8 arguments, no shell between. Null on failure, with the reason in *error if given. The
// child inherits no open file of ours but its standard streams; stdin is empty.
std::unique_ptr<Process> startProcess(const std::string& program, const std::vector<std::string>& arguments,
                                      const ProcessOptions& options, std::string* error);

// Ends any process of this user at once, as `kill -9` does. False when there is none of that id or it is not ours.
bool killProcess(int id);

// Ends this very process at once with the given code: no destructors, no handlers.
[[noreturn]] void endProcess(int exitCode);

// The arguments of main, the program's name first, in UTF-8: on Windows main is given them in the system's code page,
// so they are taken from the command line itself.
std::vector<std::string> programArguments(int count, char** arguments);

// Environment variable as UTF-8, "" when unset.
std::string environmentVariable(const char* name);

// Resident memory of this process in bytes, and processor time used so far in microseconds.
uint64_t residentBytes();
uint64_t processorMicroseconds();

}  // namespace platform
