#include "platform/posix/minidump_system.h"

#include <cpuid.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <cstring>

#include "platform/posix/proc_file.h"

namespace platform::minidump {

namespace {

// Those that this process may run on.
uint8_t processorCount() {
    cpu_set_t set;
    const int count = sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 0;
    return static_cast<uint8_t>(count < UINT8_MAX ? count : UINT8_MAX);
}

void setProcessor(SystemInfo& record) {
    record.processor = kProcessorAmd64;
    record.processorCount = processorCount();
    unsigned signature = 0;
    unsigned unused = 0;
    if (!__get_cpuid(1, &signature, &unused, &unused, &unused)) return;
    const unsigned family = signature >> 8 & 0xf;
    record.processorLevel = static_cast<uint16_t>(family == 0xf ? family + (signature >> 20 & 0xff) : family);
    const unsigned model = (signature >> 4 & 0xf) | (signature >> 12 & 0xf0);
    record.processorRevision = static_cast<uint16_t>(model << 8 | (signature & 0xf));
}

// "6.1.0-13-amd64"
void setRelease(SystemInfo& record, const char* release) {
    uint32_t* const parts[] = {&record.major, &record.minor, &record.build};
    for (uint32_t* const part : parts) {
        uint64_t number = 0;
        if (!parseNumber(release, 10, number)) return;
        *part = static_cast<uint32_t>(number);
        if (*release++ != '.') return;
    }
}

// When this process started, in ticks since the system did; 0 when it cannot be told.
uint64_t startTicks() {
    char text[1024];
    readProcText("/proc/self/stat", text, sizeof text);
    const char* at = std::strrchr(text, ')');  // behind the program's name, which may hold blanks
    for (int field = 2; at && field < 22; ++field) {
        at = std::strchr(at, ' ');
        if (at) ++at;
    }
    uint64_t ticks = 0;
    return at && parseNumber(at, 10, ticks) ? ticks : 0;
}

uint32_t startTime() {
    constexpr uint64_t kTicksPerSecond = 100;
    timespec now = {};
    timespec sinceBoot = {};
    clock_gettime(CLOCK_REALTIME, &now);
    clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    return static_cast<uint32_t>(now.tv_sec - sinceBoot.tv_sec + static_cast<time_t>(startTicks() / kTicksPerSecond));
}

}  // namespace

SystemInfo systemInfo(char (&version)[kSystemVersionLength]) {
    SystemInfo record = {};
    setProcessor(record);
    record.platform = kPlatformLinux;
    utsname name = {};
    uname(&name);
    setRelease(record, name.release);
    version[0] = '\0';
    const char* const parts[] = {name.sysname, " ", name.release, " ", name.version, " ", name.machine};
    for (const char* const part : parts) std::strncat(version, part, sizeof version - std::strlen(version) - 1);
    return record;
}

MiscInfo miscInfo() {
    MiscInfo record = {};
    record.size = sizeof record;
    record.flags = kMiscProcessId | kMiscProcessTimes;
    record.processId = static_cast<uint32_t>(getpid());
    record.createTime = startTime();
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    record.userTime = static_cast<uint32_t>(usage.ru_utime.tv_sec);
    record.kernelTime = static_cast<uint32_t>(usage.ru_stime.tv_sec);
    return record;
}

}  // namespace platform::minidump
