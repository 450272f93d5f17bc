#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

// The system's calls that the crash filter makes on Windows, each for a test to watch or to fail. Every method is the
// system's call of that name, with its results; arguments that are always the same are left out. A failure's number is
// getLastError's.
class DebugSystem {
  public:
    virtual ~DebugSystem() = default;

    virtual DWORD getLastError();
    virtual void outputDebugString(const char* text);

    virtual UINT getSystemDirectory(char* buffer, UINT size);
    virtual void* loadLibrary(const char* path);  // kmo_load_library_s, with what it needs looked for beside it
    virtual void freeLibrary(void* library);      // kmo_free_library_s
    virtual void* getProcAddress(void* library, const char* name);

    virtual HANDLE openProcess(DWORD access, BOOL inherited, DWORD process);
    virtual HANDLE openThread(DWORD access, BOOL inherited, DWORD thread);
    virtual BOOL readProcessMemory(HANDLE process, uint64_t address, void* buffer, size_t size, size_t* read);
    virtual BOOL getExitCodeProcess(HANDLE process, DWORD* code);

    virtual HANDLE createFile(const char* path, DWORD access, DWORD share, DWORD disposition, DWORD attributes);
    virtual BOOL writeFile(HANDLE file, const void* bytes, DWORD size, DWORD* written);
    virtual void closeHandle(HANDLE handle);

    virtual DWORD getFileVersionInfoSize(const wchar_t* file);
    virtual BOOL getFileVersionInfo(const wchar_t* file, DWORD size, void* block);
    virtual BOOL verQueryValue(const void* block, const wchar_t* path, void** value, UINT* size);

    virtual DWORD getTempPath(DWORD size, char* buffer);
    virtual BOOL getModuleHandleEx(DWORD flags, const void* address, HMODULE* module);
    virtual DWORD getModuleFileName(HMODULE module, char* buffer, DWORD size);
};

// The system, or what a test has put in its place.
DebugSystem& debugSystem();
void replaceDebugSystem(DebugSystem* replacement);  // null puts the system back

// The dbghelp of the system's own folder, never one beside the program; null on failure.
void* loadDbgHelp();
