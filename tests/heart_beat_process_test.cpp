#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/include/clock.h"
#include "tests/support/HostProcess.h"

namespace {

using ipc::CommandCode;
using ipc::EventCode;
using zeltest::HostProcess;
using zeltest::RawClient;

// What a client saw of its host.
struct Outcome {
    int beats = 0;
    std::optional<zeltest::LogLine> timeOut;  // the line that tells of it
    bool endedEarly = false;
    int exitCode = -1;
};

// A host and its client, who lives through one story.
struct Pair {
    HostProcess host;
    RawClient client{host.baseName()};
};
using Story = Outcome (*)(Pair& pair);

Outcome silent(Pair& pair) {
    Outcome outcome;
    while (!pair.host.process().waitForExit(0)) {
        const auto event = pair.client.event(200);
        outcome.beats += event && event->code == static_cast<uint32_t>(EventCode::HeartBeat);
        while (pair.client.logLine(0)) {
        }
    }
    while (const auto event = pair.client.event(0))
        outcome.beats += event->code == static_cast<uint32_t>(EventCode::HeartBeat);
    outcome.exitCode = pair.host.exitCode();
    return outcome;
}

Outcome silentButReadingTheLog(Pair& pair) {
    Outcome outcome;
    while (!outcome.timeOut) {
        auto line = pair.client.logLine(zeltest::kDeadlineMs);
        if (!line) break;
        if (line->text.find("OnTimer, heart beat timeout") != std::string::npos) outcome.timeOut = std::move(line);
    }
    outcome.exitCode = pair.host.exitCode();
    return outcome;
}

Outcome streamingFrames(Pair& pair) {
    Outcome outcome;
    const uint32_t start = platform::tickCount();
    // Frames of no known kind count as a sign of life and need no answer.
    while (!outcome.endedEarly && platform::tickCount() - start < 15000) {
        pair.client.frame(0, 0, {}, -1);
        while (pair.client.event(0)) {
        }
        while (pair.client.logLine(0)) {
        }
        outcome.endedEarly = pair.host.process().waitForExit(100);
    }
    pair.client.command(CommandCode::Terminate);
    outcome.exitCode = pair.host.exitCode();
    return outcome;
}

Outcome answeringBeats(Pair& pair) {
    constexpr int kBeats = 14;
    Outcome outcome;
    while (outcome.beats < kBeats && pair.client.event(EventCode::HeartBeat)) {
        ++outcome.beats;
        pair.client.command(CommandCode::HeartBeatAck);
        while (pair.client.logLine(0)) {
        }
    }
    outcome.endedEarly = outcome.beats < kBeats;
    pair.client.command(CommandCode::Terminate);
    outcome.exitCode = pair.host.exitCode();
    return outcome;
}

// The stories are of waiting, so all of them are lived through at the same time.
class HeartBeatProcessTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { sStories = std::make_unique<Stories>(); }
    static void TearDownTestSuite() { sStories.reset(); }

    struct Stories {
        std::future<Outcome> silent = begin(::silent);
        std::future<Outcome> reading = begin(silentButReadingTheLog);
        std::future<Outcome> streaming = begin(streamingFrames);
        std::future<Outcome> answering = begin(answeringBeats);
    };
    static std::future<Outcome> begin(Story story) {
        return std::async(std::launch::async, [story, pair = std::make_shared<Pair>()] { return story(*pair); });
    }

    inline static std::unique_ptr<Stories> sStories;
};

TEST_F(HeartBeatProcessTest, SilentClientSeesElevenBeatsThenTheProcessEnds) {
    const Outcome outcome = sStories->silent.get();
    EXPECT_EQ(outcome.beats, 11);
    EXPECT_EQ(outcome.exitCode, 0);
}

TEST_F(HeartBeatProcessTest, TimeOutIsLoggedAtErrorLevel) {
    const Outcome outcome = sStories->reading.get();
    ASSERT_TRUE(outcome.timeOut);
    EXPECT_EQ(outcome.timeOut->level, 0u);
    EXPECT_NE(outcome.timeOut->text.find("zelipc>>ZelMLHost::OnTimer, heart beat timeout, will terminate process"),
              std::string::npos);
    EXPECT_EQ(outcome.exitCode, 0);
}

TEST_F(HeartBeatProcessTest, ClientThatStreamsFramesIsNeverTimedOut) {
    const Outcome outcome = sStories->streaming.get();
    EXPECT_FALSE(outcome.endedEarly);
    EXPECT_EQ(outcome.exitCode, 0);
}

TEST_F(HeartBeatProcessTest, AnsweredBeatsKeepTheHost) {
    const Outcome outcome = sStories->answering.get();
    EXPECT_FALSE(outcome.endedEarly);
    EXPECT_EQ(outcome.exitCode, 0);
}

}  // namespace
