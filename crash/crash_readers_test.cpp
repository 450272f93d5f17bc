#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <sstream>

#include "crash/CrashChild.h"
#include "platform/dump_reader.h"
#include "platform/linux_program.h"

// What programs of others read in the files that a failure leaves.

namespace {

using crash_test::Crash;
using crash_test::crashOnce;
using platform::test::DumpSummary;
using testing::HasSubstr;
using testing::IsEmpty;

std::string fileNameOf(const std::string& path) {
    std::string name = path.substr(path.find_last_of("/\\") + 1);
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    return name;
}

// Wine names a module without its extension.
bool isNamed(const DumpSummary::Module& module, const std::string& name) {
    const std::string whole = fileNameOf(module.path);
    return whole == name || whole.substr(0, whole.rfind('.')) == name;
}

// The address that an entry "module+0xoffset" of the report means, by the dump's list of modules; 0 for none.
uint64_t addressOf(const std::string& entry, const DumpSummary& dump) {
    const size_t plus = entry.rfind("+0x");
    const auto module =
        std::find_if(dump.modules.begin(), dump.modules.end(),
                     [&](const DumpSummary::Module& candidate) { return isNamed(candidate, entry.substr(0, plus)); });
    return module == dump.modules.end() ? 0 : module->base + std::stoull(entry.substr(plus + 3), nullptr, 16);
}

// The modules of a report's stack that the dump's list does not have.
std::vector<std::string> unknownModules(const Crash& left, const DumpSummary& dump) {
    std::vector<std::string> unknown;
    std::istringstream entries(left.report.size() == 4 ? left.report[3] : "none+0x0");
    for (std::string entry; std::getline(entries, entry, ';');) {
        if (addressOf(entry, dump) == 0) unknown.push_back(entry);
    }
    return unknown;
}

std::string firstEntry(const Crash& left) {
    return left.report.size() == 4 ? left.report[3].substr(0, left.report[3].find(';')) : "none+0x0";
}

// Whether the report's first entry is the innermost frame: not of a jump to where no module is, nor without a report.
enum class Top { kFirstEntry, kElsewhere };

struct Readable {
    const char* kind;
    const char* signal;      // Linux, as the debugger names it
    const char* signalCode;  // its number in hexadecimal
    const char* code;        // Windows, in hexadecimal
    Top top = Top::kFirstEntry;
};

std::ostream& operator<<(std::ostream& out, const Readable& readable) {
    return out << readable.kind;
}

class CrashReaderTest : public testing::TestWithParam<Readable> {
  protected:
    void SetUp() override {
        if (crash_test::sanitizerKeeps(GetParam().kind)) GTEST_SKIP() << "the sanitizer changes how it fails";
        mLeft = crashOnce(GetParam().kind);
    }

    void expectAgreement(const DumpSummary& dump) {
        EXPECT_EQ(std::to_string(dump.thread), mLeft.announced.thread) << dump.text;
        if (!mLeft.report.empty() && mLeft.report.back() != "[Could not determine stacktrace]") {
            EXPECT_THAT(unknownModules(mLeft, dump), IsEmpty()) << dump.text;
        }
        if (GetParam().top == Top::kFirstEntry) {
            EXPECT_EQ(dump.instructionPointer, addressOf(firstEntry(mLeft), dump)) << firstEntry(mLeft) << dump.text;
        }
    }

    Crash mLeft;
};

std::string nameOf(const testing::TestParamInfo<Readable>& info) {
    std::string name = info.param.kind;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

// Where the program wants to be loaded, which its debug information reckons with; 0 on Linux.
uint64_t imageBase(const std::string& program) {
    if (!platform::test::onWindows()) return 0;
    const std::string file = platform::test::readFile(program);
    constexpr size_t kHeaderAt = 0x3C, kBaseInHeader = 0x30;
    uint32_t header = 0;
    uint64_t base = 0;
    std::memcpy(&header, &file.at(kHeaderAt), sizeof header);
    std::memcpy(&base, &file.at(header + kBaseInHeader), sizeof base);
    return base;
}

// Whether addr2line has named that line of the child: nothing or more words follow the number.
bool namesLine(const std::string& text, int line) {
    const std::string place = "crash_test_child.cpp:" + std::to_string(line);
    return text.find(place + "\n") != std::string::npos || text.find(place + " ") != std::string::npos;
}

// "file:line" of an offset in the child, by its debug information.
std::string lineAt(size_t offset) {
    const std::string program = platform::test::siblingProgram("crash_test_child");
    const std::string separate = program + ".debug";
    const std::string tool = platform::test::onWindows() ? "x86_64-w64-mingw32-addr2line" : "addr2line";
    std::ostringstream address;
    address << "0x" << std::hex << imageBase(program) + offset;
    const std::string file = std::filesystem::exists(separate) ? separate : program;
    return platform::test::runLinuxProgram("/usr/bin/" + tool, {"-e", platform::test::linuxPath(file), address.str()})
        .output;
}

}  // namespace

TEST_P(CrashReaderTest, DebuggerAgreesWithTheReport) {
    if (!platform::test::runsLinuxPrograms()) GTEST_SKIP() << "lldb is a program of Linux";
    const DumpSummary dump = platform::test::readWithLldb(mLeft.dumpPath);
    expectAgreement(dump);
    EXPECT_THAT(dump.stop, HasSubstr(platform::test::onWindows() ? GetParam().code : GetParam().signal));
}

TEST_P(CrashReaderTest, PackageAgreesWithTheReport) {
    if (!platform::test::runsLinuxPrograms()) GTEST_SKIP() << "the package is run by Python of Linux";
    const bool waits = platform::test::onWindows() && std::string(GetParam().kind).starts_with("stack-overflow");
    if (waits) GTEST_SKIP() << "it shows the thread as it waits for the filter, which runs on another";
    const DumpSummary dump = platform::test::readWithMinidumpReader(mLeft.dumpPath);
    expectAgreement(dump);
    EXPECT_EQ(dump.stop, platform::test::onWindows() ? GetParam().code : GetParam().signalCode);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, CrashReaderTest,
    testing::Values(Readable{"null-write", "signal SIGSEGV", "b", "c0000005"},
                    Readable{"null-read", "signal SIGSEGV", "b", "c0000005"},
                    Readable{"illegal-instruction", "signal SIGILL", "4", "c000001d"},
                    Readable{"division-by-zero", "signal SIGFPE", "8", "c0000094"},
                    Readable{"abort", "signal SIGABRT", "6", "40000015"},
                    Readable{"uncaught-exception", "signal SIGABRT", "6", "e06d7363"},
                    Readable{"stack-overflow", "signal SIGSEGV", "b", "c00000fd"},
                    Readable{"heap-corruption", "signal SIGABRT", "6", "c0000005"},
                    Readable{"breakpoint-with-record", "signal SIGTRAP", "5", "80000003"},
                    Readable{"breakpoint-without-record", "signal SIGTRAP", "5", "80000003", Top::kElsewhere},
                    Readable{"wild-jump", "signal SIGSEGV", "b", "c0000005", Top::kElsewhere},
                    Readable{"jump-onto-the-stack", "signal SIGSEGV", "b", "c0000005", Top::kElsewhere},
                    Readable{"stack-overflow-on-a-thread", "signal SIGSEGV", "b", "c00000fd"}),
    nameOf);

TEST(CrashLineTest, OffsetInTheReportIsTheFailingLine) {
    if (!platform::test::runsLinuxPrograms()) GTEST_SKIP() << "addr2line is a program of Linux";
    for (const char* kind : {"null-write", "null-read", "illegal-instruction", "division-by-zero"}) {
        const Crash& left = crashOnce(kind);
        const std::vector<size_t> offsets = crash_test::ownOffsets(firstEntry(left));
        ASSERT_EQ(offsets.size(), 1u) << kind;
        const std::string line = lineAt(offsets[0]);
        EXPECT_TRUE(namesLine(line, left.announced.line)) << line << left.announced.line;
    }
}

// An entry of a caller is the address behind its call.
TEST(CrashLineTest, CallersOffsetLessOneIsTheLineOfItsCall) {
    if (!platform::test::runsLinuxPrograms()) GTEST_SKIP() << "addr2line is a program of Linux";
    const Crash& left = crashOnce("abort");
    ASSERT_EQ(left.report.size(), 4u);
    std::string lines;
    for (const size_t offset : crash_test::ownOffsets(left.report[3])) lines += lineAt(offset - 1);
    EXPECT_TRUE(namesLine(lines, left.announced.line)) << lines << left.announced.line;
}
