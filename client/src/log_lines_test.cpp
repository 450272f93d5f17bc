#include "client/src/LogLines.h"

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::Pair;

constexpr uint8_t kMiddle = 0;
constexpr uint8_t kFirst = 1;
constexpr uint8_t kLast = 2;
constexpr uint8_t kOnly = 3;
constexpr size_t kBodyBytes = 504;

class LogLinesTest : public testing::Test {
  protected:
    void first(uint8_t flags, uint32_t level, const std::string& text) {
        std::string body(reinterpret_cast<const char*>(&level), sizeof level);
        body += text;
        chunk(flags, body, static_cast<uint32_t>(body.size()));
    }
    void later(uint8_t flags, const std::string& text) { chunk(flags, text, static_cast<uint32_t>(text.size())); }
    void chunk(uint8_t flags, std::string body, uint32_t size) {
        body.resize(kBodyBytes, '#');
        lines.chunk(flags, size, body.data(), body.size());
    }

    std::vector<std::pair<uint32_t, std::string>> out;
    client::LogLines lines{[this](uint32_t level, const std::string& line) { out.emplace_back(level, line); }};
};

TEST_F(LogLinesTest, OneChunkIsALine) {
    first(kOnly, 2, "hello");
    EXPECT_THAT(out, ElementsAre(Pair(2u, "hello")));
}

TEST_F(LogLinesTest, EmptyTextIsALine) {
    first(kOnly, 1, "");
    EXPECT_THAT(out, ElementsAre(Pair(1u, "")));
}

TEST_F(LogLinesTest, ChunksOfOneMessageAreJoined) {
    first(kFirst, 0, std::string(499, 'a'));
    later(kMiddle, std::string(503, 'b'));
    EXPECT_TRUE(out.empty());
    later(kLast, "c");
    EXPECT_THAT(out, ElementsAre(Pair(0u, std::string(499, 'a') + std::string(503, 'b') + "c")));
}

TEST_F(LogLinesTest, ChunkWithoutAFirstIsDropped) {
    later(kMiddle, "lost");
    later(kLast, "lost");
    first(kOnly, 2, "kept");
    EXPECT_THAT(out, ElementsAre(Pair(2u, "kept")));
}

TEST_F(LogLinesTest, LineThatANewOneInterruptsGoesOutAsFarAsItCame) {
    first(kFirst, 1, "begun");
    first(kOnly, 2, "next");
    EXPECT_THAT(out, ElementsAre(Pair(1u, "begun"), Pair(2u, "next")));
}

TEST_F(LogLinesTest, SizeBeyondTheBodyIsBounded) {
    chunk(kOnly, std::string(4, '\0'), 0xFFFFFFFFu);
    EXPECT_THAT(out, ElementsAre(Pair(0u, std::string(kBodyBytes - 4, '#'))));
}

TEST_F(LogLinesTest, FirstChunkTooSmallForALevelIsDropped) {
    chunk(kOnly, "", 3);
    EXPECT_TRUE(out.empty());
}

TEST_F(LogLinesTest, EndlessLineIsCut) {
    first(kFirst, 0, "x");
    for (int count = 0; count < 1000; ++count) later(kMiddle, std::string(503, 'y'));
    later(kLast, "z");
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].second.size(), client::LogLines::kLongest);
}

}  // namespace
