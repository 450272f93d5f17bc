#pragma once

#include <cstddef>
#include <cstdint>

// The records of a minidump file, little endian, with offsets from the file's begin. Only what a dump of a Linux
// process on x64 holds.
namespace platform::minidump {

inline constexpr uint32_t kSignature = 0x504d444d;  // "MDMP"
inline constexpr uint32_t kVersion = 0xa793;

enum class StreamType : uint32_t {
    kThreadList = 3,
    kModuleList = 4,
    kMemoryList = 5,
    kException = 6,
    kSystemInfo = 7,
    kMiscInfo = 15,
    kLinuxProcessStatus = 0x47670004,  // /proc/self/status
    kLinuxMaps = 0x47670009,           // /proc/self/maps
};

#pragma pack(push, 4)

struct Location {
    uint32_t size;
    uint32_t offset;
};

struct Header {
    uint32_t signature;
    uint32_t version;
    uint32_t streamCount;
    uint32_t directoryOffset;
    uint32_t checksum;
    uint32_t time;  // seconds since 1970
    uint64_t flags;
};
static_assert(sizeof(Header) == 32);

struct DirectoryEntry {
    StreamType type;
    Location location;
};
static_assert(sizeof(DirectoryEntry) == 12);

inline constexpr uint16_t kProcessorAmd64 = 9;
inline constexpr uint32_t kPlatformLinux = 0x8201;

struct SystemInfo {
    uint16_t processor;
    uint16_t processorLevel;     // family
    uint16_t processorRevision;  // model in the upper byte, stepping in the lower
    uint8_t processorCount;
    uint8_t product;
    uint32_t major;  // of the kernel's release
    uint32_t minor;
    uint32_t build;
    uint32_t platform;
    uint32_t versionTextOffset;
    uint16_t suite;
    uint16_t reserved;
    uint64_t processorFeatures[2];
    uint64_t unused;
};
static_assert(sizeof(SystemInfo) == 56);

inline constexpr uint32_t kMiscProcessId = 1;
inline constexpr uint32_t kMiscProcessTimes = 2;

struct MiscInfo {
    uint32_t size;
    uint32_t flags;
    uint32_t processId;
    uint32_t createTime;  // seconds since 1970
    uint32_t userTime;    // seconds
    uint32_t kernelTime;
};
static_assert(sizeof(MiscInfo) == 24);

struct MemoryRange {
    uint64_t address;
    Location location;
};
static_assert(sizeof(MemoryRange) == 16);

struct Thread {
    uint32_t id;
    uint32_t suspendCount;
    uint32_t priorityClass;
    uint32_t priority;
    uint64_t environmentBlock;
    MemoryRange stack;
    Location context;
};
static_assert(sizeof(Thread) == 48);

inline constexpr uint32_t kBuildIdSignature = 0x4270454c;  // "BpEL": the bytes of an ELF build id follow

struct Module {
    uint64_t base;
    uint32_t size;
    uint32_t checksum;
    uint32_t time;
    uint32_t nameOffset;
    uint32_t version[13];
    Location codeView;
    Location misc;
    uint64_t reserved[2];
};
static_assert(sizeof(Module) == 108);

struct ExceptionStream {
    uint32_t thread;
    uint32_t alignment;
    uint32_t code;
    uint32_t flags;
    uint64_t nestedRecord;
    uint64_t address;
    uint32_t parameterCount;
    uint32_t unused;
    uint64_t parameters[15];
    Location context;
};
static_assert(sizeof(ExceptionStream) == 168);

inline constexpr uint32_t kContextAmd64 = 0x100000;
inline constexpr uint32_t kContextControl = kContextAmd64 | 1;  // rip, rsp, flags, cs, ss
inline constexpr uint32_t kContextInteger = kContextAmd64 | 2;
inline constexpr uint32_t kContextSegments = kContextAmd64 | 4;
inline constexpr uint32_t kContextFloatingPoint = kContextAmd64 | 8;

struct ContextAmd64 {
    uint64_t parameterHomes[6];
    uint32_t flags;
    uint32_t mxcsr;
    uint16_t cs, ds, es, fs, gs, ss;
    uint32_t eflags;
    uint64_t debug[6];
    uint64_t rax, rcx, rdx, rbx, rsp, rbp, rsi, rdi;
    uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
    uint64_t rip;
    uint8_t floatingPoint[512];  // as the instruction fxsave lays it out
    uint8_t vectors[26 * 16];
    uint64_t vectorControl;
    uint64_t debugControl;
    uint64_t lastBranch[4];
};
static_assert(sizeof(ContextAmd64) == 1232);
static_assert(offsetof(ContextAmd64, rax) == 0x78);
static_assert(offsetof(ContextAmd64, rip) == 0xf8);
static_assert(offsetof(ContextAmd64, floatingPoint) == 0x100);

#pragma pack(pop)

}  // namespace platform::minidump
