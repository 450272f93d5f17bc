#include "platform/include/process.h"

#include <windows.h>

#include <psapi.h>
#include <shellapi.h>

#include <algorithm>
#include <cwchar>
#include <map>

#include "platform/include/kernel_objects.h"
#include "platform/win32/command_line.h"
#include "platform/win32/utf8.h"

namespace platform {

namespace {

constexpr UINT kKilledExit = 137;  // what a killed child's exit code is on Linux
constexpr int kUnknownExit = -1;

class SystemHandle {
  public:
    explicit SystemHandle(HANDLE handle = nullptr) : handle_(handle) {}
    ~SystemHandle() { reset(nullptr); }
    SystemHandle(const SystemHandle&) = delete;
    SystemHandle& operator=(const SystemHandle&) = delete;

    HANDLE get() const { return handle_; }
    void reset(HANDLE handle) {
        if (handle_ && handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
        handle_ = handle;
    }

  private:
    HANDLE handle_;
};

std::string errorText(DWORD error) {
    wchar_t text[512];
    constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    DWORD length = FormatMessageW(kFlags, nullptr, error, 0, text, 512, nullptr);
    while (length > 0 && (text[length - 1] == L'\n' || text[length - 1] == L'\r' || text[length - 1] == L'.')) --length;
    return length ? utf8FromWide(std::wstring(text, length)) : "error " + std::to_string(error);
}

struct NameOrder {
    bool operator()(const std::wstring& left, const std::wstring& right) const {
        return _wcsicmp(left.c_str(), right.c_str()) < 0;
    }
};

// Names differ without regard to case, and the block is sorted by them.
std::wstring mergedEnvironment(const ProcessOptions& options) {
    std::map<std::wstring, std::wstring, NameOrder> variables;
    wchar_t* own = GetEnvironmentStringsW();
    for (const wchar_t* entry = own; entry && *entry; entry += std::wcslen(entry) + 1) {
        const std::wstring variable = entry;
        const size_t equals = variable.find(L'=', 1);  // "=C:" is a name of the system's own
        if (equals != std::wstring::npos) variables[variable.substr(0, equals)] = variable.substr(equals + 1);
    }
    FreeEnvironmentStringsW(own);
    for (const auto& [name, value] : options.environment) variables[wideFromUtf8(name)] = wideFromUtf8(value);
    std::wstring block;
    for (const auto& [name, value] : variables) block += name + L'=' + value + L'\0';
    return block + L'\0';
}

class WindowsProcess : public Process {
  public:
    explicit WindowsProcess(const PROCESS_INFORMATION& started)
        : id_(static_cast<int>(started.dwProcessId)), process_(started.hProcess) {}

    int id() const override { return id_; }

    bool waitForExit(uint32_t timeoutMs) override {
        static_assert(kInfinite == INFINITE);
        if (ended_ || WaitForSingleObject(process_.get(), timeoutMs) != WAIT_OBJECT_0) return ended_;
        ended_ = true;
        DWORD code = 0;
        if (GetExitCodeProcess(process_.get(), &code)) exitCode_ = static_cast<int>(code);
        return true;
    }

    int exitCode() const override { return exitCode_; }
    void kill() override { TerminateProcess(process_.get(), kKilledExit); }

  private:
    const int id_;
    const SystemHandle process_;
    bool ended_ = false;
    int exitCode_ = kUnknownExit;
};

// The child's streams as handles that it may inherit.
class Streams {
  public:
    bool open(const ProcessOptions& options, std::string& error) {
        if (!openFile("NUL", GENERIC_READ, OPEN_EXISTING, input_, error)) return false;
        if (!openOutput(options.standardOutput, output_, error)) return false;
        if (options.standardError == "inherit") return shareOwn(GetStdHandle(STD_ERROR_HANDLE), error);
        if (!options.standardError.empty() && options.standardError == options.standardOutput) {
            return shareOwn(output_.get(), error);
        }
        return openOutput(options.standardError, error_, error);
    }

    HANDLE input() const { return input_.get(); }
    HANDLE output() const { return output_.get(); }
    HANDLE error() const { return error_.get(); }

  private:
    bool shareOwn(HANDLE own, std::string& error) {
        HANDLE copy = nullptr;
        const HANDLE self = GetCurrentProcess();
        const bool usable = own && own != INVALID_HANDLE_VALUE;
        if (!usable || !DuplicateHandle(self, own, self, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS)) {
            return openOutput("", error_, error);  // a program without streams has none to share
        }
        error_.reset(copy);
        return true;
    }

    static bool openOutput(const std::string& path, SystemHandle& handle, std::string& error) {
        if (path.empty()) return openFile("NUL", GENERIC_WRITE, OPEN_EXISTING, handle, error);
        return openFile(path, GENERIC_WRITE, CREATE_ALWAYS, handle, error);
    }

    static bool openFile(const std::string& path, DWORD access, DWORD disposition, SystemHandle& handle,
                         std::string& error) {
        constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
        SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
        const HANDLE opened = CreateFileW(wideFromUtf8(path).c_str(), access, kShareAll, &inheritable, disposition,
                                          FILE_ATTRIBUTE_NORMAL, nullptr);
        if (opened == INVALID_HANDLE_VALUE) {
            error = "cannot open " + path + ": " + errorText(GetLastError());
            return false;
        }
        handle.reset(opened);
        return true;
    }

    SystemHandle input_;
    SystemHandle output_;
    SystemHandle error_;
};

// The start-up attribute that keeps every handle but those given from the child.
class InheritOnly {
  public:
    explicit InheritOnly(const Streams& streams) : handles_{streams.input(), streams.output(), streams.error()} {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory_.resize(size);
        auto* list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
        if (!InitializeProcThreadAttributeList(list, 1, 0, &size)) return;
        list_ = list;
        ready_ = UpdateProcThreadAttribute(list_, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_, sizeof handles_,
                                           nullptr, nullptr);
    }
    ~InheritOnly() {
        if (list_) DeleteProcThreadAttributeList(list_);
    }
    InheritOnly(const InheritOnly&) = delete;
    InheritOnly& operator=(const InheritOnly&) = delete;

    bool ready() const { return ready_; }
    LPPROC_THREAD_ATTRIBUTE_LIST get() const { return list_; }

  private:
    HANDLE handles_[3];
    std::vector<char> memory_;
    LPPROC_THREAD_ATTRIBUTE_LIST list_ = nullptr;
    bool ready_ = false;
};

std::unique_ptr<Process> start(const std::string& program, const std::vector<std::string>& arguments,
                               const ProcessOptions& options, std::string& error) {
    Streams streams;
    if (!streams.open(options, error)) return nullptr;
    const std::wstring path = wideFromUtf8(program);
    std::vector<std::wstring> words = {path};
    for (const std::string& argument : arguments) words.push_back(wideFromUtf8(argument));
    std::wstring commandLine = commandLineOf(words);
    std::wstring environment = mergedEnvironment(options);

    const InheritOnly inherited(streams);
    STARTUPINFOEXW startup = {};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = streams.input();
    startup.StartupInfo.hStdOutput = streams.output();
    startup.StartupInfo.hStdError = streams.error();
    startup.lpAttributeList = inherited.get();
    constexpr DWORD kFlags = CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT | EXTENDED_STARTUPINFO_PRESENT;
    PROCESS_INFORMATION started = {};
    if (!inherited.ready() || !CreateProcessW(path.c_str(), commandLine.data(), nullptr, nullptr, TRUE, kFlags,
                                              environment.data(), nullptr, &startup.StartupInfo, &started)) {
        error = "cannot start " + program + ": " + errorText(GetLastError());
        return nullptr;
    }
    CloseHandle(started.hThread);
    return std::make_unique<WindowsProcess>(started);
}

uint64_t microseconds(const FILETIME& time) {
    return ((static_cast<uint64_t>(time.dwHighDateTime) << 32) + time.dwLowDateTime) / 10;
}

}  // namespace

std::wstring commandLineOf(const std::vector<std::wstring>& words) {
    std::wstring line;
    for (const std::wstring& word : words) {
        if (!line.empty()) line += L' ';
        if (!word.empty() && word.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
            line += word;
            continue;
        }
        line += L'"';
        size_t backslashes = 0;
        for (const wchar_t character : word) {
            // Backslashes mean themselves except before a quotation mark, where they are doubled.
            if (character == L'"') line.append(backslashes + 1, L'\\');
            backslashes = character == L'\\' ? backslashes + 1 : 0;
            line += character;
        }
        line.append(backslashes, L'\\');
        line += L'"';
    }
    return line;
}

std::unique_ptr<Process> startProcess(const std::string& program, const std::vector<std::string>& arguments,
                                      const ProcessOptions& options, std::string* error) {
    std::string text;
    std::unique_ptr<Process> process = start(program, arguments, options, text);
    if (error) *error = text;
    return process;
}

bool killProcess(int id) {
    const HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, static_cast<DWORD>(id));
    if (!process) return false;
    const bool ended = TerminateProcess(process, 1) != 0;
    CloseHandle(process);
    return ended;
}

void endProcess(int exitCode) {
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
    __builtin_unreachable();
}

std::vector<std::string> programArguments(int count, char** arguments) {
    int words = 0;
    wchar_t** line = CommandLineToArgvW(GetCommandLineW(), &words);
    if (!line) return {arguments, arguments + count};
    std::vector<std::string> utf8;
    for (int i = 0; i < words; ++i) utf8.push_back(utf8FromWide(line[i]));
    LocalFree(line);
    return utf8;
}

std::string environmentVariable(const char* name) {
    const std::wstring wideName = wideFromUtf8(name);
    std::wstring value(128, L'\0');
    for (;;) {
        const DWORD length = GetEnvironmentVariableW(wideName.c_str(), value.data(), static_cast<DWORD>(value.size()));
        if (length < value.size()) return utf8FromWide(value.substr(0, length));
        value.resize(length);
    }
}

uint64_t residentBytes() {
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof counters;
    return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) ? counters.WorkingSetSize : 0;
}

uint64_t processorMicroseconds() {
    FILETIME created, ended, kernel, user;
    if (!GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user)) return 0;
    return microseconds(kernel) + microseconds(user);
}

}  // namespace platform
