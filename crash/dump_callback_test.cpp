#include "crash/DumpCallback.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "crash/CrashFiles.h"
#include "util/include/CmThread.h"
#include "util/include/CmTrace.h"

namespace {

std::vector<std::string> gSteps;

// Notes what it is asked for.
class NotingSystem : public CrashSystem {
  public:
    CrashPath temporaryFolder() override { return CrashPath(temporary); }
    CrashPath moduleFolder() override { return CrashPath(module); }
    void writeDump(const platform::UncaughtException&, const CrashPath& path) override {
        gSteps.push_back("dump " + std::string(path));
    }
    CrashStack readStack(const platform::UncaughtException&, bool breakpoint) override {
        gSteps.push_back(breakpoint ? "stack with extra frames" : "stack");
        if (unreadable) throw std::runtime_error("Can't read memory");
        CrashStack stack;
        stack.stackText = L"zelhost+0x12;libc+0x3;";
        stack.extraText = extra;
        stack.version = L"1.2.3.4";
        return stack;
    }
    void writeReport(const CrashPath& path, const CrashText& text) override {
        gSteps.push_back("report " + std::string(path));
        report = text;
    }

    std::string temporary = "/t/";
    std::string module = "/m/";
    std::wstring extra;
    bool unreadable = false;
    std::wstring report;
};

void noteTrace(unsigned long level, char* text, unsigned length) {
    gSteps.push_back(std::to_string(level) + " " + std::string(text, length));
}

class DumpCallbackTest : public testing::Test {
  protected:
    DumpCallbackTest() {
        gSteps.clear();
        set_util_external_trace_sink(noteTrace);
        setCrashFileIds("12", "7");
    }
    ~DumpCallbackTest() override {
        set_util_external_trace_sink(nullptr);
        set_external_trace_mask(cm::kDefaultTraceMask);
        setCrashFileIds("", "");
    }

    void fail(uint32_t code) { DumpCallback({code, "", 4711, nullptr}, mSystem); }
    std::string stem() const { return "zelhost_crash_12_7_" + std::to_string(CmGetProcessID()); }

    NotingSystem mSystem;
};

}  // namespace

TEST_F(DumpCallbackTest, TracesThenDumpsThenWalksThenReports) {
    fail(0xC0000005);
    const std::vector<std::string> expected = {"0 zelhost crashed!!!", "dump /t/" + stem() + ".dmp", "stack",
                                               "report /t/" + stem() + ".txt"};
    EXPECT_EQ(gSteps, expected);
}

TEST_F(DumpCallbackTest, ReportHasFourPartsAndNoLineEndBehindTheLast) {
    fail(0xC0000005);
    EXPECT_EQ(mSystem.report,
              L"Version: 1.2.3.4\nException Type: EXCEPTION_ACCESS_VIOLATION\nCrashed Thread: 4711\n"
              L"zelhost+0x12;libc+0x3;");
}

TEST_F(DumpCallbackTest, OnlyABreakpointHasExtraFramesAndTheyAreNotReported) {
    mSystem.extra = L"raiser+0x99;";
    fail(0x80000003);
    EXPECT_EQ(gSteps[2], "stack with extra frames");
    EXPECT_EQ(mSystem.report.find(L"raiser"), std::wstring::npos);
    EXPECT_NE(mSystem.report.find(L"EXCEPTION_BREAKPOINT"), std::wstring::npos);
    EXPECT_EQ(mSystem.report.find(L"No additional"), std::wstring::npos);
}

TEST_F(DumpCallbackTest, RecordThatCannotBeReadLeavesTheFilterWithoutAReport) {
    mSystem.unreadable = true;
    EXPECT_THROW(fail(0x80000003), std::runtime_error);
    EXPECT_EQ(gSteps.back(), "stack with extra frames");
    EXPECT_EQ(gSteps.size(), 3u);
}

TEST_F(DumpCallbackTest, NegativeMaskSilencesTheLineOnly) {
    set_external_trace_mask(-1);
    fail(0xC0000005);
    ASSERT_EQ(gSteps.size(), 3u);
    EXPECT_EQ(gSteps.back(), "report /t/" + stem() + ".txt");
}

TEST_F(DumpCallbackTest, FilesLieBesideTheModuleWithoutATemporaryFolder) {
    mSystem.temporary.clear();
    EXPECT_EQ(std::string(GetCrashFilePath(mSystem, ".dmp")), "/m/" + stem() + ".dmp");
}

TEST_F(DumpCallbackTest, FilesLieInTheWorkingDirectoryWithoutAnyFolder) {
    mSystem.temporary.clear();
    mSystem.module.clear();
    EXPECT_EQ(std::string(GetCrashFilePath(mSystem, ".txt")), stem() + ".txt");
}

TEST_F(DumpCallbackTest, IdsThatAreNotKnownYetLeaveThreeUnderscores) {
    setCrashFileIds("", "");
    EXPECT_EQ(std::string(GetCrashFilePath(mSystem, ".txt")),
              "/t/zelhost_crash___" + std::to_string(CmGetProcessID()) + ".txt");
}
