#pragma once

#include <string>
#include <vector>

#include "platform/test_support.h"

namespace platform::test {

// Runs a program of Linux to its end, also from a test that runs under Wine; there `exitCode` is told, too. Fails the
// test when it cannot be started or does not end.
Outcome runLinuxProgram(const std::string& program, const std::vector<std::string>& arguments);

// The path by which such a program finds a file of the test's.
std::string linuxPath(const std::string& path);

}  // namespace platform::test
