#include "util/include/CmMemory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

constexpr size_t kTooLarge = cm::kMemoryMax + 1;

struct Call {
    unsigned code;
    std::string message;
    friend bool operator==(const Call&, const Call&) = default;
};

std::vector<Call> g_calls;

void record(unsigned code, const char* message) {
    g_calls.push_back({code, message});
    errno = 0;
}

class CmMemoryTest : public testing::Test {
  protected:
    void SetUp() override {
        g_calls.clear();
        cm::setConstraintHandler(record);
        errno = 0;
    }
    void TearDown() override {
        cm::setConstraintHandler(nullptr);
        cm::setConstraintLog(nullptr);
        cm::setConstraintVerbosity(1);
    }

    static void expectFailure(int result, const char* message) {
        EXPECT_EQ(result, 22);
        EXPECT_EQ(errno, 22);
        EXPECT_EQ(g_calls, (std::vector<Call>{{22, message}}));
        g_calls.clear();
        errno = 0;
    }

    char m_dest[8] = {'d', 'd', 'd', 'd', 'd', 'd', 'd', 'd'};
    const char m_src[9] = "12345678";
    wchar_t m_wide[4] = {L'w', L'w', L'w', L'w'};
};

TEST_F(CmMemoryTest, MemcpyChecksAndCopiesNothing) {
    EXPECT_EQ(cm::memcpy_s(m_dest, 8, m_src, 8), 0);
    EXPECT_EQ(std::string(m_dest, 8), "dddddddd");
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(CmMemoryTest, MemcpyTellsEachViolation) {
    expectFailure(cm::memcpy_s(nullptr, 8, m_src, 8), "memcpy_s: dest is NULL");
    expectFailure(cm::memcpy_s(m_dest, 8, nullptr, 8), "memcpy_s: src is NULL");
    expectFailure(cm::memcpy_s(m_dest, 7, m_src, 8), "memcpy_s: n exceeds dmax");
    expectFailure(cm::memcpy_s(m_dest, kTooLarge, m_src, 8), "memcpy_s: dmax exceeds max");
    expectFailure(cm::memcpy_s(m_dest, 8, m_dest + 1, 7), "memcpy_s: overlap undefined");
    expectFailure(cm::memcpy_s(m_dest + 1, 7, m_dest, 7), "memcpy_s: overlap undefined");
    expectFailure(cm::memcpy_s(m_dest, 8, m_dest, 8), "memcpy_s: overlap undefined");
}

TEST_F(CmMemoryTest, MemcpyTellsTheFirstOfSeveralViolations) {
    expectFailure(cm::memcpy_s(nullptr, kTooLarge, nullptr, kTooLarge + 1), "memcpy_s: dest is NULL");
    expectFailure(cm::memcpy_s(m_dest, kTooLarge, nullptr, kTooLarge + 1), "memcpy_s: src is NULL");
    expectFailure(cm::memcpy_s(m_dest, kTooLarge, m_dest, kTooLarge + 1), "memcpy_s: n exceeds dmax");
    expectFailure(cm::memcpy_s(m_dest, kTooLarge, m_dest, kTooLarge), "memcpy_s: dmax exceeds max");
}

TEST_F(CmMemoryTest, MemcpyTakesNeighboursAndTheLargestSizes) {
    EXPECT_EQ(cm::memcpy_s(m_dest, 4, m_dest + 4, 4), 0);
    EXPECT_EQ(cm::memcpy_s(m_dest + 4, 4, m_dest, 4), 0);
    EXPECT_EQ(cm::memcpy_s(m_dest, cm::kMemoryMax, m_src, 1), 0);
    EXPECT_EQ(cm::memcpy_s(m_dest, 8, m_dest, 0), 0);
    EXPECT_EQ(cm::memcpy_s(m_dest, 0, m_src, 0), 0);
}

TEST_F(CmMemoryTest, CheckedCopyCopiesWhatFits) {
    EXPECT_EQ(cm::checkedCopy(m_dest, 8, m_src, 5), 0);
    EXPECT_EQ(std::string(m_dest, 8), "12345ddd");
    EXPECT_EQ(cm::checkedCopy(m_dest, 8, m_src, 0), 0);
    EXPECT_EQ(std::string(m_dest, 8), "12345ddd");
}

TEST_F(CmMemoryTest, CheckedCopyAboveDmaxReturns22AndCopiesNothing) {
    expectFailure(cm::checkedCopy(m_dest, 4, m_src, 5), "memcpy_s: n exceeds dmax");
    EXPECT_EQ(std::string(m_dest, 8), "dddddddd");
}

TEST_F(CmMemoryTest, MemsetSetsTheBytesAsked) {
    EXPECT_EQ(cm::memset_s(m_dest, 8, 'x', 3), 0);
    EXPECT_EQ(std::string(m_dest, 8), "xxxddddd");
    EXPECT_EQ(cm::memset_s(m_dest, 8, 'y', 8), 0);
    EXPECT_EQ(std::string(m_dest, 8), "yyyyyyyy");
    EXPECT_EQ(cm::memset_s(m_dest, 0, 'z', 0), 0);
    EXPECT_EQ(std::string(m_dest, 8), "yyyyyyyy");
}

TEST_F(CmMemoryTest, MemsetTellsEachViolation) {
    expectFailure(cm::memset_s(nullptr, 8, 0, 8), "memset_s: s is null");
    expectFailure(cm::memset_s(m_dest, kTooLarge, 'x', 8), "memset_s: smax exceeds max");
    EXPECT_EQ(std::string(m_dest, 8), "dddddddd");
    expectFailure(cm::memset_s(m_dest, 2, 'x', kTooLarge), "memset_s: n exceeds max");
    expectFailure(cm::memset_s(m_dest, 2, 'x', 3), "memset_s: n exceeds smax");
}

TEST_F(CmMemoryTest, MemsetClearsSmaxBytesBeforeItFails) {
    cm::memset_s(m_dest, 5, 'x', 6);
    EXPECT_EQ(std::string(m_dest, 8), std::string(5, '\0') + "ddd");
    cm::memset_s(m_dest, 7, 'x', kTooLarge);
    EXPECT_EQ(std::string(m_dest, 8), std::string(7, '\0') + "d");
}

TEST_F(CmMemoryTest, MemsetHasClearedWhenTheHandlerRuns) {
    static char bytes[4] = {'b', 'b', 'b', 'b'};
    static int seen = -1;
    cm::setConstraintHandler([](unsigned, const char*) { seen = static_cast<unsigned char>(bytes[3]); });
    cm::memset_s(bytes, 4, 'x', 5);
    EXPECT_EQ(seen, 0);
}

TEST_F(CmMemoryTest, SmemzeroClearsTheBytesAsked) {
    EXPECT_EQ(cm::smemzero_s(m_dest, 8, 3), 0);
    EXPECT_EQ(std::string(m_dest, 8), std::string(3, '\0') + "ddddd");
}

TEST_F(CmMemoryTest, SmemzeroTellsEachViolation) {
    expectFailure(cm::smemzero_s(nullptr, 8, 8), "smemzero_s: s is null");
    expectFailure(cm::smemzero_s(m_dest, kTooLarge, 8), "smemzero_s: smax exceeds max");
    EXPECT_EQ(std::string(m_dest, 8), "dddddddd");
    expectFailure(cm::smemzero_s(m_dest, 2, kTooLarge), "smemzero_s: n exceeds max");
    EXPECT_EQ(std::string(m_dest, 8), std::string(2, '\0') + "dddddd");
    expectFailure(cm::smemzero_s(m_dest, 4, 5), "smemzero_s: n exceeds smax");
    EXPECT_EQ(std::string(m_dest, 8), std::string(4, '\0') + "dddd");
}

TEST_F(CmMemoryTest, WcscpyCopiesWithTheTerminator) {
    EXPECT_EQ(cm::wcscpy_s(m_wide, 4, L"abc"), 0);
    EXPECT_STREQ(m_wide, L"abc");
    EXPECT_EQ(cm::wcscpy_s(m_wide, 1, L""), 0);
    EXPECT_STREQ(m_wide, L"");
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(CmMemoryTest, WcscpyTellsEachViolation) {
    expectFailure(cm::wcscpy_s(nullptr, 4, L"abc"), "wcscpy_s: dest is null");
    expectFailure(cm::wcscpy_s(m_wide, 0, L"abc"), "wcscpy_s: dmax is 0");
    EXPECT_EQ(m_wide[0], L'w');
    expectFailure(cm::wcscpy_s(m_wide, 4, nullptr), "wcscpy_s: src is null");
    EXPECT_EQ(m_wide[0], 0);
    m_wide[0] = L'w';
    expectFailure(cm::wcscpy_s(m_wide, 4, L"abcd"), "wcscpy_s: not enough space for src");
    EXPECT_EQ(m_wide[0], 0);
    EXPECT_EQ(m_wide[1], L'w');
}

TEST_F(CmMemoryTest, WcscpyRefusesOverlappingTexts) {
    wchar_t text[8] = L"abcdef";
    expectFailure(cm::wcscpy_s(text + 2, 6, text), "wcscpy_s: overlapping objects");
    EXPECT_EQ(text[2], 0);
    wchar_t other[8] = L"abcdef";
    expectFailure(cm::wcscpy_s(other, 8, other + 3), "wcscpy_s: overlapping objects");
    expectFailure(cm::wcscpy_s(other, 8, other), "wcscpy_s: overlapping objects");
}

TEST_F(CmMemoryTest, DefaultHandlerPrintsCodeAndMessage) {
    cm::setConstraintHandler(nullptr);
    testing::internal::CaptureStderr();
    EXPECT_EQ(cm::memcpy_s(nullptr, 8, m_src, 8), 22);
    EXPECT_EQ(errno, 22);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "DATA INCONSISTENCY/DATA CORRUPTION: (22) memcpy_s: dest is NULL\n");
}

TEST_F(CmMemoryTest, DefaultHandlerIsSilentBelowVerbosityOne) {
    cm::setConstraintHandler(nullptr);
    EXPECT_EQ(cm::setConstraintVerbosity(0), 1);
    cm::setConstraintLog(record);
    testing::internal::CaptureStderr();
    EXPECT_EQ(cm::memcpy_s(nullptr, 8, m_src, 8), 22);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(CmMemoryTest, LogCallbackTakesThePlaceOfThePrint) {
    EXPECT_EQ(cm::setConstraintHandler(nullptr), record);
    cm::setConstraintLog(record);
    testing::internal::CaptureStderr();
    expectFailure(cm::memset_s(nullptr, 8, 0, 8), "memset_s: s is null");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
