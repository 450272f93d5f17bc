#include "platform/win32/stack_walker.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <memory_resource>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/win32/debug_system.h"

namespace {

constexpr DWORD kProcessAccess = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;
constexpr DWORD kThreadAccess = 0x1F03FF;         // THREAD_ALL_ACCESS of systems before Vista
constexpr int kMaxSteps = 10000;                  // a damaged stack may lead in circles outside all modules
constexpr DWORD kLongestVersionInfo = 64 * 1024;  // bytes; a damaged module may tell anything
constexpr size_t kUsualModules = 64;              // of a host with its engine loaded

void tellDebugger(const char* text, uint64_t number = 0) {
    char line[128];
    std::snprintf(line, sizeof line, "%s %" PRIu64, text, number);
    debugSystem().outputDebugString(line);
}

void tellDebuggerError(const char* text) {
    tellDebugger(text, debugSystem().getLastError());
}

void probeExitCode(HANDLE process) {
    DWORD code = 0;
    if (debugSystem().getExitCodeProcess(process, &code)) {
        tellDebugger("Testing exit code of the process:", code);
    } else {
        tellDebuggerError("GetExitCodeProcess error:");
    }
}

class ThreadHandle {
  public:
    explicit ThreadHandle(DWORD threadId) : handle_(debugSystem().openThread(kThreadAccess, FALSE, threadId)) {
        if (!handle_) tellDebuggerError("error opening crash thread:");
    }
    ~ThreadHandle() {
        if (handle_) debugSystem().closeHandle(handle_);
    }
    ThreadHandle(const ThreadHandle&) = delete;
    ThreadHandle& operator=(const ThreadHandle&) = delete;

    HANDLE get() const { return handle_; }

  private:
    const HANDLE handle_;
};

// The frames that lie in a module.
struct Walk {
    CrashText text{crashMemory()};
    CrashAddresses addresses{crashMemory()};
};

bool readWord(void* process, uint64_t address, uint64_t& value) {
    size_t read = 0;
    return debugSystem().readProcessMemory(process, address, &value, sizeof value, &read) && read == sizeof value;
}

CrashAddresses extraFramesOf(const DbgHelpBinding& binding, const CONTEXT& context) {
    tellDebugger("trying to read extra stack trace");
    return readExtraFrames(context.Rcx, readWord, binding.process);
}

// No exception may pass through the system's enumeration.
BOOL CALLBACK addModule(const wchar_t* path, DWORD64 base, ULONG size, void* modules) {
    try {
        static_cast<CrashModules*>(modules)->push_back({crashModuleName(path, L'\\'), base, size});
        return TRUE;
    } catch (const std::bad_alloc&) {
        return FALSE;
    }
}

CrashModules modulesOf(const DbgHelpBinding& binding) {
    CrashModules modules(crashMemory());
    modules.reserve(kUsualModules);
    if (!binding.enumerateLoadedModules(binding.process, addModule, &modules)) {
        tellDebuggerError("error EnumerateLoadedModulesExWFuncRetVal:");
        probeExitCode(binding.process);
    }
    return modules;
}

// Frame and stack are set the other way round than is usual; readers of the entries have them so.
STACKFRAME64 firstFrame(const CONTEXT& context) {
    STACKFRAME64 frame{};
    frame.AddrPC = {context.Rip, 0, AddrModeFlat};
    frame.AddrFrame = {context.Rsp, 0, AddrModeFlat};
    frame.AddrStack = {context.Rbp, 0, AddrModeFlat};
    return frame;
}

bool stepToNext(const DbgHelpBinding& binding, HANDLE thread, STACKFRAME64& frame, CONTEXT& context) {
    if (!binding.stackWalk(binding.machineType, binding.process, thread, &frame, &context, nullptr,
                           binding.symFunctionTableAccess, binding.symGetModuleBase, nullptr)) {
        tellDebuggerError("StackWalk64 returned FALSE, lastError:");
        return false;
    }
    if (frame.AddrPC.Offset == 0) {
        tellDebugger("stackFrame.AddrPC.Offset is 0");
        return false;
    }
    return true;
}

// The context is a copy, since a step turns it into the caller's.
Walk walkStack(const DbgHelpBinding& binding, HANDLE thread, CONTEXT context, const CrashModules& modules) {
    Walk walk;
    STACKFRAME64 frame = firstFrame(context);
    for (int steps = 0; steps < kMaxSteps && walk.addresses.size() < binding.maxFrames; ++steps) {
        if (!stepToNext(binding, thread, frame, context)) break;
        const uint64_t address = frame.AddrPC.Offset;
        if (const CrashModuleInfo* const module = findCrashModule(modules, address)) {
            appendCrashEntry(walk.text, *module, address);
            walk.addresses.push_back(address);
        } else {
            tellDebugger("main findModuleNameFromAddress failed on offset:", address);
        }
    }
    return walk;
}

CrashText versionText(const VS_FIXEDFILEINFO& information) {
    CrashText version(crashMemory());
    for (const DWORD part : {HIWORD(information.dwProductVersionMS), LOWORD(information.dwProductVersionMS),
                             HIWORD(information.dwProductVersionLS), LOWORD(information.dwProductVersionLS)}) {
        if (!version.empty()) version += L'.';
        appendDecimal(version, part);
    }
    return version;
}

CrashText productVersionOf(const wchar_t* file) {
    DebugSystem& system = debugSystem();
    const DWORD size = system.getFileVersionInfoSize(file);
    if (size == 0 || size > kLongestVersionInfo) return CrashText(crashMemory());
    // Twice the size: the calls for wide text turn narrow blocks into wide ones in place.
    std::pmr::vector<std::byte> block(size_t{size} * 2, crashMemory());
    void* value = nullptr;
    UINT length = 0;
    if (!system.getFileVersionInfo(file, size, block.data()) ||
        !system.verQueryValue(block.data(), L"\\", &value, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
        return CrashText(crashMemory());
    }
    return versionText(*static_cast<const VS_FIXEDFILEINFO*>(value));
}

CrashText versionOf(const DbgHelpBinding& binding, uint64_t address) {
    IMAGEHLP_MODULEW64 module{};
    static_assert(sizeof module == 3264);
    module.SizeOfStruct = sizeof module;
    // A dbghelp that does not have the call counts as its failure: nothing else has asked for the pointer.
    if (!binding.symGetModuleInfo || !binding.symGetModuleInfo(binding.process, address, &module)) {
        tellDebuggerError("error SymGetModuleInfoW64FuncRetVal:");
        return CrashText(crashMemory());
    }
    return module.ImageName[0] ? productVersionOf(module.ImageName) : CrashText(crashMemory());
}

void tellCounts(const CrashAddresses& extraFrames, const CrashModules& modules, const Walk& walk) {
    tellDebugger("number of exception_frames: ", extraFrames.size());
    tellDebugger("number of modList: ", modules.size());
    tellDebugger("number of stackTraceStrs: ", walk.addresses.size());
    tellDebugger("number of stackTraceAddresses: ", walk.addresses.size());
}

void appendExtraFrames(CrashText& text, const CrashAddresses& extraFrames, const CrashModules& modules) {
    for (const uint64_t address : extraFrames) {
        if (const CrashModuleInfo* const module = findCrashModule(modules, address)) {
            appendCrashEntry(text, *module, address);
        } else {
            tellDebugger("exception_frames findModuleNameFromAddress failed on offset:", address);
        }
    }
}

}  // namespace

DbgHelpBinding::DbgHelpBinding(DWORD processId) {
    library = loadDbgHelp();
    if (!library) {
        tellDebuggerError("error loading dbghelp:");
        return;
    }
    process = debugSystem().openProcess(kProcessAccess, FALSE, processId);
    if (!process) {
        tellDebuggerError("error opening crash process:");
        return;
    }
    ready = resolve() && initializeSymbols();
}

DbgHelpBinding::~DbgHelpBinding() {
    DebugSystem& system = debugSystem();
    if (symInitialized && !symCleanup(process)) tellDebuggerError("SymCleanupFuncRetVal fail:");
    if (library) system.freeLibrary(library);
    if (process) system.closeHandle(process);
}

bool DbgHelpBinding::resolve() {
    const auto find = [this](const char* name, auto& function) {
        function = reinterpret_cast<std::decay_t<decltype(function)>>(debugSystem().getProcAddress(library, name));
    };
    find("SymGetModuleInfoW64", symGetModuleInfo);
    find("EnumerateLoadedModulesExW", enumerateLoadedModules);
    find("StackWalk64", stackWalk);
    find("SymCleanup", symCleanup);
    find("SymFunctionTableAccess64", symFunctionTableAccess);
    find("SymGetModuleBase64", symGetModuleBase);
    find("SymInitialize", symInitialize);
    find("SymSetOptions", symSetOptions);
    find("SymGetOptions", symGetOptions);
    find("SymFromAddrW", symFromAddr);
    find("SymGetLineFromAddrW64", symGetLineFromAddr);
    find("SymSrvGetFileIndexes", symSrvGetFileIndexes);
    const bool complete = enumerateLoadedModules && stackWalk && symCleanup && symFunctionTableAccess &&
                          symGetModuleBase && symInitialize && symSetOptions && symGetOptions;
    if (!complete) tellDebugger("error resolving dbghelp methods");
    return complete;
}

bool DbgHelpBinding::initializeSymbols() {
    symSetOptions(symGetOptions() | SYMOPT_NO_PROMPTS);
    symInitialized = symInitialize(process, "fake_address", TRUE);
    if (!symInitialized) {
        tellDebuggerError("error SymInitialize:");
        probeExitCode(process);
    }
    return symInitialized;
}

CrashText GetCrashStack(DWORD processId, DWORD threadId, CONTEXT* context, bool readExtraFrames, CrashText& extraText,
                        CrashText& version) {
    const DbgHelpBinding binding(processId);
    if (!binding.ready) return CrashText(kNoStackText, crashMemory());
    CrashAddresses extraFrames(crashMemory());
    if (readExtraFrames) extraFrames = extraFramesOf(binding, *context);
    const CrashModules modules = modulesOf(binding);
    const ThreadHandle thread(threadId);
    Walk walk = walkStack(binding, thread.get(), *context, modules);
    if (walk.addresses.empty()) {
        tellDebugger("stack frames are empty");
    } else {
        version = versionOf(binding, walk.addresses.front());
    }
    tellCounts(extraFrames, modules, walk);
    appendExtraFrames(extraText, extraFrames, modules);
    return walk.text.empty() ? CrashText(kNoStackText, crashMemory()) : std::move(walk.text);
}
