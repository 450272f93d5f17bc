#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "crash/CrashChild.h"
#include "platform/dump_reader.h"
#include "platform/linux_program.h"

// What programs of others read in the files that a failure leaves.

namespace {

using crash_test::Crash;
using crash_test::crash;
using platform::test::DumpSummary;
using testing::HasSubstr;

std::string fileNameOf(const std::string& path) {
    std::string name = path.substr(path.find_last_of("/\\") + 1);
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    return name;
}

// The address that an entry "module+0xoffset" of the report means, by the dump's list of modules; 0 for none.
uint64_t addressOf(const std::string& entry, const DumpSummary& dump) {
    const size_t plus = entry.rfind("+0x");
    const auto module = std::find_if(
        dump.modules.begin(), dump.modules.end(),
        [&](const DumpSummary::Module& candidate) { return fileNameOf(candidate.path) == entry.substr(0, plus); });
    return module == dump.modules.end() ? 0 : module->base + std::stoull(entry.substr(plus + 3), nullptr, 16);
}

std::string firstEntry(const Crash& left) {
    return left.report.size() == 4 ? left.report[3].substr(0, left.report[3].find(';')) : "none+0x0";
}

class CrashReaderTest : public testing::TestWithParam<const char*> {
  protected:
    CrashReaderTest() : mLeft(crash(GetParam(), mFolder)) {}

    void expectAgreement(const DumpSummary& dump) {
        EXPECT_EQ(std::to_string(dump.thread), mLeft.announced.thread) << dump.text;
        EXPECT_EQ(dump.instructionPointer, addressOf(firstEntry(mLeft), dump)) << firstEntry(mLeft) << dump.text;
    }

    const platform::test::TemporaryFolder mFolder;
    const Crash mLeft;
};

std::string nameOf(const testing::TestParamInfo<const char*>& info) {
    std::string name = info.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

std::string toolOf(const std::string& name) {
    return platform::test::onWindows() ? "/usr/bin/x86_64-w64-mingw32-" + name : "/usr/bin/" + name;
}

}  // namespace

TEST_P(CrashReaderTest, DebuggerAgreesWithTheReport) {
    if (!platform::test::runsLinuxPrograms()) GTEST_SKIP() << "lldb is a program of Linux";
    expectAgreement(platform::test::readWithLldb(mLeft.dumpPath));
}

INSTANTIATE_TEST_SUITE_P(Kinds, CrashReaderTest,
                         testing::Values("null-write", "null-read", "illegal-instruction", "division-by-zero", "abort",
                                         "uncaught-exception", "stack-overflow", "breakpoint-with-record"),
                         nameOf);
