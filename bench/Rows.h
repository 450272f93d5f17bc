#pragma once

#include <string>

#include "bench/Comparison.h"
#include "bench/Report.h"

namespace zelbench {

struct Settings {
    std::string picture;  // photograph of a person, PNG
    Blocks blocks;
    int starts = 21;  // process starts of each kind
    int idleSeconds = 20;
    int switches = 200;    // of engines, for the memory
    int switchPairs = 15;  // pairs of blocks of one switch each
};

// A frame's way to a host and back against the bare network, and against the bare channel for a still one.
void measureFrames(const Settings& settings, Report& report);
// Ladon, face and screen frames against their bare networks.
void measureDetections(const Settings& settings, Report& report);
// Ladon frames through the library that the host loads against their bare network.
void measureLibrary(const Settings& settings, Report& report);
// Memory over many switches from one engine of that library to another and back.
void measureSwitchMemory(const Settings& settings, Report& report);
// Frames while such a switch is prepared and done, against the same in another process.
void measureSwitchFrames(const Settings& settings, Report& report);
// A channel round trip against ZeroMQ and a bare futex.
void measureChannels(const Settings& settings, Report& report);
// Start, memory and idle time of the process.
void measureProcess(const Settings& settings, Report& report);
// What a program on the client library sees when its host is killed while it serves.
void measureRecovery(const Settings& settings, Report& report);
// What a host that fails takes to write its dump and its report.
void measureCrash(const Settings& settings, Report& report);

// Echoes on the channels of `baseName` until it is ended: the other side of the bare channel.
[[noreturn]] void serveChannelEcho(const std::string& baseName);
// The same over a ZeroMQ socket.
[[noreturn]] void serveZeroMqEcho(const std::string& address);

}  // namespace zelbench
