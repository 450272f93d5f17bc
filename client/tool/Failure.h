#pragma once

#include <functional>
#include <string>

namespace zeltool {

// The tool's exit codes; README and --help tell them.
enum ExitCode {
    kDone = 0,
    kUsage = 1,     // the command line cannot be understood
    kInput = 2,     // a picture, video or camera cannot be read
    kOutput = 3,    // a result cannot be written
    kHost = 4,      // the host does not start, or not with that model
    kNoResult = 5,  // the host runs and gave no result for some frame
    kFailed = 6,    // the tool itself failed: no memory, or the image library
};

// A failure that ends the tool: a line for people and the exit code.
struct Failure {
    ExitCode code;
    std::string text;
};

// Runs the tool and returns its exit code: what `body` returns, or that of what it throws, which is told on stderr.
// Lines that standard output did not take are a failure too.
int exitCodeOf(const std::function<int()>& body);

}  // namespace zeltool
