#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include "ipc/channel_test_support.h"
#include "platform/include/clock.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "tests/support/Repetitions.h"

// Two processes on one channel: nothing lost in the long run, and what is left when one is killed.
namespace ipc {
namespace {

constexpr uint32_t kPatienceMs = 60000;  // far beyond what any of this takes
constexpr uint32_t kSweepMs = 5000;      // the same for a sweep

class ChannelProcessTest : public testing::Test {
  protected:
    const QuietOpening quiet;
    static std::unique_ptr<platform::Process> startPeer(const std::string& what, const std::string& name,
                                                        uint32_t count) {
        const std::string program = platform::executableDirectory() + platform::pathSeparator() + "ipc_test_peer" +
                                    (platform::pathSeparator() == '\\' ? ".exe" : "");
        platform::ProcessOptions options;
        options.standardError = "inherit";
        options.dieWithParent = true;
        std::string error;
        auto peer = platform::startProcess(program, {what, name, std::to_string(count)}, options, &error);
        EXPECT_TRUE(peer) << error;
        return peer;
    }

    static void expectGoodEnd(platform::Process& peer) {
        ASSERT_TRUE(peer.waitForExit(kPatienceMs));
        EXPECT_EQ(peer.exitCode(), 0);
    }

    static void killAndReap(platform::Process& peer) {
        peer.kill();
        EXPECT_TRUE(peer.waitForExit(kPatienceMs));
    }

    static bool receive(TestChannel& channel, uint32_t value, uint32_t timeoutMs) {
        bool right = false;
        return channel.read([&](const TestRecord& record) { right = record.holds(value); }, timeoutMs) && right;
    }

    // Whether anything of the channel is there. On Linux by the files' names: opening one would remove what nobody
    // holds.
    static bool exists(const std::string& name) {
        if (platform::pathSeparator() == '\\') return RawMapping(name, 1).exists();
        for (const char* suffix : {"_shm", "_evt_avl", "_evt_fld"}) {
            if (std::filesystem::exists("/dev/shm/" + name + suffix)) return true;
        }
        return false;
    }

    // Whether nothing of the channel stays; the sweep of another program may just be taking it away.
    static bool isGone(const std::string& name) {
        const uint64_t end = platform::monotonicMicroseconds() + uint64_t{kSweepMs} * 1000;
        while (exists(name)) {
            if (platform::monotonicMicroseconds() >= end) return false;
            platform::sleepMilliseconds(1);
        }
        return true;
    }

    const std::string name = uniqueName();
    const uint32_t records = zeltest::repetitions("ZELHOST_STRESS_RECORDS", 200000);
    const uint32_t rounds = zeltest::repetitions("ZELHOST_KILL_ROUNDS", 20);
};

TEST_F(ChannelProcessTest, ReaderGetsEveryRecordOfAnotherProcess) {
    const auto reader = TestChannel::openForRead(name);
    const auto peer = startPeer("write", name, records);
    for (uint32_t i = 0; i < records; ++i) ASSERT_TRUE(receive(*reader, i, kPatienceMs)) << i;
    expectGoodEnd(*peer);
    EXPECT_FALSE(reader->read(nullptr, 0));
    EXPECT_FALSE(reader->broken());
}

TEST_F(ChannelProcessTest, AnotherProcessGetsEveryRecordOfAWriter) {
    const auto writer = TestChannel::openForWrite(name);
    const auto peer = startPeer("read", name, records);
    for (uint32_t i = 0; i < records; ++i) {
        ASSERT_TRUE(writer->write([i](TestRecord& record) { record.fill(i); }, kPatienceMs)) << i;
    }
    expectGoodEnd(*peer);
    EXPECT_FALSE(writer->broken());
}

// The lists run empty and full by turns here, where the steps of both sides meet.
TEST_F(ChannelProcessTest, AnswersComeBackInOrder) {
    const auto out = TestChannel::openForWrite(name + "in");
    const auto in = TestChannel::openForRead(name + "out");
    const uint32_t count = records / 4;
    const auto peer = startPeer("echo", name, count);
    uint32_t sent = 0;
    uint32_t received = 0;
    std::mt19937 random(1);
    while (received < count) {
        const uint32_t ahead = random() % 4 + 1;
        for (; sent < count && sent < received + ahead; ++sent) {
            ASSERT_TRUE(out->write([=](TestRecord& record) { record.fill(sent); }, kPatienceMs));
        }
        for (; received < sent; ++received) ASSERT_TRUE(receive(*in, received, kPatienceMs)) << received;
    }
    expectGoodEnd(*peer);
}

TEST_F(ChannelProcessTest, ReaderComesToRestWhenItsWriterIsKilled) {
    std::mt19937 random(2);
    for (uint32_t round = 0; round < rounds; ++round) {
        const std::string channelName = uniqueName();
        auto reader = TestChannel::openForRead(channelName);
        const auto peer = startPeer("write", channelName, 0);
        uint32_t next = 0;
        for (const uint32_t end = random() % 3000 + 1; next < end; ++next) {
            ASSERT_TRUE(receive(*reader, next, kPatienceMs));
        }
        killAndReap(*peer);
        while (receive(*reader, next, 0)) ++next;  // what was queued is still whole and in order
        EXPECT_FALSE(reader->read(nullptr, 10));
        EXPECT_FALSE(reader->broken());
        reader.reset();
        ASSERT_TRUE(isGone(channelName));
    }
}

TEST_F(ChannelProcessTest, WriterComesToRestWhenItsReaderIsKilled) {
    std::mt19937 random(3);
    for (uint32_t round = 0; round < rounds; ++round) {
        const std::string channelName = uniqueName();
        auto writer = TestChannel::openForWrite(channelName);
        const auto peer = startPeer("read", channelName, 0);
        uint32_t next = 0;
        const auto send = [&](uint32_t timeoutMs) {
            return writer->write([&](TestRecord& record) { record.fill(next); }, timeoutMs);
        };
        for (const uint32_t end = random() % 3000 + 1; next < end; ++next) ASSERT_TRUE(send(kPatienceMs));
        killAndReap(*peer);
        uint32_t taken = 0;
        while (send(0)) ++taken;
        EXPECT_LE(taken, TestChannel::kSlots);
        EXPECT_FALSE(writer->broken());
        writer.reset();
        ASSERT_TRUE(isGone(channelName));
    }
}

// Nobody is left to remove the objects: whoever starts next sweeps them away. On Windows the system has done it.
TEST_F(ChannelProcessTest, NothingStaysBehindTheNextSweepWhenBothAreKilled) {
    std::mt19937 random(4);
    for (uint32_t round = 0; round < rounds; ++round) {
        const std::string channelName = uniqueName();
        const auto done = TestChannel::openForRead(channelName + "done");
        const auto echo = startPeer("echo", channelName, 0);
        const auto pump = startPeer("pump", channelName, 0);
        const uint32_t end = random() % 1000 + 1;
        for (uint32_t i = 0; i < end; ++i) ASSERT_TRUE(receive(*done, i, kPatienceMs)) << i;
        const bool echoFirst = random() % 2 == 0;
        killAndReap(echoFirst ? *echo : *pump);
        killAndReap(echoFirst ? *pump : *echo);
        platform::sweepAbandonedObjects();
        ASSERT_TRUE(isGone(channelName + "in"));
        ASSERT_TRUE(isGone(channelName + "out"));
        EXPECT_TRUE(exists(channelName + "done"));  // ours
    }
}

TEST_F(ChannelProcessTest, NameOfTheKilledStartsAfresh) {
    auto writer = TestChannel::openForWrite(name);
    const auto peer = startPeer("read", name, 0);
    for (uint32_t i = 0; i < 100; ++i) {
        ASSERT_TRUE(writer->write([=](TestRecord& record) { record.fill(i); }, kPatienceMs));
    }
    killAndReap(*peer);
    writer->write([](TestRecord& record) { record.fill(7); }, 0);
    writer.reset();
    const auto reader = TestChannel::openForRead(name);
    EXPECT_FALSE(reader->read(nullptr, 0));
}

}  // namespace
}  // namespace ipc
