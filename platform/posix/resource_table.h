#pragma once

#include <cstdint>

// What the build links into a program in place of executable resources.

// One read-only block of the type "file". Defined by the object that packs the blocks; needed by every program that calls
// platform::findResource. An id appears once; `language` is 1033 or 2052 and is not looked at.
struct ZelResource {
    int id;
    int language;
    const void* data;
    uint64_t size;
};
extern "C" const ZelResource zel_resource_table[];
extern "C" const int zel_resource_count;

// String resources of the program, from zel_program_resources; a program may do without.
struct ZelString {
    int id;
    const wchar_t* text;
};
extern "C" const ZelString zel_string_table[] __attribute__((weak));
extern "C" const int zel_string_count __attribute__((weak));

// The program's version is an ELF note: owner "zelhost", this type, the version as text with its terminator.
inline constexpr uint32_t kZelVersionNoteType = 1;
inline constexpr char kZelVersionNoteOwner[8] = "zelhost";
