#include "util/include/CmTrace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "tests/support/TraceCapture.h"
#include "util/include/CmTime.h"
#include "util/src/child_process.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = zeltest::TraceCapture::Line;

void traceEachLevel() {
    QOR_ERROR("error");
    QOR_WARNING("warning");
    QOR_INFO("progress");
}

TEST(CmTraceTest, NegativeMaskSilencesEveryLine) {
    const zeltest::TraceCapture trace(-1);
    traceEachLevel();
    CM_ERROR("error");
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST(CmTraceTest, MaskOfZeroPassesFailuresOnly) {
    const zeltest::TraceCapture trace(0);
    traceEachLevel();
    EXPECT_THAT(trace.lines(), ElementsAre(Line{0, "error"}));
}

TEST(CmTraceTest, MaskOfOnePassesWarningsToo) {
    const zeltest::TraceCapture trace(1);
    traceEachLevel();
    EXPECT_THAT(trace.lines(), ElementsAre(Line{0, "error"}, Line{1, "warning"}));
}

TEST(CmTraceTest, MaskIsAThresholdAndNoSetOfBits) {
    const zeltest::TraceCapture trace(4);
    traceEachLevel();
    CM_ERROR("error");
    CM_WARNING("warning");
    CM_INFO("progress");
    EXPECT_THAT(trace.lines(), ElementsAre(Line{0, "error"}, Line{1, "warning"}, Line{2, "progress"}, Line{0, "error"},
                                           Line{1, "warning"}, Line{2, "progress"}));
}

TEST(CmTraceTest, NothingOfAGatedLineIsEvaluated) {
    const zeltest::TraceCapture trace(1);
    int evaluated = 0;
    QOR_INFO("n=" << ++evaluated);
    EXPECT_EQ(evaluated, 0);
    QOR_WARNING("n=" << ++evaluated);
    EXPECT_EQ(evaluated, 1);
    EXPECT_THAT(trace.lines(), ElementsAre(Line{1, "n=1"}));
}

TEST(CmTraceTest, SiteIsOneStatement) {
    const zeltest::TraceCapture trace(2);
    if (trace.lines().size() == 1)
        QOR_INFO("then");
    else
        QOR_INFO("else");
    EXPECT_THAT(trace.lines(), ElementsAre(Line{2, "else"}));
}

TEST(CmTraceTest, LineIsCutAtItsBuffer) {
    const zeltest::TraceCapture trace(2);
    QOR_INFO(std::string(1022, 'a') << "bc");
    EXPECT_THAT(trace.lines(), ElementsAre(Line{2, std::string(1022, 'a') + "b"}));
}

TEST(CmTraceTest, SinkGetsTheTextAsGivenWhateverTheMask) {
    const zeltest::TraceCapture trace(-1);
    EXPECT_EQ(util_adapter_trace(7, "module", "text\nand more", 6), 0);
    EXPECT_THAT(trace.lines(), ElementsAre(Line{7, "text\na"}));
}

TEST(CmTraceTest, WithoutReceiverALineIsNotTaken) {
    set_util_external_trace_sink(nullptr);
    EXPECT_EQ(util_adapter_trace(0, "module", "text", 4), 1);
}

TEST(CmTraceTest, KeepsErrno) {
    set_util_external_trace_sink([](unsigned long, char*, unsigned) { errno = EIO; });
    errno = ENOENT;
    QOR_ERROR("text");
    EXPECT_EQ(errno, ENOENT);
    set_util_external_trace_sink(nullptr);
}

std::string stderrOf(void (*work)()) {
    set_external_trace_stderr(true);
    testing::internal::CaptureStderr();
    work();
    set_external_trace_stderr(false);
    std::string text = testing::internal::GetCapturedStderr();
    std::erase(text, '\r');
    return text;
}

TEST(CmTraceTest, StderrShowsLevelModuleAndText) {
    const zeltest::TraceCapture trace(2);
    EXPECT_EQ(stderrOf([] {
                  QOR_WARNING("zelipc>> text");
                  CM_ERROR("of the library");
              }),
              "[1] QOR: zelipc>> text\n[0] util_test: of the library\n");
    EXPECT_EQ(trace.lines().size(), 2u);
}

TEST(CmTraceTest, StderrTakesLinesThatAreEmptyOrLongerThanItsOwn) {
    EXPECT_EQ(stderrOf([] { util_adapter_trace(0, "QOR", nullptr, 0); }), "[0] QOR: \n");
    const std::string line = stderrOf([] { util_adapter_trace(0, "QOR", std::string(5000, 'x').c_str(), 5000); });
    EXPECT_EQ(line.size(), 2048u);
    EXPECT_EQ(line.substr(line.size() - 2), "x\n");
}

TEST(CmTraceTest, ModuleNameIsTheTagIfThereIsOne) {
    const char* const tag = "QOR";
    EXPECT_EQ(TraceModuleName(tag), tag);
}

TEST(CmTraceTest, ModuleNameWithoutTagIsOneCachedString) {
    EXPECT_STREQ(TraceModuleName(nullptr), "util_test");
    EXPECT_EQ(TraceModuleName(nullptr), TraceModuleName(""));
}

TEST(CmTraceTest, CallerModuleNameIsCutToFit) {
    char whole[128];
    EXPECT_TRUE(GetCallerModuleName(whole, sizeof whole));
    EXPECT_STREQ(whole, "util_test");
    char small[5];
    EXPECT_TRUE(GetCallerModuleName(small, sizeof small));
    EXPECT_STREQ(small, "util");
    EXPECT_FALSE(GetCallerModuleName(small, 0));
    EXPECT_FALSE(GetCallerModuleName(nullptr, 128));
}

int failing(bool expression, const char* file) {
    CM_ASSERTE_RETURN(expression, "pThread != NULL", file, 71, 0x46004003);
    return 0;
}

TEST(CmTraceTest, FailedAssertionIsTracedCountedAndReturnsItsCode) {
    const zeltest::TraceCapture trace(0);
    const unsigned long before = cm_assertion_count();
    EXPECT_EQ(failing(false, "CmAsyncTimer.h"), 0x46004003);
    EXPECT_EQ(failing(false, "d:\\src\\util\\CmAsyncTimer.h"), 0x46004003);
    EXPECT_EQ(failing(false, "/src/util/CmAsyncTimer.h"), 0x46004003);
    const Line line{0, "CmAsyncTimer.h:71 Assert failed: pThread != NULL"};
    EXPECT_THAT(trace.lines(), ElementsAre(line, line, line));
    EXPECT_EQ(cm_assertion_count(), before + 3);
}

TEST(CmTraceTest, MaskGatesTheAssertionsLineButNotItsReport) {
    const zeltest::TraceCapture trace(-1);
    const unsigned long before = cm_assertion_count();
    EXPECT_EQ(failing(false, "CmAsyncTimer.h"), 0x46004003);
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_EQ(cm_assertion_count(), before + 1);
}

TEST(CmTraceTest, HeldAssertionDoesNothing) {
    const zeltest::TraceCapture trace(2);
    const unsigned long before = cm_assertion_count();
    EXPECT_EQ(failing(true, "CmAsyncTimer.h"), 0);
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_EQ(cm_assertion_count(), before);
}

struct Member {
    void trace() const { QOR_INFO("zelipc>> Member::trace" << CM_THIS); }
    unsigned traceScope() {
        const char* const function = "Member::traceScope";
        const unsigned line = __LINE__ + 1;
        QOR_FUNC_TRACE(function << 2, "zelipc>> scope");
        return line;
    }
};

TEST(CmTraceTest, MemberLineEndsWithItsObject) {
    const zeltest::TraceCapture trace(2);
    const Member member;
    member.trace();
    EXPECT_THAT(trace.lines(), ElementsAre(Line{2, "zelipc>> Member::trace" + zeltest::thisTail(&member)}));
}

unsigned long long g_clock = 0;

class CmUtilFuncTracerTest : public testing::Test {
  protected:
    void SetUp() override {
        g_clock = 1999;
        timer_policy::replace([] { return g_clock; });
    }
    void TearDown() override { timer_policy::replace(nullptr); }

    const zeltest::TraceCapture m_trace{2};
};

TEST_F(CmUtilFuncTracerTest, TellsEntryAndExitWithTheDifferenceOfTruncatedMilliseconds) {
    {
        const CCmUtilFuncTracer tracer(true, true, "zelhost", "A::b,line=1", "zelipc>> A::b");
        EXPECT_THAT(m_trace.lines(), ElementsAre(Line{2, "zelipc>> A::b, enter, A::b,line=1"}));
        g_clock = 3000;
    }
    EXPECT_THAT(m_trace.lines(), ElementsAre(Line{2, "zelipc>> A::b, enter, A::b,line=1"},
                                             Line{2, "zelipc>> A::b, leave, A::b,line=1, elapsed=2 ms"}));
}

TEST_F(CmUtilFuncTracerTest, CarriesItsModule) {
    EXPECT_EQ(stderrOf([] { const CCmUtilFuncTracer tracer(true, true, "zelhost", "f", "m"); }),
              "[2] zelhost: m, enter, f\n[2] zelhost: m, leave, f, elapsed=0 ms\n");
    EXPECT_EQ(stderrOf([] { const CCmUtilFuncTracer tracer(true, false, nullptr, "f", "m"); }),
              "[2] util_test: m, enter, f\n[2] util_test: m, leave, f\n");
}

TEST_F(CmUtilFuncTracerTest, WritesNothingWhenItIsOff) {
    { const CCmUtilFuncTracer tracer(false, true, "zelhost", "f", "m"); }
    EXPECT_THAT(m_trace.lines(), IsEmpty());
}

TEST_F(CmUtilFuncTracerTest, WritesNothingBelowLevelTwo) {
    const zeltest::TraceCapture trace(1);
    { const CCmUtilFuncTracer tracer(true, true, "zelhost", "f", "m"); }
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(CmUtilFuncTracerTest, TellsTheExitByAnExceptionToo) {
    try {
        const CCmUtilFuncTracer tracer(true, false, "zelhost", "f", "m");
        throw std::runtime_error("");
    } catch (const std::runtime_error&) {
    }
    EXPECT_THAT(m_trace.lines(), ElementsAre(Line{2, "m, enter, f"}, Line{2, "m, leave, f"}));
}

TEST_F(CmUtilFuncTracerTest, MacroFormsBothTexts) {
    Member member;
    const std::string function =
        "Member::traceScope2,line=" + std::to_string(member.traceScope()) + zeltest::thisTail(&member);
    EXPECT_THAT(m_trace.lines(), ElementsAre(Line{2, "zelipc>> scope, enter, " + function},
                                             Line{2, "zelipc>> scope, leave, " + function + ", elapsed=0 ms"}));
}

TEST_F(CmUtilFuncTracerTest, MacroWithoutObjectLeavesItOut) {
    const unsigned line = __LINE__ + 1;
    { QOR_FREE_FUNC_TRACE("work", "zelipc>> work"); }
    EXPECT_EQ(m_trace.count(2, "zelipc>> work, leave, work,line=" + std::to_string(line) + ", elapsed=0 ms"), 1);
}

TEST(CmTraceTest, AnyThreadTracesWhileTheSinkAndTheMaskChange) {
    const zeltest::TraceCapture trace(2);
    std::atomic<int> running{4};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 2000; ++j) QOR_ERROR("line " << j << TraceModuleName(nullptr));
            --running;
        });
    }
    while (running > 0) {
        set_external_trace_mask(-1);
        { const zeltest::TraceCapture other(1); }
        set_util_external_trace_sink(nullptr);
        set_external_trace_mask(2);
    }
    for (std::thread& thread : threads) thread.join();
    for (const Line& line : trace.lines()) EXPECT_EQ(line.text.substr(0, 5), "line ");
}

TEST(CmTraceTest, EveryLineOfManyThreadsArrivesWhole) {
    const zeltest::TraceCapture trace(2);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int j = 0; j < 500; ++j) QOR_INFO("thread=" << i << ", line=" << j);
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < 4; ++i) {
        int next = 0;
        for (const Line& line : trace.lines()) {
            if (line.text == "thread=" + std::to_string(i) + ", line=" + std::to_string(next)) ++next;
        }
        EXPECT_EQ(next, 500);
    }
}

std::string maskOfChild(const std::string& value, std::string* standardError = nullptr) {
    const ChildOutput output = runChild({{"ZELHOST_TRACE", value}, {"ZELHOST_TRACE_STDERR", ""}});
    if (standardError != nullptr) *standardError = output.standardError;
    return output.standardOutput;
}

TEST(CmKlxTraceTest, MaskComesFromTheEnvironment) {
    EXPECT_EQ(maskOfChild(""), "mask=2 module=util_test_child\n");
    EXPECT_EQ(maskOfChild("1"), "mask=1 module=util_test_child\n");
    std::string complaint;
    EXPECT_EQ(maskOfChild("-1", &complaint), "mask=-1 module=util_test_child\n");
    EXPECT_EQ(complaint, "");
}

TEST(CmKlxTraceTest, GarbageLeavesTheDefaultAndSaysSoOnce) {
    for (const std::string garbage : {"loud", "1x", " 1", "99999999999"}) {
        std::string complaint;
        EXPECT_EQ(maskOfChild(garbage, &complaint), "mask=2 module=util_test_child\n");
        EXPECT_EQ(complaint, "ZELHOST_TRACE is \"" + garbage +
                                 "\", not a whole number; using 2 (-1 nothing, 0 errors, 1 and warnings, 2 all)\n");
    }
}

TEST(CmKlxTraceTest, LinesGoToStderrOnRequest) {
    EXPECT_EQ(runChild({{"ZELHOST_TRACE", "1"}, {"ZELHOST_TRACE_STDERR", "1"}}).standardError,
              "[0] QOR: an error\n[1] QOR: a warning\n");
    EXPECT_EQ(runChild({{"ZELHOST_TRACE", "1"}, {"ZELHOST_TRACE_STDERR", "0"}}).standardError, "");
}

}  // namespace
