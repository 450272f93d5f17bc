#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/include/library_file.h"
#include "platform/include/text.h"

// Files of shared libraries are checked, loaded and asked for symbols. Failures are std::runtime_error whose text says
// what to check; what only informs goes to the standard error stream, a line each. Texts are UTF-8. Keeps no state; any
// thread.
namespace xnn::util {

struct SharedLibraryHandle_t {
    int32_t kind;  // 1 for a loaded module
    void* module;
};

// What a library's file is built for, named as getOsArchitecture does; "WIN-UNKNOWN" or "LINUX-UNKNOWN" for a file that
// is none. A line tells of each step that fails. The second form takes the steps on `file`, which has none behind it.
std::string getDllArchitecture(const std::wstring& path);
std::string getDllArchitecture(const std::wstring& path, platform::LibraryFile& file);

// What the machine is built for: "WIN-AMD64", "LINUX-ARM64".
std::string getOsArchitecture();

// True for the file of a library, also of one for another machine, which a line tells. False for a program.
bool isValidDll(const std::filesystem::path& path);

// The wide text of a path, which may be any bytes on Linux.
std::wstring wideOf(const std::filesystem::path& path);

// Writes wide text up to its zero in UTF-8 as platform::utf8FromWide does.
using Utf8Writer = int (*)(const wchar_t* text, char* buffer, int size);
// UTF-8 of wide text, up to its first zero.
std::string wstringToString(const std::wstring& text, Utf8Writer write = platform::utf8FromWide);

// The full form of a path, in the code page that it came in; empty on failure, which a line tells.
std::string toAbsolutePath(const std::string& path);
std::wstring toAbsolutePath(const std::wstring& path);

// Loads the library in the file at `path`, which is in the system's code page or wide. The result points to a
// SharedLibraryHandle_t; the library is let go with its last copy. An error of the file system that is not "not found"
// is raised as std::filesystem::filesystem_error.
std::shared_ptr<void> load_shared_object(const std::string& path);
std::shared_ptr<void> load_shared_object(const std::wstring& path);

// The address of a symbol in a library that load_shared_object gave. Never null.
void* get_symbol(const std::shared_ptr<void>& library, const char* name);

}  // namespace xnn::util
