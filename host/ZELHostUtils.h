#pragma once

#include <string>

// The host's life between entry and exit, and the few values of the command line that outlive its reading.
namespace ZELHostUtils {

// Reads the command line, opens the channels, runs the main loop until the client ends it or falls silent, tears down.
void ZELHostInit(const std::string& commandLine);

// Values of "PID" and "MID", empty until ZELHostInit has read them.
const std::string& clientProcessId();
const std::string& clientInstanceId();

// This process's id as ZELHostInit stored it for log prefixes; 0 before.
int storedProcessId();

}  // namespace ZELHostUtils
