#pragma once

#include <cstdint>
#include <string>

// Modules (programs and shared libraries): where they lie, loading, symbols. Paths are UTF-8.
namespace platform {

// The running program's file, and its directory without the trailing separator ("" when it cannot be told).
std::string executablePath();
std::string executableDirectory();
// For tests: what executableDirectory answers instead; "" puts the system's own back. Takes effect for later calls.
void replaceExecutableDirectory(const std::string& directory);

// The file of the module that holds `address`, "" when none does.
std::string modulePathOf(const void* address);

// The separator of this system's paths, '\\' or '/'.
char pathSeparator();

// The file name on this system of a library told by its Windows name: "xnn.dll" is "libxnn.so" on Linux.
std::string libraryFileName(const std::string& toldName);

// An open library; null means none.
using Library = void*;

// Has libraries that others need looked for in `directory` as well, where the system has such a list of this process's
// own. Linux has none: there loadLibrary finds what lies beside a library.
void addLibraryDirectory(const std::string& directory);

// Loads a library. A path without directory is searched the system's way; with `dependenciesBeside`, libraries that it
// needs are looked for in its own directory first. Null on failure, see lastLibraryError.
Library loadLibrary(const std::string& path, bool dependenciesBeside);
void freeLibrary(Library library);
void* findSymbol(Library library, const char* name);

// GetLastError of this thread's last failed call above; on Linux 126 for a failed load, 127 for a missing symbol.
uint32_t lastLibraryError();

}  // namespace platform
