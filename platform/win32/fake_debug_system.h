#pragma once

#include <windows.h>

#include <dbghelp.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/win32/debug_system.h"

// Stands in for the system and its dbghelp while it lives, one at a time. Every call is kept, in order and with its
// arguments; those named in `failing` fail with the error 1234.
class FakeDebugSystem : public DebugSystem {
  public:
    static constexpr DWORD kError = 1234;

    struct Module {
        std::wstring path;
        uint64_t base;
        ULONG size;
    };

    FakeDebugSystem() {
        sCurrent = this;
        replaceDebugSystem(this);
    }
    ~FakeDebugSystem() override {
        replaceDebugSystem(nullptr);
        sCurrent = nullptr;
    }

    static HANDLE handle(uintptr_t number) { return reinterpret_cast<HANDLE>(number); }

    std::set<std::string> failing;   // calls by their name, of dbghelp too
    std::set<std::string> missing;   // entry points
    std::vector<std::string> calls;  // "name arguments"; what the debugger is told as "debugger: text"
    std::string systemFolder = "C:\\system";
    std::string folder = "C:\\temporary\\";
    std::string program = "C:\\folder\\host.exe";
    std::vector<Module> modules = {{L"C:\\folder\\Host.EXE", 0x10000, 0x1000}};
    std::deque<uint64_t> frames;          // what StackWalk64 finds
    bool endless = false;                 // whether it then finds the last of them again and again
    std::map<uint64_t, uint64_t> memory;  // words that can be read
    std::set<uint64_t> shortWords;        // words of which only the half can be read
    std::wstring image = L"C:\\folder\\Host.EXE";
    DWORD versionSize = 100;
    VS_FIXEDFILEINFO version{};
    UINT versionLength = sizeof version;
    STACKFRAME64 firstFrame{};
    std::vector<CONTEXT*> contexts;  // that StackWalk64 got
    MINIDUMP_EXCEPTION_INFORMATION dumped{};
    std::string written;

    bool called(const std::string& call) const { return std::find(calls.begin(), calls.end(), call) != calls.end(); }
    // What the debugger has been told.
    std::vector<std::string> told() const {
        std::vector<std::string> texts;
        for (const std::string& call : calls) {
            if (call.rfind("debugger: ", 0) == 0) texts.push_back(call.substr(10));
        }
        return texts;
    }

    DWORD getLastError() override { return kError; }
    void outputDebugString(const char* text) override { calls.push_back(std::string("debugger: ") + text); }
    UINT getSystemDirectory(char* buffer, UINT size) override {
        if (!succeeds("GetSystemDirectoryA", size)) return 0;
        if (systemFolder.size() < size) std::memcpy(buffer, systemFolder.c_str(), systemFolder.size() + 1);
        return static_cast<UINT>(systemFolder.size());
    }
    void* loadLibrary(const char* path) override { return succeeds("LoadLibrary", path) ? handle(0x77) : nullptr; }
    void freeLibrary(void* library) override { succeeds("FreeLibrary", library); }
    void* getProcAddress(void* library, const char* name) override;
    HANDLE openProcess(DWORD access, BOOL inherited, DWORD process) override {
        return succeeds("OpenProcess", access, inherited, process) ? handle(0x11) : nullptr;
    }
    HANDLE openThread(DWORD access, BOOL inherited, DWORD thread) override {
        return succeeds("OpenThread", access, inherited, thread) ? handle(0x22) : nullptr;
    }
    BOOL readProcessMemory(HANDLE process, uint64_t address, void* buffer, size_t size, size_t* read) override {
        const bool known = succeeds("ReadProcessMemory", process, address, size) && memory.count(address) != 0;
        *read = !known ? 0 : shortWords.count(address) ? size / 2 : size;
        if (known) std::memcpy(buffer, &memory[address], *read);
        return known;
    }
    BOOL getExitCodeProcess(HANDLE process, DWORD* code) override {
        *code = STILL_ACTIVE;
        return succeeds("GetExitCodeProcess", process);
    }
    HANDLE createFile(const char* path, DWORD access, DWORD share, DWORD disposition, DWORD attributes) override {
        const bool made = succeeds("CreateFileA", path, access, share, disposition, attributes);
        return made ? handle(0x33) : INVALID_HANDLE_VALUE;
    }
    BOOL writeFile(HANDLE file, const void* bytes, DWORD size, DWORD* writtenSize) override {
        const bool made = succeeds("WriteFile", file, size);
        *writtenSize = made ? size : 0;
        if (made) written.append(static_cast<const char*>(bytes), size);
        return made;
    }
    void closeHandle(HANDLE closed) override { succeeds("CloseHandle", closed); }
    DWORD getFileVersionInfoSize(const wchar_t* file) override {
        return succeeds("GetFileVersionInfoSizeW", narrow(file)) ? versionSize : 0;
    }
    BOOL getFileVersionInfo(const wchar_t* file, DWORD size, void* block) override {
        std::memset(block, 0x55, size_t{size} * 2);
        return succeeds("GetFileVersionInfoW", narrow(file), size);
    }
    BOOL verQueryValue(const void*, const wchar_t* path, void** value, UINT* size) override {
        *value = &version;
        *size = versionLength;
        return succeeds("VerQueryValueW", narrow(path));
    }
    DWORD getTempPath(DWORD size, char* buffer) override {
        if (!succeeds("GetTempPathA", size)) return 0;
        return copyPath(folder, buffer, size);
    }
    BOOL getModuleHandleEx(DWORD flags, const void* address, HMODULE* module) override {
        *module = reinterpret_cast<HMODULE>(0x44);
        const bool ours = DebugSystem::getModuleHandleEx(flags, address, &ownModule);
        return succeeds("GetModuleHandleExW", flags) && ours;
    }
    DWORD getModuleFileName(HMODULE module, char* buffer, DWORD size) override {
        if (!succeeds("GetModuleFileNameA", module, size)) return 0;
        return copyPath(program, buffer, size);
    }

    HMODULE ownModule = nullptr;  // of the address that getModuleHandleEx got

  private:
    static std::string narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

    // Cut when it does not fit, with the size of the buffer as the result.
    static DWORD copyPath(const std::string& path, char* buffer, DWORD size) {
        const bool fits = path.size() < size;
        const size_t length = fits ? path.size() : size - 1;
        std::memcpy(buffer, path.data(), length);
        buffer[length] = '\0';
        return fits ? static_cast<DWORD>(length) : size;
    }

    template <typename... Arguments>
    bool succeeds(const std::string& name, const Arguments&... arguments) {
        std::ostringstream call;
        call << std::hex << name;
        ((call << ' ' << arguments), ...);
        calls.push_back(call.str());
        return failing.count(name) == 0;
    }

    static DWORD WINAPI symGetOptions() {
        sCurrent->succeeds("SymGetOptions");
        return 0x2;
    }
    static DWORD WINAPI symSetOptions(DWORD options) {
        sCurrent->succeeds("SymSetOptions", options);
        return options;
    }
    static BOOL WINAPI symInitialize(HANDLE process, const char* path, BOOL invade) {
        return sCurrent->succeeds("SymInitialize", process, path, invade);
    }
    static BOOL WINAPI symCleanup(HANDLE process) { return sCurrent->succeeds("SymCleanup", process); }
    static BOOL WINAPI enumerateModules(HANDLE process, PENUMLOADED_MODULES_CALLBACKW64 callback, void* context) {
        const bool made = sCurrent->succeeds("EnumerateLoadedModulesExW", process);
        for (const Module& module : sCurrent->modules) {
            if (!callback(module.path.c_str(), module.base, module.size, context)) return FALSE;
        }
        return made;
    }
    static BOOL WINAPI stackWalk(DWORD machine, HANDLE process, HANDLE thread, STACKFRAME64* frame, void* context,
                                 PREAD_PROCESS_MEMORY_ROUTINE64 read, PFUNCTION_TABLE_ACCESS_ROUTINE64 access,
                                 PGET_MODULE_BASE_ROUTINE64 base, PTRANSLATE_ADDRESS_ROUTINE64 translate) {
        FakeDebugSystem& system = *sCurrent;
        const bool routines = !read && access == functionTableAccess && base == getModuleBase && !translate;
        const bool made = system.succeeds("StackWalk64", machine, process, thread, routines);
        if (system.contexts.empty()) system.firstFrame = *frame;
        system.contexts.push_back(static_cast<CONTEXT*>(context));
        system.contexts.back()->Rip = 0xBAD;
        if (!made || system.frames.empty()) return FALSE;
        frame->AddrPC.Offset = system.frames.front();
        if (system.frames.size() > 1 || !system.endless) system.frames.pop_front();
        return TRUE;
    }
    static BOOL WINAPI getModuleInfo(HANDLE process, DWORD64 address, IMAGEHLP_MODULEW64* module) {
        FakeDebugSystem& system = *sCurrent;
        const bool zero = module->BaseOfImage == 0 && module->ModuleName[0] == 0 && module->ImageName[0] == 0;
        const bool made = system.succeeds("SymGetModuleInfoW64", process, address, module->SizeOfStruct, zero);
        std::copy_n(system.image.c_str(), system.image.size() + 1, module->ImageName);
        return made;
    }
    static void* WINAPI functionTableAccess(HANDLE, DWORD64) { return nullptr; }
    static DWORD64 WINAPI getModuleBase(HANDLE, DWORD64) { return 0; }
    static BOOL WINAPI writeDump(HANDLE process, DWORD id, HANDLE file, MINIDUMP_TYPE type,
                                 const MINIDUMP_EXCEPTION_INFORMATION* exception,
                                 const MINIDUMP_USER_STREAM_INFORMATION* streams,
                                 const MINIDUMP_CALLBACK_INFORMATION* callback) {
        sCurrent->dumped = *exception;
        const bool ours = process == GetCurrentProcess() && id == GetCurrentProcessId();
        return sCurrent->succeeds("MiniDumpWriteDump", ours, file, type, !streams && !callback);
    }

    inline static FakeDebugSystem* sCurrent = nullptr;
};

inline void* FakeDebugSystem::getProcAddress(void* library, const char* name) {
    static const std::map<std::string, void*> kFunctions = {
        {"SymGetModuleInfoW64", reinterpret_cast<void*>(getModuleInfo)},
        {"EnumerateLoadedModulesExW", reinterpret_cast<void*>(enumerateModules)},
        {"StackWalk64", reinterpret_cast<void*>(stackWalk)},
        {"SymCleanup", reinterpret_cast<void*>(symCleanup)},
        {"SymFunctionTableAccess64", reinterpret_cast<void*>(functionTableAccess)},
        {"SymGetModuleBase64", reinterpret_cast<void*>(getModuleBase)},
        {"SymInitialize", reinterpret_cast<void*>(symInitialize)},
        {"SymSetOptions", reinterpret_cast<void*>(symSetOptions)},
        {"SymGetOptions", reinterpret_cast<void*>(symGetOptions)},
        {"MiniDumpWriteDump", reinterpret_cast<void*>(writeDump)}};
    succeeds("GetProcAddress", library, name);
    const auto found = kFunctions.find(name);
    return found == kFunctions.end() || missing.count(name) ? nullptr : found->second;
}
