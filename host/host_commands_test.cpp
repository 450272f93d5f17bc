#include <gmock/gmock.h>

#include <cstring>

#include "host/HostFixture.h"
#include "platform/include/thread.h"

namespace {

using HostCommandsTest = HostTest;
using ipc::CommandCode;
using ipc::EventCode;

std::string addressTail(const void* object) {
    char tail[64];
    snprintf(tail, sizeof tail, " [this=0x%016llx]",
             static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(object)));
    return tail;
}

TEST_F(HostCommandsTest, InitClientIsAnsweredWithTheHostsProcessId) {
    serve();
    mClient->command([](ipc::Command& command) {
        const uint32_t pid = 4711;
        std::memcpy(command.text, &pid, sizeof pid);
    });
    const auto reply = mClient->event(EventCode::InitClientReply);
    ASSERT_TRUE(reply);
    uint32_t words[5];
    std::memcpy(words, reply->text, sizeof words);
    EXPECT_THAT(words, testing::ElementsAre(1u, 0u, 0u, static_cast<uint32_t>(platform::currentProcessId()), 1u));
    EXPECT_TRUE(traced(2, "zelipc>> ZelMLHost::onIpcCommand, InitClient, pid=4711"));
}

TEST_F(HostCommandsTest, FiniClientIsOnlyLogged) {
    serve();
    mClient->command(CommandCode::FiniClient);
    settle();
    EXPECT_TRUE(traced(2, "ZelMLHost::onIpcCommand, FiniClient"));
}

TEST_F(HostCommandsTest, SetModelPathOfAnyKindIsLogged) {
    serve();
    for (const int32_t kind : {0, 1, 2}) {
        mClient->command([kind](ipc::Command& command) {
            command.code = static_cast<uint32_t>(CommandCode::SetModelPath);
            const std::string path = "/models/" + std::to_string(kind);
            std::memcpy(command.text, path.c_str(), path.size() + 1);
            command.pathKind = kind;
        });
    }
    settle();
    for (const char* kind : {"0", "1", "2"})
        EXPECT_TRUE(traced(2, std::string(" zelipc>> ZelMLHost::onIpcCommand, SetModelPath received, modelpath = "
                                          "/models/") +
                                  kind));
}

TEST_F(HostCommandsTest, PathWithoutTerminatorIsBounded) {
    serve();
    mClient->command([](ipc::Command& command) {
        command.code = static_cast<uint32_t>(CommandCode::SetModelPath);
        std::memset(command.text, 'x', sizeof command.text);
        command.pathKind = 0x78787878;
    });
    settle();
    EXPECT_TRUE(
        traced(2, " zelipc>> ZelMLHost::onIpcCommand, SetModelPath received, modelpath = " + std::string(256, 'x')));
}

TEST_F(HostCommandsTest, SetOptionLogsNumberZeroAndIgnoresOthers) {
    serve();
    mClient->command([](ipc::Command& command) {
        command.code = static_cast<uint32_t>(CommandCode::SetOption);
        command.text[0] = 1;
    });
    mClient->command(CommandCode::SetOption, 7);
    settle();
    EXPECT_TRUE(traced(2, "zelipc:setOption start" + addressTail(mHost.get())));
    EXPECT_TRUE(traced(2, "zelipc:setOption AutoSkipVBG: 1" + addressTail(mHost.get())));
    int values = 0;
    for (const auto& line : mTrace.lines()) values += line.text.find("AutoSkipVBG") != std::string::npos;
    EXPECT_EQ(values, 1);
}

TEST_F(HostCommandsTest, SwitchEngineIsLoggedAndChangesNothing) {
    serve();
    mClient->command(CommandCode::SwitchEngine, 3, 1);
    settle();
    EXPECT_TRUE(traced(2, "zelipc>> ZelMLHost::onIpcCommand, SwitchEngine received, engine = 3, device = 1"));
    EXPECT_FALSE(mTrace.contains("setModelType"));
}

TEST_F(HostCommandsTest, HeartBeatAckAndUnknownCodesAreSilent) {
    serve();
    settle();
    mTrace.takeLines();
    mClient->command(CommandCode::HeartBeatAck);
    mClient->command([](ipc::Command& command) { command.code = 8; });
    mClient->command([](ipc::Command& command) { command.code = 0xFFFFFFFFu; });
    settle();
    EXPECT_THAT(mTrace.lines(), testing::SizeIs(1));  // the InitClient of settle itself
}

TEST_F(HostCommandsTest, TerminateLeavesQueuedCommandsUnread) {
    mClient->command(CommandCode::Terminate);
    mClient->command(CommandCode::FiniClient);
    mHost->run();
    EXPECT_TRUE(traced(2, "ZelMLHost::onIpcCommand, Terminate received"));
    EXPECT_FALSE(mTrace.contains("FiniClient"));
    EXPECT_EQ(mClient->event(0).has_value(), false);
}

TEST_F(HostCommandsTest, TeardownRunsAgainWithoutHarm) {
    serve();
    terminate();
    mHost->teardown();
    mHost->teardown();
    int releases = 0;
    for (const auto& line : mTrace.lines()) releases += line.text == "zelipc>>ZelMLHost::release";
    EXPECT_EQ(releases, 1);
}

}  // namespace
