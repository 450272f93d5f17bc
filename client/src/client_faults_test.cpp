// What a client makes of hosts that die, hang, fail or write nonsense.

#include "client/src/ClientFixture.h"

#include <cstdio>
#include <set>
#include <thread>

#include "ipc/channel_names.h"
#include "platform/include/clock.h"
#include "platform/include/kernel_objects.h"
#include "platform/include/process.h"
#include "platform/include/thread.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class ClientFaultsTest : public ClientFixture {
  protected:
    // At once, not when the time is over.
    bool toldThatNoneWillCome() {
        const uint64_t from = platform::monotonicMicroseconds();
        zelclient_result result{};
        return zelclient_wait(client, 2 * kDeadlineMs, &result) == ZELCLIENT_ERROR_FAILED &&
               platform::monotonicMicroseconds() - from < uint64_t{kDeadlineMs} * 1000;
    }
};

TEST_F(ClientFaultsTest, FailedFrameIsToldAndTheNextMaskIsItsOwn) {
    misbehave("fail-every=2");
    start();
    for (uint64_t tag = 1; tag <= 60; ++tag) {
        const Collected result = roundTrip(tag, static_cast<uint8_t>(tag));
        ASSERT_EQ(result.tag, tag);
        ASSERT_EQ(result.status, tag % 2 ? ZELCLIENT_MASK : ZELCLIENT_FRAME_FAILED);
        if (tag % 2) {
            ASSERT_THAT(result.mask, IsAMaskOf(static_cast<uint8_t>(tag)));
        }
    }
    EXPECT_EQ(info().hosts_started, 1u);
}

TEST_F(ClientFaultsTest, PairingHoldsWhenFramesPileUpAndFail) {
    collectResults();
    options.frames_in_flight = 4;
    misbehave("fail-run=100");
    start();
    constexpr uint64_t kFrames = 600;
    for (uint64_t tag = 0; tag < kFrames; ++tag) ASSERT_EQ(submit(tag, static_cast<uint8_t>(tag * 73)), ZELCLIENT_OK);
    ASSERT_TRUE(waitFor([&] { return results.size() == kFrames; }));
    uint64_t last = 0;
    for (const Collected& result : results) {
        const auto shade = static_cast<uint8_t>(result.tag * 73);
        if (result.status == ZELCLIENT_FRAME_REPLACED) continue;
        ASSERT_EQ(result.status, shade < 100 ? ZELCLIENT_FRAME_FAILED : ZELCLIENT_MASK);
        if (result.status == ZELCLIENT_MASK) {
            ASSERT_THAT(result.mask, IsAMaskOf(shade));
        }
        ASSERT_GE(result.tag, last);
        last = result.tag;
    }
}

TEST_F(ClientFaultsTest, FrameThatTheHostHasWhenItRefusesAModelGetsItsResult) {
    misbehave("refuse=1,slow-ms=300");
    options.model_type = ZELCLIENT_MODEL_IDLE;
    start();
    ASSERT_EQ(submitFaces(1, 1), ZELCLIENT_OK);
    ASSERT_EQ(zelclient_choose_model(client, ZELCLIENT_MODEL_SEGMENTATION_CPU, 0), ZELCLIENT_OK);
    EXPECT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_ERROR_FAILED);
    EXPECT_EQ(next().status, ZELCLIENT_BOXES);
    EXPECT_TRUE(toldThatNoneWillCome());
}

TEST_F(ClientFaultsTest, FrameWithoutAnAnswerThatTheHostHasWhenItRefusesAModelGetsItsResult) {
    misbehave("refuse=1,slow-ms=300,fail-every=1");
    options.model_type = ZELCLIENT_MODEL_IDLE;
    start();
    ASSERT_EQ(submitFaces(1, 1), ZELCLIENT_OK);
    ASSERT_EQ(zelclient_choose_model(client, ZELCLIENT_MODEL_SEGMENTATION_CPU, 0), ZELCLIENT_OK);
    EXPECT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_ERROR_FAILED);
    EXPECT_EQ(next().status, ZELCLIENT_FRAME_FAILED);
    EXPECT_TRUE(toldThatNoneWillCome());
}

class BadMaskTest : public ClientFixture, public testing::WithParamInterface<int> {};

TEST_P(BadMaskTest, MaskThatDoesNotFitItsFrameIsAFailedFrame) {
    misbehave("bad-mask=" + std::to_string(GetParam()));
    start();
    for (uint64_t tag = 1; tag <= 20; ++tag) {
        const Collected result = roundTrip(tag, 1);
        ASSERT_EQ(result.tag, tag);
        ASSERT_EQ(result.status, ZELCLIENT_FRAME_FAILED);
    }
    EXPECT_THAT(lastError(), HasSubstr("mask of"));
    EXPECT_NE(zelclient_get_state(client), ZELCLIENT_READY);
}

INSTANTIATE_TEST_SUITE_P(WidthSizeTooLargeSizeZero, BadMaskTest, testing::Values(1, 2, 3));

class BadLadonMaskTest : public BadMaskTest {};

TEST_P(BadLadonMaskTest, LadonMaskThatDoesNotFitItsFrameIsAFailedFrame) {
    misbehave("bad-mask=" + std::to_string(GetParam()));
    options.model_type = ZELCLIENT_MODEL_LADON_CPU;
    start();
    for (uint64_t tag = 1; tag <= 20; ++tag) {
        const Collected result = roundTrip(tag, 1);
        ASSERT_EQ(result.tag, tag);
        ASSERT_EQ(result.status, ZELCLIENT_FRAME_FAILED);
        ASSERT_FALSE(result.fromLadon);
    }
    EXPECT_THAT(lastError(), HasSubstr("mask of"));
}

INSTANTIATE_TEST_SUITE_P(SizeTooLargeSizeZero, BadLadonMaskTest, testing::Values(2, 3));

TEST_F(ClientFaultsTest, LadonAnswerWithoutNumbersStillHasItsMask) {
    misbehave("no-number=1");
    options.model_type = ZELCLIENT_MODEL_LADON_XNN_CPU;
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    ASSERT_EQ(submit(1, 9), ZELCLIENT_OK);
    zelclient_result result{};
    ASSERT_EQ(zelclient_wait(client, kDeadlineMs, &result), ZELCLIENT_OK);
    ASSERT_EQ(result.status, ZELCLIENT_MASK);
    ASSERT_NE(result.ladon, nullptr);
    EXPECT_EQ(result.ladon->gesture, -1);
    EXPECT_EQ(result.ladon->motion, 0.0f);
    EXPECT_EQ(result.ladon->face_count, 0u);
    EXPECT_EQ(result.ladon->lut, nullptr);
    EXPECT_EQ(result.ladon->lut_confidence, 0.0f);
}

class BadTextTest : public ClientFixture, public testing::WithParamInterface<int> {};

TEST_P(BadTextTest, TextThatMakesNoSenseIsAFailedFrame) {
    misbehave("bad-text=" + std::to_string(GetParam()));
    options.model_type = ZELCLIENT_MODEL_IDLE;
    start();
    for (uint64_t tag = 1; tag <= 6; ++tag) {
        ASSERT_EQ(submitFaces(tag, 1), ZELCLIENT_OK);
        const Collected result = next();
        ASSERT_EQ(result.tag, tag);
        ASSERT_EQ(result.status, ZELCLIENT_FRAME_FAILED);
        ASSERT_THAT(result.boxes, IsEmpty());
    }
    EXPECT_THAT(lastError(), HasSubstr("the host answered a frame of 160x90 with"));
    for (uint64_t tag = 1; tag <= 3; ++tag) {
        ASSERT_EQ(submitContent(tag, 1), ZELCLIENT_OK);
        ASSERT_EQ(next().status, tag == 3 ? ZELCLIENT_FRAME_FAILED : ZELCLIENT_NO_RESULT);
    }
    EXPECT_THAT(lastError(), HasSubstr("512x300"));
}

INSTANTIATE_TEST_SUITE_P(CutShortSizeTooLargeNulSizeZero, BadTextTest, testing::Values(1, 2, 3, 4));

class FailedKindTest : public ClientFixture, public testing::WithParamInterface<std::pair<uint32_t, zelclient_kind>> {};

// By model type and kind of frame.
TEST_P(FailedKindTest, FrameWithoutAnAnswerIsToldAndTheNextAnswerIsItsOwn) {
    misbehave("fail-every=2");
    options.model_type = GetParam().first;
    start();
    for (uint64_t tag = 1; tag <= 30; ++tag) {
        ASSERT_EQ(submit(tag, static_cast<uint8_t>(tag), 160, 90, GetParam().second), ZELCLIENT_OK);
        const Collected result = next();
        ASSERT_EQ(result.tag, tag);
        ASSERT_EQ(result.status == ZELCLIENT_FRAME_FAILED, tag % 2 == 0);
        if (result.status == ZELCLIENT_BOXES) {
            ASSERT_EQ(result.boxes[0].rect.left, static_cast<float>(tag));
        }
        if (result.status == ZELCLIENT_MASK) {
            ASSERT_THAT(result.mask, IsAMaskOf(static_cast<uint8_t>(tag)));
        }
    }
    EXPECT_EQ(info().frames_failed, 15u);
    EXPECT_THAT(lastError(), HasSubstr("no answer to a frame of 160x90"));
}

INSTANTIATE_TEST_SUITE_P(FacesContentLadon, FailedKindTest,
                         testing::Values(std::pair(ZELCLIENT_MODEL_IDLE, ZELCLIENT_KIND_FACES),
                                         std::pair(ZELCLIENT_MODEL_IDLE, ZELCLIENT_KIND_CONTENT),
                                         std::pair(ZELCLIENT_MODEL_LADON_CPU, ZELCLIENT_KIND_MODEL)));

TEST_F(ClientFaultsTest, MasksThatNobodyAskedForAreNoAnswerToAFrameForFaces) {
    misbehave("stray=10,fail-every=1");
    options.model_type = ZELCLIENT_MODEL_IDLE;
    start();
    ASSERT_EQ(submitFaces(1, 1), ZELCLIENT_OK);
    EXPECT_EQ(next().status, ZELCLIENT_FRAME_FAILED);
}

TEST_F(ClientFaultsTest, MasksThatNobodyAskedForAreDropped) {
    misbehave("stray=10");
    start();
    for (uint64_t tag = 1; tag <= 5; ++tag) {
        const Collected result = roundTrip(tag, static_cast<uint8_t>(tag));
        ASSERT_EQ(result.status, ZELCLIENT_MASK);
        EXPECT_THAT(result.mask, IsAMaskOf(tag));
    }
}

TEST_F(ClientFaultsTest, SubmitNeverWaitsForAHostThatHangs) {
    misbehave("hang-at=1");
    options.stop_timeout_ms = 100;
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    for (uint64_t tag = 1; tag <= 500; ++tag) ASSERT_EQ(submit(tag, 1), ZELCLIENT_OK);
    EXPECT_EQ(info().frames_replaced, 498u);
    EXPECT_EQ(info().masks, 0u);
    EXPECT_EQ(zelclient_get_state(client), ZELCLIENT_WARMING);
}

TEST_F(ClientFaultsTest, DeadHostIsToldReplacedAndItsFrameLost) {
    misbehave("die-at=3", true);
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    EXPECT_EQ(roundTrip(2, 2).status, ZELCLIENT_MASK);
    const Collected lost = roundTrip(3, 3);
    EXPECT_EQ(lost.tag, 3u);
    EXPECT_EQ(lost.status, ZELCLIENT_FRAME_LOST);
    EXPECT_THAT(lastError(), AllOf(HasSubstr("ended with code 9"), Not(HasSubstr("it left"))));
    EXPECT_NE(zelclient_get_state(client), ZELCLIENT_READY);
    const Collected served = roundTrip(4, 4);
    EXPECT_EQ(served.status, ZELCLIENT_MASK);
    EXPECT_THAT(served.mask, IsAMaskOf(4));
    EXPECT_EQ(info().hosts_started, 2u);
    std::lock_guard lock(mutex);
    EXPECT_EQ(std::count(states.begin(), states.end(), ZELCLIENT_STARTING), 1);
}

TEST_F(ClientFaultsTest, ReportAndDumpOfADeadHostAreNamed) {
    misbehave("die-at=1,leave=3", true);
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_FRAME_LOST);
    const std::vector<std::string> files = crashFiles();
    ASSERT_THAT(files, SizeIs(2));
    EXPECT_THAT(lastError(),
                HasSubstr("ended with code 9; it left the report " + files[1] + " and the dump " + files[0]));
    EXPECT_EQ(roundTrip(2, 2).status, ZELCLIENT_MASK);
}

TEST_F(ClientFaultsTest, DumpAloneIsNamed) {
    misbehave("die-after=1,leave=2");
    options.restarts_per_minute = 0;
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    EXPECT_TRUE(waitForState(ZELCLIENT_FAILED));
    ASSERT_THAT(crashFiles(), SizeIs(1));
    EXPECT_THAT(lastError(), HasSubstr("ended with code 9; it left the dump " + crashFiles()[0] + "; giving up"));
}

TEST_F(ClientFaultsTest, OfSeveralDeadHostsTheLastOnesReportIsNamed) {
    misbehave("quit=5,leave=1");
    options.restarts_per_minute = 2;
    start();
    EXPECT_TRUE(waitForState(ZELCLIENT_FAILED));
    ASSERT_THAT(crashFiles(), SizeIs(3));
    int last = 0;
    ASSERT_EQ(std::sscanf(lastError().c_str(), "host process %d ended with code 5; it left the report ", &last), 1);
    EXPECT_THAT(lastError(), HasSubstr("_" + std::to_string(last) + ".txt; giving up"));
}

TEST_F(ClientFaultsTest, KilledHostIsToldAndReplaced) {
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    ASSERT_TRUE(waitForState(ZELCLIENT_READY));
    const uint64_t killed = platform::monotonicMicroseconds();
    ASSERT_TRUE(platform::killProcess(info().host_pid));
    ASSERT_TRUE(waitFor([&] { return std::count(states.begin(), states.end(), ZELCLIENT_STARTING) == 1; }));
    const uint64_t told = platform::monotonicMicroseconds();
    EXPECT_EQ(roundTrip(2, 2).status, ZELCLIENT_MASK);
    const uint64_t served = platform::monotonicMicroseconds();
    RecordProperty("microseconds_until_told", std::to_string(told - killed));
    RecordProperty("microseconds_until_served", std::to_string(served - killed));
    EXPECT_EQ(info().frames_lost, 0u);
}

TEST_F(ClientFaultsTest, EachHostHasNamesOfItsOwn) {
    misbehave("die-after=2");
    start();
    for (uint64_t tag = 1; info().hosts_started < 4; ++tag) roundTrip(tag, 1);
    ASSERT_TRUE(waitForLines("mid ", 4));
    const std::vector<std::string> names = lines("mid ");
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
}

TEST_F(ClientFaultsTest, MaskThatADyingHostWroteIsDelivered) {
    misbehave("die-after=1", true);
    start();
    EXPECT_THAT(roundTrip(1, 8).mask, IsAMaskOf(8));
}

TEST_F(ClientFaultsTest, WaitingFrameGoesToTheNextHost) {
    misbehave("die-at=1", true);
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    ASSERT_EQ(submit(1, 1), ZELCLIENT_OK);
    ASSERT_EQ(submit(2, 2), ZELCLIENT_OK);
    EXPECT_EQ(next().status, ZELCLIENT_FRAME_LOST);
    const Collected second = next();
    EXPECT_EQ(second.tag, 2u);
    EXPECT_THAT(second.mask, IsAMaskOf(2));
}

TEST_F(ClientFaultsTest, NewHostGetsTheModelAndTheOption) {
    misbehave("die-at=1", true);
    options.auto_skip = 0;
    start();
    ASSERT_EQ(zelclient_choose_model(client, 2, 1), ZELCLIENT_OK);
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_FRAME_LOST);
    EXPECT_EQ(roundTrip(2, 2).status, ZELCLIENT_MASK);
    EXPECT_EQ(info().model_type, 2u);
    // The second host says these in this order; the first may have died before it said anything.
    EXPECT_TRUE(waitFor([&] {
        const auto second =
            std::find_if(log.rbegin(), log.rend(), [](auto& line) { return line.rfind("mid ", 0) == 0; });
        const auto model = std::find(second.base(), log.end(), "model 2 1");
        return std::find(model, log.end(), "option 0 = 0") != log.end();
    }));
}

TEST_F(ClientFaultsTest, DeafHostIsReplaced) {
    misbehave("deaf=1", true);
    options.hang_timeout_ms = 500;
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    EXPECT_EQ(info().hosts_started, 2u);
    EXPECT_THAT(lastError(), HasSubstr("no sign of life"));
}

TEST_F(ClientFaultsTest, HostThatHangsInAFrameIsReplaced) {
    misbehave("hang-at=1,beat-ms=50", true);
    options.hang_timeout_ms = 500;
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_FRAME_LOST);
    EXPECT_THAT(lastError(), HasSubstr("did not finish a frame"));
    EXPECT_EQ(roundTrip(2, 2).status, ZELCLIENT_MASK);
}

TEST_F(ClientFaultsTest, HostThatDoesNotGreetServesAllTheSame) {
    misbehave("mute=1");
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    EXPECT_EQ(zelclient_get_state(client), ZELCLIENT_READY);
}

TEST_F(ClientFaultsTest, HostThatNeverLivesEndsInFailed) {
    misbehave("quit=5");
    options.restarts_per_minute = 3;
    start();
    submit(1, 1);
    EXPECT_TRUE(waitForState(ZELCLIENT_FAILED));
    EXPECT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_ERROR_FAILED);
    EXPECT_THAT(lastError(), HasSubstr("ended with code 5"));
    EXPECT_EQ(submit(2, 2), ZELCLIENT_ERROR_FAILED);
    EXPECT_EQ(zelclient_choose_model(client, 3, 0), ZELCLIENT_ERROR_FAILED);
    EXPECT_EQ(info().hosts_started, 4u);
    EXPECT_EQ(info().host_pid, 0);
    EXPECT_EQ(next().status, ZELCLIENT_FRAME_LOST);
    zelclient_result result{};
    EXPECT_EQ(zelclient_wait(client, kDeadlineMs, &result), ZELCLIENT_ERROR_FAILED);
}

TEST_F(ClientFaultsTest, HostAfterOneThatRefusedTheModelIsWaitedFor) {
    misbehave("refuse=1", true);
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_ERROR_FAILED);
    ASSERT_TRUE(platform::killProcess(info().host_pid));
    ASSERT_TRUE(waitFor([&] { return std::count(states.begin(), states.end(), ZELCLIENT_STARTING) == 1; }));
    EXPECT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    EXPECT_THAT(roundTrip(1, 8).mask, IsAMaskOf(8));
}

class NoHostTest : public ClientFixture {
  protected:
    NoHostTest() : mCollect(options.on_state) {
        options.on_state = [](void* user, zelclient_state state) {
            auto* self = static_cast<NoHostTest*>(static_cast<ClientFixture*>(user));
            if (state == ZELCLIENT_STARTING) self->model = zelclient_wait_model(self->client, 0);
            self->mCollect(user, state);
        };
    }

    ~NoHostTest() override { stop(); }  // before what its callback uses is gone

    zelclient_error model = ZELCLIENT_OK;  // as a client without a host tells it

  private:
    const zelclient_on_state mCollect;
};

TEST_F(NoHostTest, NoModelIsInForce) {
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    ASSERT_TRUE(platform::killProcess(info().host_pid));
    ASSERT_TRUE(waitFor([&] { return std::count(states.begin(), states.end(), ZELCLIENT_STARTING) == 1; }));
    EXPECT_EQ(model, ZELCLIENT_TIMEOUT);
}

TEST_F(ClientFaultsTest, NoRestartsMeansFailedAtTheFirstEnd) {
    misbehave("die-at=1");
    options.restarts_per_minute = 0;
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_FRAME_LOST);
    EXPECT_TRUE(waitForState(ZELCLIENT_FAILED));
    EXPECT_EQ(info().hosts_started, 1u);
}

TEST_F(ClientFaultsTest, GarbageOnEventsAndLogChangesNothing) {
    misbehave("garbage=1");
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    EXPECT_EQ(info().hosts_started, 1u);
    EXPECT_STREQ(info().model_name, "mmmmm");
}

TEST_F(ClientFaultsTest, DamagedChannelLeadsToANewHost) {
    misbehave("scribble-at=2", true);
    options.hang_timeout_ms = 2000;
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    EXPECT_NE(roundTrip(2, 2).status, ZELCLIENT_MASK);
    for (uint64_t tag = 3; info().hosts_started < 2; ++tag) roundTrip(tag, static_cast<uint8_t>(tag));
    EXPECT_THAT(roundTrip(1000, 77).mask, IsAMaskOf(77));
}

// The objects of a host that still lived would be found.
bool objectsExist(const std::string& mid) {
    const std::string base = ipc::channelBaseName(std::to_string(platform::currentProcessId()), mid);
    const std::string name = base + ipc::kEventSuffix + "_shm";
    platform::Handle mapping = platform::kernelObjects().openMapping(name.c_str(), ipc::EventChannel::kMappingBytes);
    if (mapping) platform::kernelObjects().closeMapping(mapping);
    return mapping != nullptr;
}

TEST_F(ClientFaultsTest, HostThatDoesNotEndIsKilledOnStop) {
    misbehave("ignore-terminate=1");
    options.stop_timeout_ms = 200;
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    ASSERT_TRUE(waitForLines("mid ", 1));
    const std::string mid = lines("mid ").at(0).substr(4);
    EXPECT_TRUE(objectsExist(mid));
    stop();
    EXPECT_FALSE(objectsExist(mid));
    EXPECT_THAT(leftovers(), IsEmpty());
}

TEST_F(ClientFaultsTest, DeafHostIsKilledOnStop) {
    misbehave("deaf=1");
    options.stop_timeout_ms = 200;
    start();
    stop();
    EXPECT_THAT(leftovers(), IsEmpty());
}

TEST_F(ClientFaultsTest, ClientIsStoppedWhileHostsKeepDying) {
    misbehave("quit=5");
    options.restarts_per_minute = 1000;
    start();
    while (info().hosts_started < 3) std::this_thread::yield();
    stop();
    EXPECT_THAT(leftovers(), IsEmpty());
}

TEST_F(ClientFaultsTest, DeadHostsLeaveNothingBehind) {
    misbehave("die-after=2");
    options.restarts_per_minute = 5;
    start();
    for (uint64_t tag = 1; submit(tag, 1) == ZELCLIENT_OK; ++tag) {
        zelclient_result result{};
        if (zelclient_wait(client, kDeadlineMs, &result) != ZELCLIENT_OK) break;
    }
    EXPECT_TRUE(waitForState(ZELCLIENT_FAILED));
    EXPECT_THAT(leftovers(), IsEmpty());
}

}  // namespace
