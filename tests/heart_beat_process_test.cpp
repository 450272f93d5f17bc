#include <gtest/gtest.h>

#include "platform/include/clock.h"
#include "tests/support/HostProcess.h"

namespace {

using ipc::CommandCode;
using ipc::EventCode;
using zeltest::HostProcess;
using zeltest::RawClient;

TEST(HeartBeatProcessTest, SilentClientSeesElevenBeatsThenTheProcessEnds) {
    HostProcess host;
    RawClient client(host.baseName());
    int beats = 0;
    while (!host.process().waitForExit(0)) {
        const auto event = client.event(200);
        if (event && event->code == static_cast<uint32_t>(EventCode::HeartBeat)) ++beats;
        while (client.logLine(0)) {
        }
    }
    while (const auto event = client.event(0)) beats += event->code == static_cast<uint32_t>(EventCode::HeartBeat);
    EXPECT_EQ(beats, 11);
    EXPECT_EQ(host.exitCode(), 0);
}

TEST(HeartBeatProcessTest, TimeOutIsLoggedAtErrorLevel) {
    HostProcess host;
    RawClient client(host.baseName());
    bool said = false;
    while (const auto line = client.logLine(zeltest::kDeadlineMs)) {
        if (line->text.find("zelipc>>ZelMLHost::OnTimer, heart beat timeout, will terminate process") ==
            std::string::npos)
            continue;
        EXPECT_EQ(line->level, 0u);
        said = true;
        break;
    }
    EXPECT_TRUE(said);
    EXPECT_EQ(host.exitCode(), 0);
}

TEST(HeartBeatProcessTest, ClientThatStreamsFramesIsNeverTimedOut) {
    HostProcess host;
    RawClient client(host.baseName());
    const uint32_t start = platform::tickCount();
    // Frames of no known kind count as a sign of life and need no answer.
    while (platform::tickCount() - start < 15000) {
        client.frame(0, 0, {}, -1);
        while (client.event(0)) {
        }
        while (client.logLine(0)) {
        }
        ASSERT_FALSE(host.process().waitForExit(100));
    }
    client.command(CommandCode::Terminate);
    EXPECT_EQ(host.exitCode(), 0);
}

TEST(HeartBeatProcessTest, AnsweredBeatsKeepTheHost) {
    HostProcess host;
    RawClient client(host.baseName());
    for (int beat = 0; beat < 14; ++beat) {
        ASSERT_TRUE(client.event(EventCode::HeartBeat));
        client.command(CommandCode::HeartBeatAck);
        while (client.logLine(0)) {
        }
    }
    client.command(CommandCode::Terminate);
    EXPECT_EQ(host.exitCode(), 0);
}

}  // namespace
