#include <dlfcn.h>
#include <elf.h>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>

#include "platform/dump_reader.h"
#include "platform/posix/dump_file.h"
#include "platform/posix/heap_count.h"
#include "platform/posix/minidump_writer.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

constexpr uint32_t kCode = 0xC0000005;
constexpr size_t kFilterStack = 256 * 1024;

// What the handler of the breakpoint works with.
struct Capture {
    std::string path;
    MinidumpResult result = {};
    ucontext_t context = {};  // a copy; its floating point is in `floatingPoint`
    _libc_fpstate floatingPoint = {};
    std::function<void(ucontext_t&)> change;  // before the dump is written
    size_t allocations = 0;
};
Capture* gCapture = nullptr;

void onBreakpoint(int, siginfo_t* info, void* context) {
    gCapture->context = *static_cast<ucontext_t*>(context);
    gCapture->floatingPoint = *gCapture->context.uc_mcontext.fpregs;
    if (gCapture->change) gCapture->change(gCapture->context);
    const size_t before = heapCallsOfThread();
    gCapture->result = writeMinidump(gCapture->path.c_str(), {gettid(), kCode, info, &gCapture->context});
    gCapture->allocations = heapCallsOfThread() - before;
}

// A breakpoint with known registers, the first two also on the stack.
constexpr uint64_t kR12 = 0x1212121212121212;
constexpr uint64_t kR15 = 0x1515151515151515;
constexpr uint64_t kXmm7 = 0x7777777777777777;
__attribute__((noinline)) void breakHere() {
    asm volatile(
        "mov %0, %%r12\n\t"
        "mov %1, %%r15\n\t"
        "movq %2, %%xmm7\n\t"
        "sub $128, %%rsp\n\t"  // the compiler may use what is below
        "push %%r15\n\t"
        "push %%r12\n\t"
        "int3\n\t"
        "add $144, %%rsp"
        :
        : "r"(kR12), "r"(kR15), "r"(kXmm7)
        : "r12", "r15", "xmm7", "memory", "cc");
}

// Memory of its own with pages that cannot be read before and behind.
class GuardedPages {
  public:
    static constexpr size_t kPage = 4096;
    explicit GuardedPages(size_t pages) : size_(pages * kPage) {
        memory_ = static_cast<char*>(
            mmap(nullptr, size_ + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        mprotect(begin(), size_, PROT_READ | PROT_WRITE);
    }
    ~GuardedPages() { munmap(memory_, size_ + 2 * kPage); }
    GuardedPages(const GuardedPages&) = delete;
    GuardedPages& operator=(const GuardedPages&) = delete;

    char* begin() const { return memory_ + kPage; }
    char* end() const { return begin() + size_; }
    size_t size() const { return size_; }

  private:
    const size_t size_;
    char* memory_;
};

// Dumps of this very process, each written in a signal handler on a stack as small as the filter's.
class MinidumpTest : public testing::Test {
  protected:
    MinidumpTest() {
        const stack_t stack = {stack_.begin(), 0, stack_.size()};
        sigaltstack(&stack, &stackBefore_);
        struct sigaction action = {};
        action.sa_sigaction = onBreakpoint;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK;
        sigaction(SIGTRAP, &action, &actionBefore_);
        capture_.path = folder_.path("a.dmp");
        gCapture = &capture_;
    }
    ~MinidumpTest() override {
        sigaction(SIGTRAP, &actionBefore_, nullptr);
        sigaltstack(&stackBefore_, nullptr);
    }

    MinidumpResult dump() {
        breakHere();
        return capture_.result;
    }
    DumpFile dumped() {
        const MinidumpResult result = dump();
        EXPECT_EQ(result.state, MinidumpResult::State::kWritten);
        EXPECT_EQ(result.error, 0);
        DumpFile file(readFile(capture_.path));
        file.checkWhole();
        return file;
    }
    uint64_t registerOf(int index) const { return static_cast<uint64_t>(capture_.context.uc_mcontext.gregs[index]); }
    void setRegister(int index, uint64_t value) {
        capture_.change = [index, value](ucontext_t& context) {
            context.uc_mcontext.gregs[index] = static_cast<greg_t>(value);
        };
    }

    const TemporaryFolder folder_;
    Capture capture_;

  private:
    const GuardedPages stack_{kFilterStack / GuardedPages::kPage};
    stack_t stackBefore_ = {};
    struct sigaction actionBefore_ = {};
};

// Threads that wait until they are let go.
class WaitingThreads {
  public:
    explicit WaitingThreads(size_t count) {
        for (size_t i = 0; i < count; ++i) threads_.emplace_back([this] { wait(); });
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return ids_.size() == count; });
    }
    ~WaitingThreads() {
        {
            const std::lock_guard lock(mutex_);
            over_ = true;
        }
        changed_.notify_all();
        for (std::thread& thread : threads_) thread.join();
    }
    std::vector<pid_t> ids() {
        const std::lock_guard lock(mutex_);
        return ids_;
    }

  private:
    void wait() {
        std::unique_lock lock(mutex_);
        ids_.push_back(gettid());
        changed_.notify_all();
        changed_.wait(lock, [this] { return over_; });
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<pid_t> ids_;
    bool over_ = false;
    std::vector<std::thread> threads_;
};

// The build id that a file on the disk has.
std::string buildIdOfFile(const std::string& path) {
    const std::string file = readFile(path);
    Elf64_Ehdr header;
    std::memcpy(&header, file.data(), sizeof header);
    for (size_t i = 0; i < header.e_shnum; ++i) {
        Elf64_Shdr section;
        std::memcpy(&section, file.data() + header.e_shoff + i * sizeof section, sizeof section);
        for (size_t at = 0; section.sh_type == SHT_NOTE && at < section.sh_size;) {
            Elf64_Nhdr note;
            std::memcpy(&note, file.data() + section.sh_offset + at, sizeof note);
            const size_t content = at + sizeof note + (note.n_namesz + 3) / 4 * 4;
            const std::string owner = file.substr(section.sh_offset + at + sizeof note, note.n_namesz);
            if (note.n_type == NT_GNU_BUILD_ID && owner == std::string("GNU\0", 4)) {
                return file.substr(section.sh_offset + content, note.n_descsz);
            }
            at = content + (note.n_descsz + 3) / 4 * 4;
        }
    }
    return "";
}

std::string digits(const std::string& bytes) {
    std::string digits;
    for (const unsigned char byte : bytes) {
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}

// Base and path of the module that holds an address, as the loader has them.
Dl_info loaderInfo(const void* address) {
    Dl_info info = {};
    EXPECT_NE(dladdr(address, &info), 0);
    return info;
}

const DumpFile::Module* moduleAt(const std::vector<DumpFile::Module>& modules, const void* base) {
    for (const DumpFile::Module& module : modules) {
        if (module.base == reinterpret_cast<uint64_t>(base)) return &module;
    }
    return nullptr;
}

// Seconds since 1970, from when the system started and how long after that the process did.
int64_t startOfThisProcess() {
    const std::string system = readFile("/proc/stat");
    const int64_t boot = std::stoll(system.substr(system.find("\nbtime ") + 7));
    const std::string process = readFile("/proc/self/stat");
    std::istringstream fields(process.substr(process.rfind(')') + 1));
    std::string field;
    for (int i = 3; i <= 22; ++i) fields >> field;
    return boot + std::stoll(field) / sysconf(_SC_CLK_TCK);
}

std::string ownProgram() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

bool exists(const std::string& path) {
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

}  // namespace

TEST_F(MinidumpTest, HasEveryStreamAlignedAndItsTime) {
    const auto before = static_cast<uint32_t>(time(nullptr));
    const DumpFile file = dumped();
    std::vector<uint32_t> types;
    for (const auto& [type, location] : file.streams()) {
        types.push_back(type);
        EXPECT_EQ(location.offset % 8, 0u) << type;
    }
    EXPECT_EQ(types, (std::vector<uint32_t>{3, 4, 5, 6, 7, 15, 0x47670004, 0x47670009}));
    EXPECT_GE(file.at<uint32_t>(20), before);
    EXPECT_LE(file.at<uint32_t>(20), static_cast<uint32_t>(time(nullptr)));
}

TEST_F(MinidumpTest, ExceptionIsTheSignalWithTheCodeAsItsParameter) {
    const DumpFile file = dumped();
    const DumpFile::Location stream = file.stream(6);
    ASSERT_EQ(stream.size, 168u);
    EXPECT_EQ(file.at<uint32_t>(stream.offset), static_cast<uint32_t>(gettid()));
    EXPECT_EQ(file.at<uint32_t>(stream.offset + 8), static_cast<uint32_t>(SIGTRAP));
    EXPECT_EQ(file.at<uint32_t>(stream.offset + 12), static_cast<uint32_t>(SI_KERNEL));
    EXPECT_EQ(file.at<uint64_t>(stream.offset + 16), 0u);
    EXPECT_EQ(file.at<uint64_t>(stream.offset + 24), registerOf(REG_RIP));
    EXPECT_EQ(file.at<uint32_t>(stream.offset + 32), 1u);
    EXPECT_EQ(file.at<uint64_t>(stream.offset + 40), kCode);
    EXPECT_EQ(file.location(stream.offset + 160).offset, file.contextOf(file.thread(gettid())));
    EXPECT_EQ(file.location(stream.offset + 160).size, 1232u);
}

TEST_F(MinidumpTest, FailedThreadIsFirstWithAllItsRegisters) {
    const DumpFile file = dumped();
    ASSERT_FALSE(file.threads().empty());
    EXPECT_EQ(file.threads()[0], file.thread(gettid()));
    const size_t context = file.contextOf(file.threads()[0]);
    EXPECT_EQ(file.at<uint32_t>(context + 0x30), 0x10000fu);
    EXPECT_EQ(file.at<uint64_t>(context + 0xd8), kR12);
    EXPECT_EQ(file.at<uint64_t>(context + 0xf0), kR15);
    const int order[] = {REG_RAX, REG_RCX, REG_RDX, REG_RBX, REG_RSP, REG_RBP, REG_RSI, REG_RDI, REG_R8,
                         REG_R9,  REG_R10, REG_R11, REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};
    size_t at = context + 0x78;
    for (const int index : order) {
        EXPECT_EQ(file.at<uint64_t>(at), registerOf(index)) << index;
        at += 8;
    }
    EXPECT_EQ(file.at<uint32_t>(context + 0x44), registerOf(REG_EFL));
    EXPECT_EQ(file.at<uint16_t>(context + 0x38), registerOf(REG_CSGSFS) & 0xffff);
    EXPECT_EQ(file.at<uint16_t>(context + 0x42), registerOf(REG_CSGSFS) >> 48);
}

TEST_F(MinidumpTest, FailedThreadHasItsFloatingPoint) {
    const DumpFile file = dumped();
    const size_t context = file.contextOf(file.thread(gettid()));
    EXPECT_EQ(file.at<uint64_t>(context + 0x100 + 160 + 7 * 16), kXmm7);
    EXPECT_EQ(file.at<uint32_t>(context + 0x34), capture_.floatingPoint.mxcsr);
    EXPECT_EQ(file.bytesAt({512, static_cast<uint32_t>(context + 0x100)}),
              std::string(reinterpret_cast<const char*>(&capture_.floatingPoint), 512));
}

TEST_F(MinidumpTest, ContextThatTheProgramTookHasNoFloatingPoint) {
    ucontext_t own = {};
    getcontext(&own);
    own.uc_flags = 0;
    siginfo_t info = {};
    info.si_signo = SIGABRT;
    ASSERT_EQ(writeMinidump(capture_.path.c_str(), {gettid(), SIGABRT, &info, &own}).error, 0);
    const DumpFile file(readFile(capture_.path));
    file.checkWhole();
    const size_t context = file.contextOf(file.thread(gettid()));
    EXPECT_EQ(file.at<uint32_t>(context + 0x30), 0x100003u);
    EXPECT_EQ(file.at<uint64_t>(context + 0xf8), static_cast<uint64_t>(own.uc_mcontext.gregs[REG_RIP]));
    EXPECT_EQ(file.bytesAt({512, static_cast<uint32_t>(context + 0x100)}), std::string(512, '\0'));
}

TEST_F(MinidumpTest, StackIsThereFromTheRedZoneOn) {
    const DumpFile file = dumped();
    const DumpFile::Range stack = file.stackOf(file.thread(gettid()));
    EXPECT_EQ(stack.address, registerOf(REG_RSP) - 128);
    EXPECT_LE(stack.location.size, 64u * 1024);
    EXPECT_EQ(file.memoryAt(registerOf(REG_RSP), 16),
              std::string(8, static_cast<char>(0x12)) + std::string(8, static_cast<char>(0x15)));
}

TEST_F(MinidumpTest, StackEndsWithItsMapping) {
    const GuardedPages pages(3);
    std::memset(pages.begin(), 's', pages.size());
    setRegister(REG_RSP, reinterpret_cast<uint64_t>(pages.begin()) + 1000);
    const DumpFile file = dumped();
    const DumpFile::Range stack = file.stackOf(file.thread(gettid()));
    EXPECT_EQ(stack.address, reinterpret_cast<uint64_t>(pages.begin()) + 872);
    EXPECT_EQ(file.bytesAt(stack.location), std::string(pages.size() - 872, 's'));
}

TEST_F(MinidumpTest, LargeStackIsCutAt64KiB) {
    const GuardedPages pages(32);
    setRegister(REG_RSP, reinterpret_cast<uint64_t>(pages.begin()) + 128);
    const DumpFile file = dumped();
    EXPECT_EQ(file.stackOf(file.thread(gettid())).location.size, 64u * 1024);
}

TEST_F(MinidumpTest, StackPointerInTheGuardPageStillGivesTheStack) {
    const GuardedPages pages(2);
    std::memset(pages.begin(), 'o', pages.size());
    setRegister(REG_RSP, reinterpret_cast<uint64_t>(pages.begin()) - 24);
    const DumpFile file = dumped();
    const DumpFile::Range stack = file.stackOf(file.thread(gettid()));
    EXPECT_EQ(stack.address, reinterpret_cast<uint64_t>(pages.begin()));
    EXPECT_EQ(file.bytesAt(stack.location), std::string(pages.size(), 'o'));
}

TEST_F(MinidumpTest, WildRegistersGiveADumpWithoutThatMemory) {
    for (const uint64_t wild : {uint64_t{0}, uint64_t{1}, uint64_t{0x8000000000000000}, ~uint64_t{0}}) {
        for (const int index : {REG_RSP, REG_RIP}) {
            setRegister(index, wild);
            const DumpFile file = dumped();
            EXPECT_EQ(file.memoryAt(wild, 1), "") << wild;
            EXPECT_EQ(file.stackOf(file.thread(gettid())).location.size == 0, index == REG_RSP) << wild;
        }
    }
}

TEST_F(MinidumpTest, CodeAroundTheInstructionPointerIsThere) {
    const DumpFile file = dumped();
    const uint64_t pointer = registerOf(REG_RIP);
    const std::string code = file.memoryAt(pointer - 128, 256);
    EXPECT_EQ(code, std::string(reinterpret_cast<const char*>(pointer - 128), 256));
    EXPECT_EQ(static_cast<unsigned char>(code[127]), 0xCCu);
}

TEST_F(MinidumpTest, CodeAtTheBeginAndTheEndOfItsMappingIsThere) {
    const GuardedPages pages(1);
    std::memset(pages.begin(), 'c', pages.size());
    setRegister(REG_RIP, reinterpret_cast<uint64_t>(pages.begin()) + 8);
    EXPECT_EQ(dumped().memoryAt(reinterpret_cast<uint64_t>(pages.begin()), 256), std::string(136, 'c'));
    setRegister(REG_RIP, reinterpret_cast<uint64_t>(pages.end()) - 8);
    EXPECT_EQ(dumped().memoryAt(reinterpret_cast<uint64_t>(pages.end()) - 136, 256), std::string(136, 'c'));
}

TEST_F(MinidumpTest, ModulesHaveBaseNameAndBuildId) {
    const std::vector<DumpFile::Module> modules = dumped().modules();
    const Dl_info libc = loaderInfo(reinterpret_cast<void*>(&getpid));
    const Dl_info own = loaderInfo(reinterpret_cast<void*>(&breakHere));
    const std::map<const void*, std::string> expected = {
        {own.dli_fbase, ownProgram()}, {libc.dli_fbase, std::filesystem::canonical(libc.dli_fname).string()}};
    for (const auto& [base, path] : expected) {
        const DumpFile::Module* const module = moduleAt(modules, base);
        ASSERT_NE(module, nullptr) << path;
        EXPECT_EQ(module->name, path);
        EXPECT_EQ(digits(module->buildId), digits(buildIdOfFile(path)));
        EXPECT_GE(module->buildId.size(), 8u);
    }
}

TEST_F(MinidumpTest, ModulesHaveNoVersion) {
    const DumpFile file = dumped();
    for (const size_t record : file.records(4, 108)) {
        EXPECT_EQ(file.bytesAt({52, static_cast<uint32_t>(record + 24)}), std::string(52, '\0'));
    }
}

TEST_F(MinidumpTest, ModuleNamesAreUtf16) {
    const std::string path = folder_.path("b\u00fccher-\U0001F4DA-\xff.so");
    std::filesystem::copy_file(siblingProgram("beside/libplatform_test_dependency.so"), path);
    void* const library = dlopen(path.c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    const DumpFile file = dumped();
    dlclose(library);
    const std::u16string expected = u"/b\u00fccher-\U0001F4DA-\uFFFD.so";
    size_t found = 0;
    for (const size_t record : file.records(4, 108)) {
        const std::vector<char16_t> units = file.units(file.at<uint32_t>(record + 20));
        const std::u16string name(units.begin(), units.end());
        if (name.size() > expected.size() && name.ends_with(expected)) ++found;
    }
    EXPECT_EQ(found, 1u);
}

TEST_F(MinidumpTest, SystemIsThisLinux) {
    const DumpFile file = dumped();
    const DumpFile::Location stream = file.stream(7);
    ASSERT_EQ(stream.size, 56u);
    EXPECT_EQ(file.at<uint16_t>(stream.offset), 9);
    EXPECT_EQ(file.at<uint32_t>(stream.offset + 20), 0x8201u);
    EXPECT_EQ(file.at<uint8_t>(stream.offset + 6), std::min(255u, std::thread::hardware_concurrency()));
    utsname name;
    uname(&name);
    EXPECT_EQ(file.at<uint32_t>(stream.offset + 8), std::strtoul(name.release, nullptr, 10));
    EXPECT_EQ(file.text(file.at<uint32_t>(stream.offset + 24)),
              std::string(name.sysname) + " " + name.release + " " + name.version + " " + name.machine);
}

TEST_F(MinidumpTest, ProcessHasIdAndTimes) {
    const DumpFile file = dumped();
    const DumpFile::Location stream = file.stream(15);
    ASSERT_EQ(stream.size, 24u);
    EXPECT_EQ(file.at<uint32_t>(stream.offset), 24u);
    EXPECT_EQ(file.at<uint32_t>(stream.offset + 4), 3u);
    EXPECT_EQ(file.at<uint32_t>(stream.offset + 8), static_cast<uint32_t>(getpid()));
    EXPECT_LE(std::abs(static_cast<int64_t>(file.at<uint32_t>(stream.offset + 12)) - startOfThisProcess()), 2);
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LE(file.at<uint32_t>(stream.offset + 16), static_cast<uint32_t>(usage.ru_utime.tv_sec));
    EXPECT_LE(file.at<uint32_t>(stream.offset + 20), static_cast<uint32_t>(usage.ru_stime.tv_sec));
}

TEST_F(MinidumpTest, MapsAndStatusAreThoseOfTheProcess) {
    const DumpFile file = dumped();
    const std::string maps = file.bytesAt(file.stream(0x47670009));
    EXPECT_NE(maps.find(" " + ownProgram() + "\n"), std::string::npos) << maps;
    EXPECT_EQ(maps.back(), '\n');
    EXPECT_NE(maps.find("[vdso]"), std::string::npos);
    const std::string status = file.bytesAt(file.stream(0x47670004));
    EXPECT_NE(status.find("\nPid:\t" + std::to_string(getpid()) + "\n"), std::string::npos) << status;
}

TEST_F(MinidumpTest, WaitingThreadsHavePointersAndStack) {
    WaitingThreads threads(200);
    const DumpFile file = dumped();
    EXPECT_GE(file.threads().size(), 201u);
    for (const pid_t id : threads.ids()) {
        const size_t thread = file.thread(id);
        const size_t context = file.contextOf(thread);
        if (file.at<uint32_t>(context + 0x30) == 0x100000u) continue;  // it had not yet gone to sleep
        EXPECT_EQ(file.at<uint32_t>(context + 0x30), 0x100001u);
        const uint64_t stackPointer = file.at<uint64_t>(context + 0x98);
        EXPECT_EQ(file.stackOf(thread).address, stackPointer - 128);
        EXPECT_GT(file.stackOf(thread).location.size, 128u);
        EXPECT_LE(file.stackOf(thread).location.size, 16u * 1024);
        EXPECT_NE(file.at<uint64_t>(context + 0xf8), 0u);
    }
}

TEST_F(MinidumpTest, SleepingThreadIsSeenWhereItSleeps) {
    WaitingThreads threads(1);
    const pid_t id = threads.ids()[0];
    const std::string path = "/proc/self/task/" + std::to_string(id) + "/syscall";
    while (readFile(path).starts_with("running")) std::this_thread::yield();
    const DumpFile file = dumped();
    const size_t thread = file.thread(id);
    const size_t context = file.contextOf(thread);
    EXPECT_EQ(file.at<uint32_t>(context + 0x30), 0x100001u);
    const Dl_info info = loaderInfo(reinterpret_cast<void*>(file.at<uint64_t>(context + 0xf8)));
    EXPECT_NE(std::string(info.dli_fname).find("libc"), std::string::npos) << info.dli_fname;
}

TEST_F(MinidumpTest, RunningThreadIsListedWithoutRegisters) {
    std::atomic<pid_t> id{0};
    std::atomic<bool> over{false};
    std::thread thread([&] {
        id = gettid();
        while (!over) continue;
    });
    while (id == 0) std::this_thread::yield();
    const DumpFile file = dumped();
    over = true;
    thread.join();
    const size_t record = file.thread(id);
    // Waiting for a processor is no wait in the kernel either.
    EXPECT_EQ(file.at<uint32_t>(file.contextOf(record) + 0x30), 0x100000u);
    EXPECT_EQ(file.stackOf(record).location.size, 0u);
}

TEST_F(MinidumpTest, ThreadsMayComeAndGoMeanwhile) {
    std::atomic<bool> over{false};
    std::vector<std::thread> breeders;
    for (int i = 0; i < 4; ++i) {
        breeders.emplace_back([&over] {
            while (!over) std::thread([] {}).join();
        });
    }
    for (int i = 0; i < 50; ++i) {
        const DumpFile file = dumped();
        EXPECT_EQ(file.threads()[0], file.thread(gettid()));
    }
    over = true;
    for (std::thread& breeder : breeders) breeder.join();
}

TEST_F(MinidumpTest, FailedThreadMayBeAnother) {
    WaitingThreads threads(2);
    const pid_t other = threads.ids()[1];
    siginfo_t info = {};
    info.si_signo = SIGABRT;
    ucontext_t context = {};
    ASSERT_EQ(writeMinidump(capture_.path.c_str(), {other, SIGABRT, &info, &context}).error, 0);
    const DumpFile file(readFile(capture_.path));
    file.checkWhole();
    EXPECT_EQ(file.threads()[0], file.thread(other));
    EXPECT_EQ(file.at<uint32_t>(file.stream(6).offset), static_cast<uint32_t>(other));
    EXPECT_NO_THROW(file.thread(gettid()));
}

TEST_F(MinidumpTest, NothingComesFromTheHeap) {
    WaitingThreads threads(5);
    const size_t before = heapCallsOfThread();
    const auto one = std::make_unique<int>(1);
    ASSERT_GT(heapCallsOfThread(), before);
    dumped();
    EXPECT_EQ(capture_.allocations, 0u);
}

TEST_F(MinidumpTest, OnlyTheOwnerMayReadIt) {
    dumped();
    struct stat file = {};
    ASSERT_EQ(stat(capture_.path.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777, 0600u);
    EXPECT_FALSE(exists(capture_.path + ".part"));
}

TEST_F(MinidumpTest, FilesOfAnEarlierFailureAreReplaced) {
    const std::string old(10 << 20, 'x');
    folder_.write("a.dmp", old);
    folder_.write("a.dmp.part", old);
    dumped();
    EXPECT_LT(std::filesystem::file_size(capture_.path), old.size());
    EXPECT_FALSE(exists(capture_.path + ".part"));
}

TEST_F(MinidumpTest, FileThatCannotBeCreatedIsTold) {
    const std::pair<std::string, int> places[] = {{folder_.path("nowhere") + "/a.dmp", ENOENT},
                                                  {folder_.write("file", "") + "/a.dmp", ENOTDIR}};
    for (const auto& [path, error] : places) {
        capture_.path = path;
        const MinidumpResult result = dump();
        EXPECT_EQ(result.state, MinidumpResult::State::kNotCreated) << path;
        EXPECT_EQ(result.error, error) << path;
    }
}

TEST_F(MinidumpTest, FolderWithoutRightsIsTold) {
    const bool root = geteuid() == 0;
    ASSERT_EQ(chmod(folder_.path().c_str(), 0555), 0);
    ASSERT_EQ(seteuid(root ? 65534 : geteuid()), 0);
    const MinidumpResult result = dump();
    ASSERT_EQ(seteuid(root ? 0 : geteuid()), 0);
    chmod(folder_.path().c_str(), 0755);
    EXPECT_EQ(result.state, MinidumpResult::State::kNotCreated);
    EXPECT_EQ(result.error, EACCES);
}

TEST_F(MinidumpTest, PathIsTooLongFromTheSuffixOn) {
    const std::string longest = folder_.path() + "/" + std::string(PATH_MAX, 'x');
    for (const size_t length : {PATH_MAX - 5, PATH_MAX - 1, PATH_MAX, PATH_MAX + 1}) {
        capture_.path = longest.substr(0, length);
        const MinidumpResult result = dump();
        EXPECT_EQ(result.state, MinidumpResult::State::kNotCreated) << length;
        EXPECT_EQ(result.error, ENAMETOOLONG) << length;
    }
}

TEST_F(MinidumpTest, LinkInThePlaceOfThePartIsNotFollowed) {
    const std::string victim = folder_.write("victim", "mine");
    std::filesystem::create_symlink(victim, capture_.path + ".part");
    dumped();
    EXPECT_EQ(readFile(victim), "mine");
    EXPECT_FALSE(exists(capture_.path + ".part"));
}

TEST_F(MinidumpTest, LinkInThePlaceOfTheDumpIsReplaced) {
    const std::string victim = folder_.write("victim", "mine");
    std::filesystem::create_symlink(victim, capture_.path);
    dumped();
    EXPECT_EQ(readFile(victim), "mine");
    EXPECT_FALSE(std::filesystem::is_symlink(capture_.path));
}

TEST_F(MinidumpTest, PipeInThePlaceOfThePartHoldsNobodyUp) {
    ASSERT_EQ(mkfifo((capture_.path + ".part").c_str(), 0600), 0);
    dumped();
}

TEST_F(MinidumpTest, FileInThePlaceOfThePartDoesNotLendItsRights) {
    const std::string part = folder_.write("part", "old");
    std::filesystem::rename(part, capture_.path + ".part");
    ASSERT_EQ(chmod((capture_.path + ".part").c_str(), 0666), 0);
    dumped();
    EXPECT_EQ(std::filesystem::status(capture_.path).permissions(), std::filesystem::perms(0600));
}

TEST_F(MinidumpTest, FolderInThePlaceOfTheDumpIsAFailureToSave) {
    std::filesystem::create_directory(capture_.path);
    const MinidumpResult result = dump();
    EXPECT_EQ(result.state, MinidumpResult::State::kNotSaved);
    EXPECT_EQ(result.error, EISDIR);
    EXPECT_FALSE(exists(capture_.path + ".part"));
}

TEST_F(MinidumpTest, WhereverTheRoomEndsNothingIsLeft) {
    dumped();
    const size_t size = std::filesystem::file_size(capture_.path);
    std::filesystem::remove(capture_.path);
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    for (size_t room = 0; room < size - size / 4; room += size / 16) {
        const rlimit limit = {room, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
        const MinidumpResult result = dump();
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(result.state, MinidumpResult::State::kNotSaved) << room;
        EXPECT_EQ(result.error, EFBIG) << room;
        EXPECT_FALSE(exists(capture_.path)) << room;
        EXPECT_FALSE(exists(capture_.path + ".part")) << room;
    }
    signal(SIGXFSZ, handler);
    dumped();
}

TEST_F(MinidumpTest, LldbUnderstandsIt) {
    WaitingThreads threads(3);
    const DumpFile file = dumped();
    const DumpSummary summary = readWithLldb(capture_.path);
    EXPECT_EQ(summary.stop, "signal SIGTRAP") << summary.text;
    EXPECT_EQ(summary.thread, static_cast<uint32_t>(gettid()));
    EXPECT_EQ(summary.instructionPointer, registerOf(REG_RIP));
    EXPECT_EQ(summary.stackPointer, registerOf(REG_RSP));
    EXPECT_EQ(summary.threads, file.threads().size());
    const Dl_info own = loaderInfo(reinterpret_cast<void*>(&breakHere));
    const auto found = std::find_if(summary.modules.begin(), summary.modules.end(), [&](const auto& module) {
        return module.base == reinterpret_cast<uint64_t>(own.dli_fbase);
    });
    ASSERT_NE(found, summary.modules.end()) << summary.text;
    EXPECT_EQ(found->path, ownProgram());
    EXPECT_EQ(found->buildId, digits(buildIdOfFile(ownProgram())));
}

TEST_F(MinidumpTest, MinidumpReaderUnderstandsIt) {
    WaitingThreads threads(3);
    const DumpFile file = dumped();
    const DumpSummary summary = readWithMinidumpReader(capture_.path);
    EXPECT_EQ(summary.stop, "5") << summary.text;
    EXPECT_EQ(summary.thread, static_cast<uint32_t>(gettid()));
    EXPECT_EQ(summary.instructionPointer, registerOf(REG_RIP));
    EXPECT_EQ(summary.stackPointer, registerOf(REG_RSP));
    EXPECT_EQ(summary.threads, file.threads().size());
    EXPECT_EQ(summary.modules.size(), file.modules().size());
    EXPECT_NE(summary.text.find("VER_PLATFORM_CRASHPAD_LINUX Linux "), std::string::npos) << summary.text;
    EXPECT_NE(summary.text.find("parameters c0000005\n"), std::string::npos) << summary.text;
    const std::string stack = digits(file.memoryAt(registerOf(REG_RSP), 8));
    EXPECT_NE(summary.text.find("stack " + stack + "\n"), std::string::npos) << summary.text;
}

}  // namespace platform::test
