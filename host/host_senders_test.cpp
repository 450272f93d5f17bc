#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "host/HostFixture.h"
#include "platform/include/clock.h"
#include "platform/include/thread.h"
#include "tests/support/Repetitions.h"

namespace {

using HostSendersTest = HostTest;

struct RawChunk {
    uint8_t flags;
    uint32_t size;
    std::string body;
};

std::vector<RawChunk> chunksOf(ipc::LogChannel& logs) {
    std::vector<RawChunk> chunks;
    while (logs.read(
        [&chunks](const auto& packet) {
            const auto& chunk = packet.record;
            chunks.push_back({chunk.flags, chunk.size, {reinterpret_cast<const char*>(chunk.body), chunk.size}});
        },
        0)) {
    }
    return chunks;
}

// The prefix of this thread's lines; the stored process id is 0 where no entry has run.
std::string prefix() {
    return "[0:" + std::to_string(platform::currentThreadId()) + "] ";
}

void sendText(ZelMLHost& host, size_t totalWithPrefix) {
    std::string text(totalWithPrefix - prefix().size(), 'x');
    host.sendLog(1, text.data(), static_cast<uint32_t>(text.size()));
}

TEST_F(HostSendersTest, TotalOf499IsOneChunk) {
    sendText(*mHost, 499);
    const auto chunks = chunksOf(*mClient->logs);
    ASSERT_EQ(chunks.size(), 1u);
    EXPECT_EQ(chunks[0].flags, 3);
    EXPECT_EQ(chunks[0].size, 503u);
    uint32_t level = 0;
    std::memcpy(&level, chunks[0].body.data(), 4);
    EXPECT_EQ(level, 1u);
    EXPECT_EQ(chunks[0].body.substr(4), prefix() + std::string(499 - prefix().size(), 'x'));
}

TEST_F(HostSendersTest, TotalOf500IsTwoChunks) {
    sendText(*mHost, 500);
    const auto chunks = chunksOf(*mClient->logs);
    ASSERT_EQ(chunks.size(), 2u);
    EXPECT_EQ(chunks[0].flags, 1);
    EXPECT_EQ(chunks[0].size, 503u);
    EXPECT_EQ(chunks[1].flags, 2);
    EXPECT_EQ(chunks[1].size, 1u);
    EXPECT_EQ(chunks[1].body, "x");
}

TEST_F(HostSendersTest, LongLineIsCutAt499AndThenAt503) {
    sendText(*mHost, 499 + 503 + 1);
    const auto chunks = chunksOf(*mClient->logs);
    ASSERT_EQ(chunks.size(), 3u);
    EXPECT_EQ(chunks[0].flags, 1);
    EXPECT_EQ(chunks[1].flags, 0);
    EXPECT_EQ(chunks[1].size, 503u);
    EXPECT_EQ(chunks[2].flags, 2);
    EXPECT_EQ(chunks[2].size, 1u);
}

TEST_F(HostSendersTest, RestOf503IsOneLastChunk) {
    sendText(*mHost, 499 + 503);
    const auto chunks = chunksOf(*mClient->logs);
    ASSERT_EQ(chunks.size(), 2u);
    EXPECT_EQ(chunks[1].flags, 2);
    EXPECT_EQ(chunks[1].size, 503u);
}

TEST_F(HostSendersTest, EmptyLineSendsThePrefixAlone) {
    sendText(*mHost, prefix().size());
    const auto chunks = chunksOf(*mClient->logs);
    ASSERT_EQ(chunks.size(), 1u);
    EXPECT_EQ(chunks[0].flags, 3);
    EXPECT_EQ(chunks[0].body.substr(4), prefix());
}

TEST_F(HostSendersTest, ModelLoadTimeOfZeroSendsNothing) {
    EXPECT_TRUE(mHost->sendModelLoadTime());
    EXPECT_FALSE(mClient->event(ipc::EventCode::ModelLoadTime, 0));
}

TEST_F(HostSendersTest, FrameStartsWithItsCapacityAsSize) {
    uint32_t limit = 0;
    EXPECT_TRUE(mHost->sendFrame("", [&limit](auto& frame) {
        limit = frame.size;
        frame.size = 0;
    }));
    EXPECT_EQ(limit, 921600u);
}

TEST_F(HostSendersTest, EachRecordArrivesOnItsOwnChannel) {
    EXPECT_TRUE(mHost->sendROI("", [](auto& roi) { roi.size = 5; }));
    EXPECT_TRUE(mHost->sendContentROI("", [](auto& content) { content.size = 6; }));
    EXPECT_TRUE(mHost->sendLadonResults("", [](auto& ladon) { ladon.size = 7; }));
    EXPECT_TRUE(mClient->rois->read([](const auto& packet) { EXPECT_EQ(packet.record.size, 5u); }, 0));
    EXPECT_TRUE(mClient->contents->read([](const auto& packet) { EXPECT_EQ(packet.record.size, 6u); }, 0));
    EXPECT_TRUE(mClient->ladon->read([](const auto& packet) { EXPECT_EQ(packet.record.size, 7u); }, 0));
}

// A line of one, two or three chunks that tells its number and, by its letter, its writer.
std::string numberedLine(uint32_t writer, uint32_t number) {
    constexpr size_t kLengths[] = {60, 700, 1200};
    return std::to_string(number) + std::string(kLengths[number % 3], static_cast<char>('a' + writer));
}

// ZELHOST_STRESS_LINES lines, 800 otherwise; the reader rests now and then, so that the writers find the channel full.
TEST_F(HostSendersTest, LinesOfSeveralThreadsReachASlowClientWholeAndInOrder) {
    constexpr uint32_t kThreads = 4;
    const uint32_t lines = zeltest::repetitions("ZELHOST_STRESS_LINES", 800) / kThreads;
    serve();
    std::vector<std::thread> writers;
    for (uint32_t number = 0; number < kThreads; ++number)
        writers.emplace_back([this, number, lines] {
            for (uint32_t line = 0; line < lines; ++line) {
                std::string text = numberedLine(number, line);
                mHost->sendLog(2, text.data(), static_cast<uint32_t>(text.size()));
            }
        });
    uint32_t next[kThreads] = {};
    uint32_t wrong = 0;
    for (uint32_t count = 0; count < kThreads * lines && wrong == 0; ++count) {
        if (count % 200 == 100) {
            platform::sleepMilliseconds(1);
            if (mClient->event(0)) mClient->command(ipc::CommandCode::HeartBeatAck);
        }
        const auto line = mClient->logLine();
        const std::string text = line ? line->text.substr(line->text.find("] ") + 2) : "";
        const uint32_t writer = text.empty() ? 0 : std::min<uint32_t>(text.back() - 'a', kThreads - 1);
        if (text != numberedLine(writer, next[writer]++)) ++wrong;
    }
    if (wrong != 0) mHost->teardown();
    for (auto& writer : writers) writer.join();
    EXPECT_EQ(wrong, 0u);
}

TEST(HostWithoutChannelsTest, SendersReturnFalseWithoutCallingBack) {
    ZelMLHost host;
    const auto mustNotRun = [](auto&) { ADD_FAILURE() << "callback without a channel"; };
    EXPECT_FALSE(host.sendEvent("", mustNotRun));
    EXPECT_FALSE(host.sendFrame("", mustNotRun));
    EXPECT_FALSE(host.sendROI("", mustNotRun));
    EXPECT_FALSE(host.sendContentROI("", mustNotRun));
    EXPECT_FALSE(host.sendLadonResults("", mustNotRun));
    EXPECT_TRUE(host.sendModelLoadTime());
    char text[] = "unheard";
    host.sendLog(0, text, sizeof text - 1);
}

}  // namespace
