// What a client gives on a host that does as it should.

#include "client/src/ClientFixture.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "client/src/Client.h"
#include "client/src/HostSession.h"
#include "client/src/LargeBlocks.h"
#include "platform/include/clock.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "platform/include/thread.h"
#include "platform/test_support.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using ClientTest = ClientFixture;

TEST_F(ClientTest, MaskComesBackWithItsFramesTag) {
    start();
    for (uint64_t tag = 1; tag <= 20; ++tag) {
        const Collected result = roundTrip(tag << 40, static_cast<uint8_t>(tag));
        EXPECT_EQ(result.tag, tag << 40);
        EXPECT_EQ(result.status, ZELCLIENT_MASK);
        ASSERT_EQ(result.mask.size(), size_t{kWidth} * kHeight);
        EXPECT_THAT(result.mask, IsAMaskOf(static_cast<uint8_t>(tag)));
    }
    EXPECT_EQ(info().masks, 20u);
}

TEST_F(ClientTest, RowsFollowTheStride) {
    start();
    std::vector<uint8_t> pixels(size_t{2} * 100, 0xEE);
    const uint8_t rows[2][6] = {{1, 0, 0, 2, 0, 0}, {3, 0, 0, 4, 0, 0}};
    std::copy(rows[0], rows[0] + 6, pixels.begin());
    std::copy(rows[1], rows[1] + 6, pixels.begin() + 100);
    for (int round = 0; round < 2; ++round) {
        const zelclient_frame frame = {2, 2, 100, pixels.data(), 0, ZELCLIENT_KIND_MODEL};
        ASSERT_EQ(zelclient_submit(client, &frame), ZELCLIENT_OK);
        EXPECT_THAT(next().mask, ElementsAre(1, 2, 3, 4));
    }
}

TEST_F(ClientTest, FacesComeAsBoxesWithTheirFramesTag) {
    misbehave("boxes=2");
    options.model_type = ZELCLIENT_MODEL_IDLE;
    start();
    for (uint64_t tag = 1; tag <= 20; ++tag) {
        ASSERT_EQ(submitFaces(tag, static_cast<uint8_t>(tag)), ZELCLIENT_OK);
        const Collected result = next();
        ASSERT_EQ(result.tag, tag);
        ASSERT_EQ(result.status, ZELCLIENT_BOXES);
        const auto left = static_cast<float>(tag);
        EXPECT_THAT(result.boxes, ElementsAre(IsBox(left, 20, left + 30, 60), IsBox(left + 20, 20, left + 50, 60)));
    }
    EXPECT_EQ(info().box_results, 20u);
    EXPECT_NE(zelclient_get_state(client), ZELCLIENT_READY);
}

TEST_F(ClientTest, FrameWithoutAFaceHasNoBoxes) {
    misbehave("boxes=0");
    options.model_type = ZELCLIENT_MODEL_IDLE;
    start();
    ASSERT_EQ(submitFaces(1, 1), ZELCLIENT_OK);
    zelclient_result result{};
    ASSERT_EQ(zelclient_wait(client, kDeadlineMs, &result), ZELCLIENT_OK);
    EXPECT_EQ(result.status, ZELCLIENT_BOXES);
    EXPECT_EQ(result.kind, ZELCLIENT_KIND_FACES);
    EXPECT_EQ(result.boxes, nullptr);
    EXPECT_EQ(result.box_count, 0u);
    EXPECT_EQ(result.mask, nullptr);
}

TEST_F(ClientTest, EachThirdContentFrameHasAResult) {
    options.model_type = ZELCLIENT_MODEL_IDLE;
    start();
    for (uint64_t tag = 1; tag <= 9; ++tag) {
        ASSERT_EQ(submitContent(tag, static_cast<uint8_t>(tag)), ZELCLIENT_OK);
        const Collected result = next();
        ASSERT_EQ(result.tag, tag);
        ASSERT_EQ(result.status, tag % 3 ? ZELCLIENT_NO_RESULT : ZELCLIENT_BOXES);
        if (tag % 3) continue;
        EXPECT_THAT(result.boxes, ElementsAre(IsBox(static_cast<float>(tag), 20, 230, 240)));
        EXPECT_FLOAT_EQ(result.boxes[0].score, 0.912345f);
        EXPECT_EQ(result.boxes[0].class_id, 2);
    }
    EXPECT_EQ(info().box_results, 3u);
    EXPECT_EQ(info().frames_without_result, 6u);
}

TEST_F(ClientTest, GreyRowsFollowTheStride) {
    options.model_type = ZELCLIENT_MODEL_IDLE;
    start();
    std::vector<uint8_t> pixels(200, 0xEE);
    pixels[100] = 7;
    for (int round = 0; round < 3; ++round) {
        // The second row alone, as a frame of its own.
        const zelclient_frame frame = {100, 1, 100, pixels.data() + 100, 0, ZELCLIENT_KIND_CONTENT};
        ASSERT_EQ(zelclient_submit(client, &frame), ZELCLIENT_OK);
        const Collected result = next();
        if (round == 2) {
            EXPECT_THAT(result.boxes, ElementsAre(IsBox(7, 20, 230, 240)));
        }
    }
}

TEST_F(ClientTest, LadonModelGivesAMaskAndTheRest) {
    options.model_type = ZELCLIENT_MODEL_LADON_CPU;
    start();
    ASSERT_EQ(submit(1, 5), ZELCLIENT_OK);
    zelclient_result result{};
    ASSERT_EQ(zelclient_wait(client, kDeadlineMs, &result), ZELCLIENT_OK);
    ASSERT_EQ(result.status, ZELCLIENT_MASK);
    EXPECT_THAT(std::vector<uint8_t>(result.mask, result.mask + kWidth * kHeight), IsAMaskOf(5));
    ASSERT_NE(result.ladon, nullptr);
    EXPECT_EQ(result.ladon->gesture, 5);
    EXPECT_EQ(result.ladon->gesture_scores[5], 0.875f);
    EXPECT_EQ(result.ladon->motion, 0.25f);
    EXPECT_EQ(result.ladon->skip_run, 3u);
    ASSERT_EQ(result.ladon->face_count, 2u);
    const zelclient_face& face = result.ladon->faces[0];
    EXPECT_EQ(face.score, 0.9f);
    EXPECT_EQ(face.rect.left, 0.25f * kWidth);
    EXPECT_EQ(face.rect.bottom, 0.5f * kHeight);
    ASSERT_NE(face.points, nullptr);
    EXPECT_EQ(face.points[ZELCLIENT_FACE_POINTS - 1].y, 0.5f * kHeight);
    EXPECT_EQ(face.points[ZELCLIENT_FACE_POINTS - 1].z, -0.125f * kWidth);
    EXPECT_EQ(result.ladon->faces[1].points, nullptr);
    EXPECT_EQ(result.ladon->lut, nullptr);
    EXPECT_EQ(zelclient_get_state(client), ZELCLIENT_READY);
}

TEST_F(ClientTest, TableComesWithTheModelsThatHaveOne) {
    options.model_type = ZELCLIENT_MODEL_LADON_XNN_CPU;
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    ASSERT_EQ(submit(1, 5), ZELCLIENT_OK);
    zelclient_result result{};
    ASSERT_EQ(zelclient_wait(client, kDeadlineMs, &result), ZELCLIENT_OK);
    ASSERT_NE(result.ladon, nullptr);
    ASSERT_NE(result.ladon->lut, nullptr);
    EXPECT_EQ(result.ladon->lut[3 * 33 * 33 * 33 - 1], 0.5f);
    EXPECT_EQ(result.ladon->lut_vertices[98], 0.25f);
    EXPECT_EQ(result.ladon->lut_confidence, 0.75f);
}

TEST_F(ClientTest, NoFrameFailsWhileTheModelChangesBetweenMaskAndLadon) {
    misbehave("load-ms=20,late-ms=20");
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    uint64_t tag = 0;
    for (const uint32_t type : {7u, 3u, 9u, 2u}) {
        ASSERT_EQ(zelclient_choose_model(client, type, 0), ZELCLIENT_OK);
        for (bool settled = false; !settled; settled = info().model_type == type) {
            ++tag;
            const Collected result = roundTrip(tag, static_cast<uint8_t>(tag));
            ASSERT_EQ(result.status, ZELCLIENT_MASK);
            ASSERT_THAT(result.mask, IsAMaskOf(static_cast<uint8_t>(tag)));
        }
        ++tag;
        EXPECT_EQ(roundTrip(tag, 1).fromLadon, type >= 7);
    }
    EXPECT_EQ(info().masks, tag);
}

TEST_F(ClientTest, ModuleGetsBlueGreenRedAndAFourthByte) {
    options.model_type = ZELCLIENT_MODEL_MODULE;
    start();
    std::vector<uint8_t> pixels(size_t{2} * 100, 0xEE);
    const uint8_t rows[2][6] = {{1, 60, 61, 2, 62, 63}, {3, 64, 65, 4, 66, 67}};
    std::copy(rows[0], rows[0] + 6, pixels.begin());
    std::copy(rows[1], rows[1] + 6, pixels.begin() + 100);
    for (int round = 0; round < 2; ++round) {
        const zelclient_frame frame = {2, 2, 100, pixels.data(), 0, ZELCLIENT_KIND_MODEL};
        ASSERT_EQ(zelclient_submit(client, &frame), ZELCLIENT_OK);
        EXPECT_THAT(next().mask, ElementsAre(1, 2, 3, 4));
    }
    const client::FrameView view{ipc::FrameKind::Model, 2, 2, 100, pixels.data()};
    std::vector<uint8_t> sent(view.bytes(client::PixelLayout::Bgra));
    view.copyTo(sent.data(), client::PixelLayout::Bgra);
    EXPECT_THAT(sent, ElementsAre(61, 60, 1, 255, 63, 62, 2, 255, 65, 64, 3, 255, 67, 66, 4, 255));
}

TEST_F(ClientTest, FrameThatIsTooLargeForTheModuleFails) {
    options.model_type = ZELCLIENT_MODEL_MODULE;
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    ASSERT_EQ(submit(1, 7, 640, 361), ZELCLIENT_OK);
    EXPECT_EQ(next().status, ZELCLIENT_FRAME_FAILED);
    EXPECT_THAT(lastError(), HasSubstr("at most 230400 pixels, not 640x361"));
    ASSERT_EQ(submit(2, 8, 640, 360), ZELCLIENT_OK);
    EXPECT_THAT(next().mask, IsAMaskOf(8));
    ASSERT_EQ(submit(3, 9, 640, 361), ZELCLIENT_OK);
    ASSERT_EQ(submit(4, 9), ZELCLIENT_OK);
    EXPECT_EQ(next().tag, 3u);
    EXPECT_THAT(next().mask, IsAMaskOf(9));
}

TEST_F(ClientTest, NoFrameIsReadInTheWrongLayoutWhileTheModelChangesToTheModuleAndBack) {
    misbehave("load-ms=20,late-ms=20");
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    uint8_t shade = 0;
    const std::vector<std::vector<uint32_t>> kChanges = {{1}, {3}, {1, 3}, {1}, {7}, {1}, {0, 3}, {2, 1}, {3, 2}};
    for (const std::vector<uint32_t>& types : kChanges) {
        for (const uint32_t type : types) ASSERT_EQ(zelclient_choose_model(client, type, 0), ZELCLIENT_OK);
        do {
            shade = static_cast<uint8_t>(shade % 250 + 1);
            ASSERT_THAT(roundTrip(shade, shade).mask, IsAMaskOf(shade)) << types.back();
        } while (zelclient_wait_model(client, 0) != ZELCLIENT_OK);
    }
}

TEST_F(ClientTest, FrameThatTheHostHasIsNotOvertakenByTheModule) {
    misbehave("slow-ms=100");
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    for (const uint32_t type : {ZELCLIENT_MODEL_MODULE, ZELCLIENT_MODEL_SEGMENTATION_CPU}) {
        ASSERT_EQ(submit(1, 9), ZELCLIENT_OK);
        ASSERT_EQ(zelclient_choose_model(client, type, 0), ZELCLIENT_OK);
        EXPECT_THAT(next().mask, IsAMaskOf(9)) << type;
        ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    }
}

TEST_F(ClientTest, FrameThatTheHostHasIsAnsweredByTheModelThatOvertakesIt) {
    misbehave("slow-ms=200");
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    ASSERT_EQ(submit(1, 9), ZELCLIENT_OK);
    ASSERT_EQ(zelclient_choose_model(client, ZELCLIENT_MODEL_LADON_XNN_CPU, 0), ZELCLIENT_OK);
    const Collected result = next();
    EXPECT_THAT(result.mask, IsAMaskOf(9));
    EXPECT_TRUE(result.fromLadon);
}

TEST_F(ClientTest, KindsOfFramesMayBeMixed) {
    start();
    for (uint64_t tag = 1; tag <= 30; tag += 3) {
        EXPECT_THAT(roundTrip(tag, static_cast<uint8_t>(tag)).mask, IsAMaskOf(static_cast<uint8_t>(tag)));
        ASSERT_EQ(submitFaces(tag + 1, static_cast<uint8_t>(tag + 1)), ZELCLIENT_OK);
        const auto left = static_cast<float>(tag + 1);
        EXPECT_THAT(next().boxes, ElementsAre(IsBox(left, 20, left + 30, 60)));
        ASSERT_EQ(submitContent(tag + 2, 1), ZELCLIENT_OK);
        EXPECT_EQ(next().tag, tag + 2);
    }
}

// Submits a frame whose mask is large, as number 1 and tag 1; for tests that hold back what reads it.
class LargeMaskTest : public ClientFixture {
  protected:
    static constexpr size_t kMaskBytes = size_t{640} * 480;

    LargeMaskTest() : mPixels(3 * kMaskBytes, 9) { misbehave("beat-ms=50"); }

    void submitLarge() {
        const zelclient_frame frame = {640, 480, 0, mPixels.data(), 1, ZELCLIENT_KIND_MODEL};
        ASSERT_EQ(zelclient_submit(client, &frame), ZELCLIENT_OK);
    }
    // Until the host has heard of so many more beats.
    bool waitForBeats(size_t count) { return waitForLines("acknowledged", lines("acknowledged").size() + count); }

  private:
    const std::vector<uint8_t> mPixels;
};

TEST_F(LargeMaskTest, IsNotOvertakenByTheNextFramesAnswer) {
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    LargeBlocksWait held(kMaskBytes);
    submitLarge();
    ASSERT_TRUE(held.someoneWaits());
    ASSERT_EQ(submitFaces(2, 2), ZELCLIENT_OK);
    ASSERT_TRUE(waitForBeats(6));
    held.end();
    EXPECT_EQ(next().tag, 1u);
    EXPECT_EQ(next().tag, 2u);
}

TEST_F(LargeMaskTest, ThatIsBeingReadDoesNotCountAsMissing) {
    client::Settings settings;
    settings.host.program = options.host_program;
    settings.host.environment = {{"ZELFAKE", ""}};
    client::Client direct(settings);
    client::SessionEvents& events = direct;
    std::string why;
    ASSERT_EQ(direct.start(&why), ZELCLIENT_OK) << why;
    ASSERT_EQ(direct.waitModel(kDeadlineMs), ZELCLIENT_OK);
    const std::vector<uint8_t> pixels(3 * kMaskBytes, 9);
    LargeBlocksWait held(kMaskBytes);
    ASSERT_EQ(direct.submit({ipc::FrameKind::Model, 640, 480, 640 * 3, pixels.data()}, 1), ZELCLIENT_OK);
    ASSERT_TRUE(held.someoneWaits());
    events.onNoAnswer(client::kOnMasks, 1);
    events.onNoAnswer(client::kOnLadon, 1);
    held.end();
    zelclient_result result{};
    ASSERT_EQ(direct.poll(kDeadlineMs, result), ZELCLIENT_OK);
    EXPECT_EQ(result.status, ZELCLIENT_MASK);
    EXPECT_EQ(direct.poll(0, result), ZELCLIENT_TIMEOUT);
}

TEST_F(LargeMaskTest, ThatIsBeingReadIsNoHang) {
    options.hang_timeout_ms = 2000;
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    LargeBlocksWait held(kMaskBytes);
    submitLarge();
    ASSERT_TRUE(held.someoneWaits());
    ASSERT_TRUE(waitForBeats(60));
    held.end();
    EXPECT_EQ(next().status, ZELCLIENT_MASK);
    EXPECT_EQ(info().hosts_started, 1u);
}

TEST_F(ClientTest, EveryAcceptedFrameGetsOneResultAndTheNewestGetsAMask) {
    collectResults();
    misbehave("slow-ms=5");
    start();
    constexpr uint64_t kFrames = 300;
    for (uint64_t tag = 0; tag < kFrames; ++tag) ASSERT_EQ(submit(tag, static_cast<uint8_t>(tag)), ZELCLIENT_OK);
    ASSERT_TRUE(waitFor([&] { return results.size() == kFrames; }));
    std::set<uint64_t> tags;
    for (const Collected& result : results) {
        tags.insert(result.tag);
        if (result.status == ZELCLIENT_MASK) {
            EXPECT_THAT(result.mask, IsAMaskOf(static_cast<uint8_t>(result.tag)));
        }
        if (result.tag == kFrames - 1) {
            EXPECT_EQ(result.status, ZELCLIENT_MASK);
        }
    }
    EXPECT_EQ(tags.size(), kFrames);
    EXPECT_GT(info().frames_replaced, 0u);
}

TEST_F(ClientTest, QueueOfMoreFramesLosesNoneOfThem) {
    options.frames_in_flight = 8;
    misbehave("slow-ms=5");
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    for (uint64_t tag = 1; tag <= 9; ++tag) ASSERT_EQ(submit(tag, static_cast<uint8_t>(tag)), ZELCLIENT_OK);
    for (uint64_t tag = 1; tag <= 9; ++tag) {
        const Collected result = next();
        EXPECT_EQ(result.tag, tag);
        EXPECT_EQ(result.status, ZELCLIENT_MASK);
    }
}

TEST_F(ClientTest, FrameSubmittedBeforeTheModelWaitsForIt) {
    misbehave("load-ms=300");
    start();
    EXPECT_EQ(submit(1, 1), ZELCLIENT_OK);
    EXPECT_EQ(submit(2, 2), ZELCLIENT_OK);
    Collected result = next();
    EXPECT_EQ(result.tag, 1u);
    EXPECT_EQ(result.status, ZELCLIENT_FRAME_REPLACED);
    result = next();
    EXPECT_EQ(result.tag, 2u);
    EXPECT_EQ(result.status, ZELCLIENT_MASK);
}

TEST_F(ClientTest, StatesGoFromStartingToReadyAndStale) {
    options.stale_after_ms = 200;
    start();
    EXPECT_NE(zelclient_get_state(client), ZELCLIENT_READY);
    EXPECT_TRUE(waitForState(ZELCLIENT_WARMING));
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    EXPECT_TRUE(waitForState(ZELCLIENT_STALE));
    EXPECT_EQ(zelclient_get_state(client), ZELCLIENT_STALE);
    EXPECT_EQ(roundTrip(2, 2).status, ZELCLIENT_MASK);
    EXPECT_TRUE(waitFor([&] { return states.size() == 5; }));
    std::lock_guard lock(mutex);
    EXPECT_THAT(states,
                ElementsAre(ZELCLIENT_WARMING, ZELCLIENT_READY, ZELCLIENT_STALE, ZELCLIENT_READY, ZELCLIENT_STALE));
}

TEST_F(ClientTest, BeatsAreAnswered) {
    misbehave("beat-ms=10");
    start();
    ASSERT_TRUE(waitFor([&] { return std::count(log.begin(), log.end(), "acknowledged") >= 5; }));
    EXPECT_GE(info().beats, 5u);
}

TEST_F(ClientTest, FramesWithoutReplyKeepALoadingHostAlive) {
    misbehave("beat-ms=20,load-ms=500");
    start();
    EXPECT_TRUE(waitForLine("sharing kind -1 size 0"));
    EXPECT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
}

TEST_F(ClientTest, ModelNameHasNoRestOfAnOlderOne) {
    misbehave("name-length=255");
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    EXPECT_EQ(std::string(info().model_name), std::string(255, 'm'));
    // More than once round the slots of the channel, so that the long name's slot comes again.
    for (int round = 0; round < 40; ++round) {
        ASSERT_EQ(zelclient_choose_model(client, 2, round % 2), ZELCLIENT_OK);
        ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
        ASSERT_STREQ(info().model_name, "m");
    }
    EXPECT_EQ(info().model_type, 2u);
}

TEST_F(ClientTest, SkippingStaysOffOverModelsThatTurnItOn) {
    options.auto_skip = 0;
    start();
    EXPECT_TRUE(waitForLine("option 0 = 0"));
    ASSERT_EQ(zelclient_choose_model(client, 3, 1), ZELCLIENT_OK);
    EXPECT_TRUE(waitFor([&] { return std::count(log.begin(), log.end(), "option 0 = 0") == 2; }));
    ASSERT_EQ(zelclient_set_auto_skip(client, 1), ZELCLIENT_OK);
    EXPECT_TRUE(waitForLine("option 0 = 1"));
    EXPECT_EQ(zelclient_set_auto_skip(client, 2), ZELCLIENT_ERROR_ARGUMENT);
}

TEST_F(ClientTest, TypeThatTheHostLowersIsNoFailure) {
    misbehave("lower=1");
    options.model_type = 6;
    start();
    EXPECT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    EXPECT_EQ(info().model_type, 7u);
}

TEST_F(ClientTest, RefusedModelFailsUntilAnotherIsChosen) {
    misbehave("refuse=1,load-ms=100");
    start();
    // A machine under load may hear the refusal before it comes to this frame.
    const bool accepted = submit(1, 1) == ZELCLIENT_OK;
    EXPECT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_ERROR_FAILED);
    EXPECT_EQ(zelclient_get_state(client), ZELCLIENT_FAILED);
    EXPECT_THAT(lastError(), HasSubstr("model type 3"));
    if (accepted) {
        EXPECT_EQ(next().status, ZELCLIENT_FRAME_FAILED);
    }
    EXPECT_EQ(submit(2, 2), ZELCLIENT_ERROR_FAILED);
    zelclient_result result{};
    EXPECT_EQ(zelclient_wait(client, kDeadlineMs, &result), ZELCLIENT_ERROR_FAILED);
    ASSERT_EQ(zelclient_choose_model(client, 2, 0), ZELCLIENT_OK);
    EXPECT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    EXPECT_EQ(roundTrip(3, 3).status, ZELCLIENT_MASK);
}

TEST_F(ClientTest, IdleModelIsInForceAtOnce) {
    options.model_type = ZELCLIENT_MODEL_IDLE;
    start();
    EXPECT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
}

TEST_F(ClientTest, LongLogArrivesWholeAndInOrder) {
    constexpr size_t kLines = 3000;
    misbehave("flood=" + std::to_string(kLines));
    start();
    const std::string last = "flood " + std::to_string(kLines - 1) + std::string((kLines - 1) * 37 % 2000, 'x');
    ASSERT_TRUE(waitForLine(last));
    const std::vector<std::string> flood = lines("flood");
    ASSERT_EQ(flood.size(), kLines);
    for (size_t line = 0; line < kLines; ++line)
        ASSERT_EQ(flood[line], "flood " + std::to_string(line) + std::string(line * 37 % 2000, 'x'));
}

TEST_F(ClientTest, PluginDirectoryReachesTheHostInFull) {
    options.plugin_directory = "plug-ins";
    start();
    EXPECT_TRUE(waitForLine("path 0 " + (std::filesystem::current_path() / "plug-ins").string()));
}

TEST_F(ClientTest, PluginDirectoryIsTheHostsOwnUnlessTold) {
    start();
    EXPECT_TRUE(waitForLine("path 0 " + platform::executableDirectory()));
}

TEST_F(ClientTest, EnvironmentAndTraceLevelReachTheHost) {
    options.trace_level = 1;
    start();
    EXPECT_TRUE(waitForLine("trace 1"));
    EXPECT_TRUE(waitForLine("own told"));
}

TEST_F(ClientTest, LastEntryForAVariableWinsAndAnyOverTheTraceLevel) {
    const char* const environment[] = {"ZELFAKE=",        "ZELHOST_TRACE=1",  "ZELFAKE_OWN=first",
                                       "ZELHOST_TRACE=0", "ZELFAKE_OWN=last", nullptr};
    options.environment = environment;
    options.trace_level = 2;
    start();
    EXPECT_TRUE(waitForLine("trace 0"));
    EXPECT_TRUE(waitForLine("own last"));
}

// Both in a child that has the variable.
TEST_F(ClientTest, TraceLevelOfThisProcessReachesTheHostUnlessTheOptionIsSet) {
    if (platform::environmentVariable("ZELHOST_TRACE") != "0") {
        const auto* self = testing::UnitTest::GetInstance()->current_test_info();
        platform::ProcessOptions child;
        child.environment = {{"ZELHOST_TRACE", "0"}};
        const std::string filter = std::string("--gtest_filter=") + self->test_suite_name() + "." + self->name();
        const auto outcome =
            platform::test::runToEnd(platform::test::siblingProgram("client_test"), {filter}, std::move(child));
        EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
        return;
    }
    start();
    EXPECT_TRUE(waitForLine("trace 0"));
    stop();
    options.trace_level = 2;
    start();
    EXPECT_TRUE(waitForLine("trace 2"));
}

TEST_F(ClientTest, HostsOutputIsKeptApart) {
    const std::filesystem::path folder = std::filesystem::temp_directory_path();
    const std::string stem = (folder / ("zelclient_out_" + std::to_string(platform::currentProcessId()))).string();
    const std::string out = stem + "_out";
    const std::string err = stem + "_err";
    misbehave("noise=1");
    options.host_stdout = out.c_str();
    options.host_stderr = err.c_str();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    stop();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    const auto firstLine = [](const std::string& path) {
        std::ifstream file(path);
        std::string line;
        std::getline(file, line);
        return line;
    };
    EXPECT_THAT(firstLine(out), HasSubstr("noise on stdout"));
    EXPECT_THAT(firstLine(err), HasSubstr("noise on stderr"));
    std::filesystem::remove(out);
    std::filesystem::remove(err);
}

TEST_F(ClientTest, UnpolledResultsFallOutOldestFirst) {
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    for (uint64_t tag = 1; tag <= 40; ++tag) {
        ASSERT_EQ(submit(tag, 1), ZELCLIENT_OK);
        while (info().masks + info().frames_replaced + 1 < tag) std::this_thread::yield();
    }
    while (info().masks + info().frames_replaced < 40) std::this_thread::yield();
    EXPECT_EQ(info().results_unread, 24u);
    EXPECT_GT(next().tag, 1u);
}

TEST_F(ClientTest, CallbackMaySubmitTheNextFrame) {
    struct Loop {
        std::atomic<zelclient*> client{nullptr};
        std::atomic<uint64_t> newest{0};
    } loop;
    options.user = &loop;
    options.on_state = nullptr;
    options.on_log = nullptr;
    options.on_result = [](void* user, const zelclient_result* result) {
        auto* self = static_cast<Loop*>(user);
        self->newest = result->tag;
        const std::vector<uint8_t> pixels(3, 9);
        const zelclient_frame frame = {1, 1, 0, pixels.data(), result->tag + 1, ZELCLIENT_KIND_MODEL};
        if (zelclient* client = self->client) zelclient_submit(client, &frame);
    };
    start();
    ASSERT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
    loop.client = client;
    ASSERT_EQ(submit(1, 1), ZELCLIENT_OK);
    const uint64_t deadline = platform::monotonicMicroseconds() + uint64_t{kDeadlineMs} * 1000;
    while (loop.newest < 200 && platform::monotonicMicroseconds() < deadline) std::this_thread::yield();
    EXPECT_GE(loop.newest, 200u);
    stop();
}

TEST_F(ClientTest, ManyThreadsMaySubmitAndAsk) {
    collectResults();
    start();
    constexpr uint64_t kEach = 200;
    std::vector<std::thread> threads;
    for (uint64_t thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, thread] {
            for (uint64_t count = 0; count < kEach; ++count) {
                EXPECT_EQ(submit(thread * kEach + count, static_cast<uint8_t>(thread * kEach + count)), ZELCLIENT_OK);
                zelclient_get_state(client);
                info();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_TRUE(waitFor([&] { return results.size() == 4 * kEach; }));
    for (const Collected& result : results) {
        if (result.status == ZELCLIENT_MASK) {
            EXPECT_THAT(result.mask, IsAMaskOf(static_cast<uint8_t>(result.tag)));
        }
    }
}

TEST_F(ClientTest, ClientsSideBySideDoNotMeet) {
    start();
    zelclient* first = client;
    start();
    std::swap(first, client);
    EXPECT_THAT(roundTrip(1, 11).mask, IsAMaskOf(11));
    std::swap(first, client);
    EXPECT_THAT(roundTrip(1, 22).mask, IsAMaskOf(22));
    zelclient_stop(first);
    EXPECT_THAT(roundTrip(2, 33).mask, IsAMaskOf(33));
}

TEST_F(ClientTest, StoppedClientLeavesNothingBehind) {
    start();
    EXPECT_EQ(roundTrip(1, 1).status, ZELCLIENT_MASK);
    stop();
    EXPECT_THAT(leftovers(), IsEmpty());
}

TEST_F(ClientTest, ClientStoppedAtOnceLeavesNothingBehind) {
    for (int round = 0; round < 5; ++round) {
        start();
        submit(1, 1);
        stop();
    }
    EXPECT_THAT(leftovers(), IsEmpty());
}

}  // namespace
