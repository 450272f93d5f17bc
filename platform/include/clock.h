#pragma once

#include <cstdint>

namespace platform {

// Milliseconds of a monotonic clock, modulo 2^32 (GetTickCount). Tests can replace it.
uint32_t tickCount();

// Replaces the source of tickCount; null puts the system's back. Any thread; takes effect for later calls.
using TickSource = uint32_t (*)();
void replaceTickSource(TickSource source);

// Microseconds of a monotonic clock.
uint64_t monotonicMicroseconds();

// Sleeps at least that long. Never used to wait for a state.
void sleepMilliseconds(uint32_t milliseconds);

}  // namespace platform
