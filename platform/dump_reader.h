#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Programs of others that read minidumps: what they make of one of ours.
namespace platform::test {

struct DumpSummary {
    struct Module {
        std::string path;
        std::string buildId;  // hexadecimal digits in lower case; "" when the reader does not tell it
        uint64_t base;
    };
    // lldb: its words, "signal SIGSEGV", of a Windows dump "Exception 0xc0000005 encountered at address 0x1400016b1".
    // minidump: the exception code in hexadecimal digits.
    std::string stop;
    uint32_t thread = 0;              // the failed one
    uint64_t instructionPointer = 0;  // of its innermost frame
    uint64_t stackPointer = 0;
    size_t threads = 0;
    std::vector<Module> modules;
    std::string text;  // all that the reader has said
};

// By the debugger lldb, which the system has.
DumpSummary readWithLldb(const std::string& path);

// By the Python package minidump, which ./zel fetches.
DumpSummary readWithMinidumpReader(const std::string& path);

}  // namespace platform::test
