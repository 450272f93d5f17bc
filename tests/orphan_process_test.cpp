#include <gmock/gmock.h>

#include <random>

#include "platform/include/clock.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "tests/support/HostProcess.h"
#include "tests/support/Repetitions.h"

namespace {

using ipc::CommandCode;
using ipc::EventCode;
using testing::IsEmpty;
using testing::Not;
using zeltest::HostProcess;
using zeltest::leftoverObjects;
using zeltest::RawClient;

// From a client's last sign of life to the end of its host.
constexpr uint32_t kLongestOrphanMs = 15000;
// What a loaded machine may add to a bound that the host itself keeps.
constexpr uint32_t kSlackMs = 15000;

void fillEventChannel(RawClient& client) {
    // One answer each; the host stands still in the answer that finds no slot.
    for (uint32_t count = 0; count < ipc::EventChannel::kSlots + 4; ++count) client.command(CommandCode::InitClient);
}

void fillFrameRoad(RawClient& client) {
    const std::vector<uint8_t> frame(256 * 144 * 3, 90);
    for (uint32_t count = 0; count < 2 * ipc::FrameChannel::kSlots; ++count) client.frame(256, 144, frame);
}

// Each refused frame is a log line, and nobody reads them.
void fillLogChannel(RawClient& client) {
    for (uint32_t count = 0; count < ipc::LogChannel::kSlots + 20; ++count) {
        const bool taken = client.frames->write(
            [](auto& packet) {
                packet.record.kind = 1;
                packet.record.size = 921601;
            },
            1000);
        if (!taken) return;
    }
}

// A client that lives until it is killed.
std::unique_ptr<platform::Process> startClient(const std::string& baseName) {
    const bool windows = platform::pathSeparator() == '\\';
    const std::string program =
        platform::executableDirectory() + platform::pathSeparator() + (windows ? "client_child.exe" : "client_child");
    platform::ProcessOptions options;
    options.dieWithParent = true;
    std::string error;
    auto process = platform::startProcess(program, {baseName}, options, &error);
    EXPECT_TRUE(process) << error;
    return process;
}

void killAndReap(platform::Process& process) {
    process.kill();
    ASSERT_TRUE(process.waitForExit(zeltest::kDeadlineMs));
}

// Four hosts, each with another channel full, and then all of them together: each one ends in time.
TEST(OrphanProcessTest, HostsWithFullChannelsAndADeafClientEndInTime) {
    struct Orphan {
        std::unique_ptr<HostProcess> host;
        std::unique_ptr<RawClient> client;
    };
    std::vector<Orphan> orphans(5);
    for (size_t number = 0; number < orphans.size(); ++number) {
        auto& [host, client] = orphans[number];
        host = std::make_unique<HostProcess>();
        client = std::make_unique<RawClient>(host->baseName());
        const bool all = number == 4;
        if (number == 1 || all) {
            ASSERT_EQ(client->startModel(3, 0), 3u);
            fillFrameRoad(*client);
        }
        if (number == 2) fillLogChannel(*client);
        if (number == 0 || all) fillEventChannel(*client);
        if (number == 3) {
            // The host itself never fills "LA" here; a client that pretends to does.
            const auto ladon = ipc::LadonChannel::openForWrite(host->baseName() + ipc::kLadonSuffix);
            while (ladon->write([](auto&) {}, 0)) {
            }
        }
    }
    const uint32_t start = platform::tickCount();
    for (auto& [host, client] : orphans) {
        const uint32_t passed = platform::tickCount() - start;
        EXPECT_TRUE(host->process().waitForExit(kLongestOrphanMs + kSlackMs - std::min(passed, kLongestOrphanMs)));
        EXPECT_EQ(host->exitCode(), 0);
    }
    for (auto& [host, client] : orphans) {
        client.reset();
        EXPECT_THAT(leftoverObjects(host->baseName()), IsEmpty());
    }
}

// Many pairs at once; in each, one side is killed at a random moment.
TEST(OrphanProcessTest, EitherSideMayBeKilledAtAnyMoment) {
    const uint32_t rounds = zeltest::repetitions("ZELHOST_KILL_ROUNDS", 50);
    constexpr uint32_t kPairs = 25;
    std::mt19937 random(4711);
    for (uint32_t round = 0; round < rounds; round += kPairs) {
        struct Pair {
            std::unique_ptr<HostProcess> host;
            std::unique_ptr<platform::Process> client;
        };
        std::vector<Pair> pairs;
        for (uint32_t number = 0; number < kPairs; ++number) {
            Pair pair;
            pair.host = std::make_unique<HostProcess>();
            pair.client = startClient(pair.host->baseName());
            ASSERT_TRUE(pair.client);
            pairs.push_back(std::move(pair));
        }
        for (auto& [host, client] : pairs) {
            platform::sleepMilliseconds(random() % 80);
            if (random() % 2) killAndReap(host->process());
            killAndReap(*client);
        }
        for (auto& [host, client] : pairs) {
            EXPECT_TRUE(host->process().waitForExit(kLongestOrphanMs + kSlackMs));
        }
        platform::sweepAbandonedObjects();
        for (auto& [host, client] : pairs) EXPECT_THAT(leftoverObjects(host->baseName()), IsEmpty());
    }
}

TEST(OrphanProcessTest, NextHostRemovesWhatTheKilledLeft) {
    if (!zeltest::objectsAreListed()) GTEST_SKIP() << "the system removes objects itself, and shows none";
    HostProcess dead;
    const auto client = startClient(dead.baseName());
    ASSERT_TRUE(client);
    // Each side opens all nine channels, of three objects each.
    const uint32_t start = platform::tickCount();
    while (leftoverObjects(dead.baseName()).size() < 27) {
        ASSERT_LT(platform::tickCount() - start, zeltest::kDeadlineMs);
        platform::sleepMilliseconds(1);
    }
    killAndReap(dead.process());
    killAndReap(*client);
    ASSERT_THAT(leftoverObjects(dead.baseName()), Not(IsEmpty()));

    HostProcess next;
    RawClient nextClient(next.baseName());
    nextClient.command(CommandCode::InitClient);
    ASSERT_TRUE(nextClient.event(EventCode::InitClientReply));
    EXPECT_THAT(leftoverObjects(dead.baseName()), IsEmpty());
    nextClient.command(CommandCode::Terminate);
    EXPECT_EQ(next.exitCode(), 0);
}

// Random bytes over everything that is shared: the host stands still, does not crash and ends on its own.
TEST(OrphanProcessTest, GarbageInTheMappingsLeavesAnOrderlyEnd) {
    HostProcess host;
    auto client = std::make_unique<RawClient>(host.baseName());
    client->command(CommandCode::InitClient);
    ASSERT_TRUE(client->event(EventCode::InitClientReply));
    std::mt19937 random(99);
    auto& objects = platform::kernelObjects();
    const auto scribble = [&](const char* suffix, size_t size) {
        const auto mapping = objects.openMapping((host.baseName() + suffix + "_shm").c_str(), size);
        ASSERT_TRUE(mapping);
        auto* bytes = static_cast<uint8_t*>(objects.mapView(mapping, size));
        for (size_t index = 0; index < std::min<size_t>(size, 4096); ++index)
            bytes[index] = static_cast<uint8_t>(random());
        objects.unmapView(bytes, size);
        objects.closeMapping(mapping);
    };
    scribble(ipc::kFrameSuffix, ipc::FrameChannel::kMappingBytes);
    scribble(ipc::kSharingSuffix, ipc::FrameChannel::kMappingBytes);
    scribble(ipc::kResultSuffix, ipc::FrameChannel::kMappingBytes);
    scribble(ipc::kEventSuffix, ipc::EventChannel::kMappingBytes);
    scribble(ipc::kCommandSuffix, ipc::CommandChannel::kMappingBytes);
    for (const char* suffix : {ipc::kFrameSuffix, ipc::kCommandSuffix}) {
        const auto event = objects.createEvent((host.baseName() + suffix + "_evt_fld").c_str());
        objects.setEvent(event);
        objects.closeEvent(event);
    }
    EXPECT_EQ(host.exitCode(), 0);
    client.reset();
    EXPECT_THAT(leftoverObjects(host.baseName()), IsEmpty());
}

}  // namespace
