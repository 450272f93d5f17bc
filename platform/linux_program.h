#pragma once

#include <string>
#include <vector>

#include "platform/test_support.h"

namespace platform::test {

// Whether programs of Linux can be run: there, and on Wine, but not on Windows itself.
bool runsLinuxPrograms();

// Runs a program of Linux to its end. Fails the test when it cannot be started or does not end.
Outcome runLinuxProgram(const std::string& program, const std::vector<std::string>& arguments);

// The path by which such a program finds a file of ours.
std::string linuxPath(const std::string& path);

}  // namespace platform::test
