#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "crash/CrashSystem.h"
#include "platform/include/module.h"
#include "platform/include/resource.h"
#include "platform/posix/loaded_modules.h"
#include "platform/posix/minidump_writer.h"
#include "platform/posix/output_file.h"
#include "platform/posix/process_memory.h"
#include "platform/posix/stack_walker.h"
#include "platform/posix/system_exception.h"
#include "util/include/CmTrace.h"

namespace {

using platform::SystemException;
using platform::UncaughtException;

constexpr size_t kLongestFolder = 2047;  // bytes

const char kOwnData = 0;  // lies in the host's own module

bool addModule(void* modules, const platform::LoadedModule& module) {
    CrashText path(crashMemory());
    appendNarrow(path, module.path);
    static_cast<CrashModules*>(modules)->push_back({crashModuleName(path, L'/'), module.base, module.size});
    return true;
}

bool readWord(void*, uint64_t address, uint64_t& value) {
    return platform::readProcessRecord(address, value);
}

// Gathers the entries of a walk.
struct Entries {
    const CrashModules& modules;
    CrashText text{crashMemory()};
    size_t count = 0;
    const CrashModuleInfo* first = nullptr;

    bool add(uint64_t address) {
        const CrashModuleInfo* const module = findCrashModule(modules, address);
        if (!module) return true;
        if (!first) first = module;
        appendCrashEntry(text, *module, address);
        return ++count < kMaxCrashFrames;
    }
};

CrashText extraEntries(const CrashModules& modules, const CrashAddresses& addresses) {
    CrashText text(crashMemory());
    for (const uint64_t address : addresses) {
        if (const CrashModuleInfo* const module = findCrashModule(modules, address)) {
            appendCrashEntry(text, *module, address);
        }
    }
    return text;
}

bool writeWhole(int file, const char* bytes, size_t size) {
    while (size > 0) {
        const ssize_t written = write(file, bytes, size);
        if (written < 0 && errno != EINTR) return false;
        if (written <= 0) continue;
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// Its answers that would take memory of the heap are found when it is made.
class LinuxCrashSystem : public CrashSystem {
  public:
    LinuxCrashSystem() : mVersion(platform::productVersion()), mModule(platform::modulePathOf(&kOwnData)) {}

    CrashPath temporaryFolder() override;
    CrashPath moduleFolder() override;
    void writeDump(const UncaughtException& exception, const CrashPath& path) override;
    CrashStack readStack(const UncaughtException& exception, bool breakpoint) override;
    void writeReport(const CrashPath& path, const CrashText& report) override;

  private:
    const std::string mVersion;  // of the program
    const std::string mModule;   // path of the program
};

CrashPath LinuxCrashSystem::temporaryFolder() {
    const char* told = std::getenv("TMPDIR");
    if (!told || !*told) told = "/tmp";
    if (strnlen(told, kLongestFolder + 1) > kLongestFolder) return CrashPath(crashMemory());
    CrashPath folder(told, crashMemory());
    if (folder.back() != '/') folder += '/';
    if (folder.size() > kLongestFolder) folder.clear();
    return folder;
}

CrashPath LinuxCrashSystem::moduleFolder() {
    return CrashPath(mModule.data(), mModule.rfind('/') + 1, crashMemory());
}

void LinuxCrashSystem::writeDump(const UncaughtException& exception, const CrashPath& path) {
    const SystemException& system = *exception.system;
    const platform::MinidumpResult result = platform::writeMinidump(
        path.c_str(), {static_cast<pid_t>(exception.thread), exception.code, &system.info, system.context});
    switch (result.state) {
        case platform::MinidumpResult::State::kWritten:
            CM_ERROR("Minidump::dumpcallback, Saved dump file to: " << path.c_str());
            break;
        case platform::MinidumpResult::State::kNotCreated:
            CM_ERROR("Minidump::dumpcallback, Failed to create dump file: " << path.c_str()
                                                                            << ", error=" << result.error);
            break;
        case platform::MinidumpResult::State::kNotSaved:
            CM_ERROR("Minidump::dumpcallback, Failed to save dump file, error=" << result.error);
            break;
    }
}

CrashStack LinuxCrashSystem::readStack(const UncaughtException& exception, bool breakpoint) {
    ucontext_t& context = *exception.system->context;
    const auto instruction = static_cast<uint64_t>(context.uc_mcontext.gregs[REG_RIP]);
    CrashAddresses extraFrames(crashMemory());
    if (breakpoint) {
        extraFrames = readExtraFrames(static_cast<uint64_t>(context.uc_mcontext.gregs[REG_RCX]), readWord, nullptr);
    }
    CrashModules modules(crashMemory());
    platform::visitLoadedModules(addModule, &modules);

    Entries entries{modules};
    platform::walkStack(
        context, findCrashModule(modules, instruction) != nullptr,
        [](void* own, uint64_t address) { return static_cast<Entries*>(own)->add(address); }, &entries);

    CrashStack stack;
    stack.stackText = entries.count ? std::move(entries.text) : CrashText(kNoStackText, crashMemory());
    stack.extraText = extraEntries(modules, extraFrames);
    const auto own = reinterpret_cast<uint64_t>(&kOwnData);
    if (entries.first && entries.first == findCrashModule(modules, own)) appendNarrow(stack.version, mVersion);
    return stack;
}

void LinuxCrashSystem::writeReport(const CrashPath& path, const CrashText& report) {
    const int file = platform::createFile(path.c_str());
    if (file < 0) return;
    CrashPath bytes(crashMemory());
    bytes.reserve(report.size());
    for (const wchar_t c : report) bytes += c < 0x80 ? static_cast<char>(c) : '?';
    writeWhole(file, bytes.data(), bytes.size());
    close(file);
}

}  // namespace

CrashSystem& crashSystem() {
    static LinuxCrashSystem& system = *new LinuxCrashSystem;  // never destroyed: static objects may fail as they go
    return system;
}
