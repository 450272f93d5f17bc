#pragma once

#include <windows.h>

#include <dbghelp.h>

#include <cstddef>

#include "crash/CrashText.h"
#include "crash/StackText.h"

// What a walk works with: dbghelp, its entry points and the process. What goes wrong is told to the debugger, and given
// back at the end is what was there until then.
class DbgHelpBinding {
  public:
    explicit DbgHelpBinding(DWORD processId);
    ~DbgHelpBinding();
    DbgHelpBinding(const DbgHelpBinding&) = delete;
    DbgHelpBinding& operator=(const DbgHelpBinding&) = delete;

    // "SymGetModuleInfoW64" and the last three may be null, the others not once `ready` is true. Nothing calls the last
    // three.
    decltype(&::SymGetModuleInfoW64) symGetModuleInfo = nullptr;
    decltype(&::EnumerateLoadedModulesExW) enumerateLoadedModules = nullptr;
    decltype(&::StackWalk64) stackWalk = nullptr;
    decltype(&::SymCleanup) symCleanup = nullptr;
    decltype(&::SymFunctionTableAccess64) symFunctionTableAccess = nullptr;
    decltype(&::SymGetModuleBase64) symGetModuleBase = nullptr;
    decltype(&::SymInitialize) symInitialize = nullptr;
    decltype(&::SymSetOptions) symSetOptions = nullptr;
    decltype(&::SymGetOptions) symGetOptions = nullptr;
    decltype(&::SymFromAddrW) symFromAddr = nullptr;
    decltype(&::SymGetLineFromAddrW64) symGetLineFromAddr = nullptr;
    decltype(&::SymSrvGetFileIndexes) symSrvGetFileIndexes = nullptr;

    bool symInitialized = false;
    void* library = nullptr;
    HANDLE process = nullptr;
    const DWORD machineType = IMAGE_FILE_MACHINE_AMD64;
    const size_t maxFrames = kMaxCrashFrames;
    bool ready = false;

  private:
    bool resolve();
    bool initializeSymbols();
};

// The stack of a process's thread from `context` on, which stays as it is: "module+0xoffset;" for each frame, or
// kNoStackText. `extraText` gets the frames of the record that Rcx points to when readExtraFrames is set, `version` the
// product version of the first frame's module; both must be empty. std::runtime_error "Can't read memory" when the
// record cannot be read.
CrashText GetCrashStack(DWORD processId, DWORD threadId, CONTEXT* context, bool readExtraFrames, CrashText& extraText,
                        CrashText& version);
