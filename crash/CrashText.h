#pragma once

#include <cstdint>
#include <memory_resource>
#include <string>
#include <string_view>

// Text that the crash filter makes. It comes from memory set aside in advance, since the heap of a failed process may
// be broken, or locked for ever. One thread at a time, as the filter runs.

using CrashText = std::pmr::wstring;

// Gives away its memory piece by piece and takes none back; std::bad_alloc when it is used up.
std::pmr::memory_resource* crashMemory();

void appendDecimal(CrashText& text, uint64_t value);
void appendHexadecimal(CrashText& text, uint64_t value);  // lower case, without a prefix
// Narrow text of the system, byte by byte where it is ASCII; any other byte becomes '?'.
void appendNarrow(CrashText& text, std::string_view narrow);
