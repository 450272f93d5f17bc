#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string_view>
#include <vector>

#include "crash/CrashText.h"

// Addresses of a failed process as text that needs no symbols: "module+0xoffset;" for each.

struct CrashModuleInfo {
    CrashText name;  // the file's name only
    unsigned long long base;
    unsigned long size;  // bytes
};
using CrashModules = std::pmr::vector<CrashModuleInfo>;
using CrashAddresses = std::pmr::vector<uint64_t>;

inline constexpr size_t kMaxCrashFrames = 100;  // entries of a walk; addresses in no module do not count
inline constexpr wchar_t kNoStackText[] = L"[Could not determine stacktrace]";

// The part behind the last separator, in lower case; the whole path as it stands if there is none.
CrashText crashModuleName(std::wstring_view path, wchar_t separator);

// The first module in which the address lies, its base and its end excluded; null if there is none.
const CrashModuleInfo* findCrashModule(const CrashModules& modules, uint64_t address);

// "name+0xoffset;", the offset from the module's base.
void appendCrashEntry(CrashText& text, const CrashModuleInfo& module, uint64_t address);

// What is known of a failed thread's stack.
struct CrashStack {
    CrashText stackText{crashMemory()};  // kNoStackText where there is nothing to show
    CrashText extraText{crashMemory()};  // the extra frames'
    CrashText version{crashMemory()};    // of the product whose module failed, "" when it has none
};

// Reads eight bytes at an address of the failed process; false when they cannot be read.
using CrashWordReader = bool (*)(void* context, uint64_t address, uint64_t& value);

// The frame addresses in the record that whoever raised a breakpoint has laid down: at 0x18 the first, at 0x20, 0x28
// and 0x30 the begin, the end of the used part and the end of an array of more. The array is read whole, unused slots
// included, unless one of the three is zero, it ends before its used part does, or it is longer than 800 bytes.
// Reading stops when more than 100 addresses are there. std::runtime_error "Can't read memory" when it cannot be read.
CrashAddresses readExtraFrames(uint64_t record, CrashWordReader read, void* context);
