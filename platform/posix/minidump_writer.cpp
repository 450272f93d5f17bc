#include "platform/posix/minidump_writer.h"

#include <time.h>

#include <cstring>
#include <type_traits>

#include "platform/posix/loaded_modules.h"
#include "platform/posix/minidump_context.h"
#include "platform/posix/minidump_format.h"
#include "platform/posix/minidump_system.h"
#include "platform/posix/minidump_text.h"
#include "platform/posix/output_file.h"
#include "platform/posix/proc_file.h"
#include "platform/posix/process_memory.h"
#include "platform/posix/task_list.h"

namespace platform {

namespace {

using namespace minidump;

constexpr size_t kMostThreads = 1024;  // what is beyond is left out
constexpr size_t kMostModules = 1024;
constexpr uint64_t kRedZone = 128;  // bytes below its stack pointer that a function may use
constexpr size_t kStackOfFailed = 64 * 1024;
constexpr size_t kStackOfOthers = 16 * 1024;
constexpr size_t kCodeBytes = 256;  // around the instruction pointer
constexpr uint64_t kPage = 4096;

constexpr size_t kStreamCount = 8;

// A list as the file has it: its count, then the records.
template <typename Record, size_t kMost>
struct RecordList {
    uint32_t count;
    uint8_t records[kMost * sizeof(Record)];

    bool full() const { return count == kMost; }
    void add(const Record& record) { std::memcpy(records + sizeof record * count++, &record, sizeof record); }
    size_t bytes() const { return sizeof count + count * sizeof(Record); }
};

class MinidumpWriter {
  public:
    MinidumpResult write(const char* path, const MinidumpRequest& request) {
        if (const int error = file_.open(path)) return {MinidumpResult::State::kNotCreated, error};
        streamCount_ = 0;
        writeHeader();
        writeThreads(request);
        writeModules();
        writeCode(static_cast<uint64_t>(request.context->uc_mcontext.gregs[REG_RIP]));
        addStream(StreamType::kMemoryList, &memory_, memory_.bytes());
        writeException(request);
        writeSystemInfo();
        writeMiscInfo();
        copyFile(StreamType::kLinuxProcessStatus, "/proc/self/status");
        copyFile(StreamType::kLinuxMaps, "/proc/thread-self/maps");
        file_.overwrite(sizeof(Header), directory_, sizeof directory_);
        const int error = file_.finish();
        return {error == 0 ? MinidumpResult::State::kWritten : MinidumpResult::State::kNotSaved, error};
    }

  private:
    // The directory behind it comes last.
    void writeHeader() {
        Header header = {};
        header.signature = kSignature;
        header.version = kVersion;
        header.streamCount = kStreamCount;
        header.directoryOffset = sizeof header;
        header.time = static_cast<uint32_t>(time(nullptr));
        file_.append(&header, sizeof header);
        std::memset(directory_, 0, sizeof directory_);
        file_.append(directory_, sizeof directory_);
    }

    void addStream(StreamType type, const void* data, size_t size) {
        file_.align();
        addStream(type, {static_cast<uint32_t>(size), file_.append(data, size)});
    }

    void addStream(StreamType type, Location location) { directory_[streamCount_++] = {type, location}; }

    void writeThreads(const MinidumpRequest& request) {
        threads_.count = 0;
        memory_.count = 0;
        const ContextAmd64 failed = contextOf(*request.context);
        failedContext_ = addThread(request.thread, failed, kStackOfFailed);
        TaskList tasks;
        for (pid_t id; !threads_.full() && tasks.next(id);) {
            TaskRegisters registers;
            if (id == request.thread) continue;
            const bool known = readTaskRegisters(id, registers);
            addThread(id, known ? contextOf(registers) : emptyContext(), kStackOfOthers);
        }
        addStream(StreamType::kThreadList, &threads_, threads_.bytes());
    }

    // The thread's context in the file.
    Location addThread(pid_t id, const ContextAmd64& context, size_t mostStack) {
        Thread record = {};
        record.id = static_cast<uint32_t>(id);
        record.stack = writeStack(context.rsp, mostStack);
        file_.align();
        record.context = {sizeof context, file_.append(&context, sizeof context)};
        threads_.add(record);
        return record.context;
    }

    // A thread that has used up its stack points below it.
    MemoryRange writeStack(uint64_t stackPointer, size_t most) {
        if (stackPointer < kRedZone) return {};
        const uint64_t begin = stackPointer - kRedZone;
        for (uint64_t at = begin; at - begin < most; at = (at / kPage + 1) * kPage) {
            const MemoryRange range = writeMemory(at, most - (at - begin));
            if (range.location.size > 0) return range;
        }
        return {};
    }

    // As much from `address` on as can be read.
    MemoryRange writeMemory(uint64_t address, size_t size) {
        const auto got = static_cast<uint32_t>(readProcessMemory(address, bytes_, size));
        if (got == 0) return {};
        file_.align();
        const MemoryRange range = {address, {got, file_.append(bytes_, got)}};
        memory_.add(range);
        return range;
    }

    void writeCode(uint64_t instructionPointer) {
        const uint64_t before = kCodeBytes / 2;
        const uint64_t begin = instructionPointer > before ? instructionPointer - before : 0;
        const uint64_t page = instructionPointer / kPage * kPage;
        if (writeMemory(begin, kCodeBytes).location.size <= instructionPointer - begin && begin < page) {
            writeMemory(page, begin + kCodeBytes - page);
        }
    }

    void writeModules() {
        modules_.count = 0;
        visitLoadedModules(
            [](void* self, const LoadedModule& module) {
                return static_cast<MinidumpWriter*>(self)->addModule(module);
            },
            this);
        addStream(StreamType::kModuleList, &modules_, modules_.bytes());
    }

    bool addModule(const LoadedModule& module) {
        Module record = {};
        record.base = module.base;
        record.size = static_cast<uint32_t>(module.size < UINT32_MAX ? module.size : UINT32_MAX);
        record.nameOffset = writeText(file_, module.path);
        if (module.buildIdSize > 0) record.codeView = writeBuildId(module);
        modules_.add(record);
        return !modules_.full();
    }

    Location writeBuildId(const LoadedModule& module) {
        file_.align();
        const uint32_t offset = file_.append(&kBuildIdSignature, sizeof kBuildIdSignature);
        file_.append(module.buildId, module.buildIdSize);
        return {static_cast<uint32_t>(sizeof kBuildIdSignature + module.buildIdSize), offset};
    }

    void writeException(const MinidumpRequest& request) {
        ExceptionStream record = {};
        record.thread = static_cast<uint32_t>(request.thread);
        record.code = static_cast<uint32_t>(request.info->si_signo);
        record.flags = static_cast<uint32_t>(request.info->si_code);
        record.address = static_cast<uint64_t>(request.context->uc_mcontext.gregs[REG_RIP]);
        record.parameterCount = 1;
        record.parameters[0] = request.code;
        record.context = failedContext_;
        addStream(StreamType::kException, &record, sizeof record);
    }

    void writeSystemInfo() {
        char version[kSystemVersionLength];
        SystemInfo record = systemInfo(version);
        record.versionTextOffset = writeText(file_, version);
        addStream(StreamType::kSystemInfo, &record, sizeof record);
    }

    void writeMiscInfo() {
        const MiscInfo record = miscInfo();
        addStream(StreamType::kMiscInfo, &record, sizeof record);
    }

    void copyFile(StreamType type, const char* path) {
        const uint32_t begin = file_.align();
        uint32_t size = 0;
        ProcFile source(path);
        while (const size_t got = source.read(bytes_, sizeof bytes_)) {
            file_.append(bytes_, got);
            size += static_cast<uint32_t>(got);
        }
        addStream(type, {size, begin});
    }

    OutputFile file_;
    DirectoryEntry directory_[kStreamCount];
    size_t streamCount_;
    RecordList<Thread, kMostThreads> threads_;
    RecordList<Module, kMostModules> modules_;
    RecordList<MemoryRange, kMostThreads + 2> memory_;
    Location failedContext_;
    char bytes_[kStackOfFailed];
};

}  // namespace

MinidumpResult writeMinidump(const char* path, const MinidumpRequest& request) {
    static_assert(std::is_trivially_default_constructible_v<MinidumpWriter>, "it is there without a guard to take");
    static MinidumpWriter writer;
    return writer.write(path, request);
}

}  // namespace platform
