#include "client/include/zelclient.h"

#include "client/src/ClientFixture.h"
#include "client/src/LargeBlocks.h"

#include <set>

#include "platform/test_support.h"

namespace {

using testing::HasSubstr;

class ZelclientTest : public ClientFixture {
  protected:
    zelclient_error tryStart() {
        char why[512];
        const zelclient_error error = zelclient_start(&options, &client, why, sizeof why);
        told = why;
        return error;
    }

    std::string told;
};

TEST_F(ZelclientTest, MissingHostProgramIsAnArgumentError) {
    options.host_program = nullptr;
    EXPECT_EQ(tryStart(), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_THAT(told, HasSubstr("host_program"));
    EXPECT_EQ(client, nullptr);
}

TEST_F(ZelclientTest, HostThatIsNotThereIsNamed) {
    options.host_program = "no/such/zelhost";
    EXPECT_EQ(tryStart(), ZELCLIENT_ERROR_HOST);
    EXPECT_THAT(told, HasSubstr("no/such/zelhost"));
    EXPECT_EQ(client, nullptr);
    EXPECT_TRUE(leftovers().empty());
}

TEST_F(ZelclientTest, OptionsOutOfRangeAreRefused) {
    const auto refused = [&](auto change) {
        const zelclient_options good = options;
        change(options);
        const zelclient_error error = tryStart();
        options = good;
        return error == ZELCLIENT_ERROR_ARGUMENT && client == nullptr && !told.empty();
    };
    const char* const nonsense[] = {"NOVALUE", nullptr};
    EXPECT_TRUE(refused([](auto& o) { o.struct_size = 4; }));
    EXPECT_TRUE(refused([](auto& o) { o.host_program = ""; }));
    EXPECT_TRUE(refused([](auto& o) { o.model_type = 4; }));
    EXPECT_TRUE(refused([](auto& o) { o.model_type = 11; }));
    EXPECT_TRUE(refused([](auto& o) { o.capacity = 2; }));
    EXPECT_TRUE(refused([](auto& o) { o.frames_in_flight = 0; }));
    EXPECT_TRUE(refused([](auto& o) { o.frames_in_flight = 9; }));
    EXPECT_TRUE(refused([](auto& o) { o.auto_skip = 2; }));
    const std::string tooLong(256, 'd');
    EXPECT_TRUE(refused([&](auto& o) { o.plugin_directory = tooLong.c_str(); }));
    EXPECT_TRUE(refused([&](auto& o) { o.environment = nonsense; }));
}

TEST_F(ZelclientTest, NullIsToldEverywhere) {
    zelclient_result result{};
    zelclient_frame frame{};
    EXPECT_EQ(zelclient_start(nullptr, &client, nullptr, 0), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_start(&options, nullptr, nullptr, 0), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_submit(nullptr, &frame), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_poll(nullptr, &result), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_wait(nullptr, 0, &result), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_choose_model(nullptr, 3, 0), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_set_auto_skip(nullptr, 0), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_wait_model(nullptr, 0), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_get_state(nullptr), ZELCLIENT_FAILED);
    EXPECT_EQ(zelclient_last_error(nullptr, nullptr, 0), 0u);
    zelclient_info info;
    zelclient_get_info(nullptr, &info);
    EXPECT_EQ(info.hosts_started, 0u);
    zelclient_stop(nullptr);
}

TEST_F(ZelclientTest, FramesThatAreNoPictureAreRefused) {
    start();
    const std::vector<uint8_t> pixels(921603);
    const auto submitted = [&](uint32_t width, uint32_t height, uint32_t stride, const uint8_t* rgb) {
        const zelclient_frame frame = {width, height, stride, rgb, 0, ZELCLIENT_KIND_MODEL};
        return zelclient_submit(client, &frame);
    };
    EXPECT_EQ(submitted(0, 9, 0, pixels.data()), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(submitted(16, 0, 0, pixels.data()), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(submitted(16, 9, 0, nullptr), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(submitted(16, 9, 47, pixels.data()), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(submitted(307201, 1, 0, pixels.data()), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(submitted(0xFFFFFFFFu, 0xFFFFFFFFu, 0, pixels.data()), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(submitted(0x55555556u, 1, 0, pixels.data()), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(info().frames_accepted, 0u);
    EXPECT_EQ(submitted(307200, 1, 0, pixels.data()), ZELCLIENT_OK);
    EXPECT_EQ(next().mask.size(), 307200u);
}

TEST_F(ZelclientTest, FramesOfASizeThatTheirKindDoesNotHaveAreRefusedWithAReason) {
    options.model_type = ZELCLIENT_MODEL_IDLE;
    start();
    const std::vector<uint8_t> pixels(921600);
    const auto refusal = [&](zelclient_kind kind, uint32_t width, uint32_t height, uint32_t stride = 0) {
        const zelclient_frame frame = {width, height, stride, pixels.data(), 0, kind};
        return zelclient_submit(client, &frame) == ZELCLIENT_ERROR_ARGUMENT ? lastError() : "accepted";
    };
    EXPECT_EQ(refusal(ZELCLIENT_KIND_FACES, 161, 90), "a frame for faces is 160x90 pixels, not 161x90");
    EXPECT_EQ(refusal(ZELCLIENT_KIND_FACES, 160, 89), "a frame for faces is 160x90 pixels, not 160x89");
    EXPECT_EQ(refusal(ZELCLIENT_KIND_FACES, 160, 90, 479), "a stride of 479 bytes for rows of 480");
    EXPECT_EQ(refusal(ZELCLIENT_KIND_CONTENT, 513, 10), "a frame for content is at most 512x512 pixels, not 513x10");
    EXPECT_EQ(refusal(ZELCLIENT_KIND_CONTENT, 10, 513), "a frame for content is at most 512x512 pixels, not 10x513");
    EXPECT_EQ(refusal(ZELCLIENT_KIND_CONTENT, 512, 512, 511), "a stride of 511 bytes for rows of 512");
    EXPECT_EQ(refusal(ZELCLIENT_KIND_MODEL, 640, 481), "a frame for the model has at most 307200 pixels, not 640x481");
    EXPECT_EQ(refusal(static_cast<zelclient_kind>(3), 16, 9), "there is no kind of frame 3");
    EXPECT_EQ(info().frames_accepted, 0u);
    EXPECT_EQ(refusal(ZELCLIENT_KIND_CONTENT, 512, 512), "accepted");
}

TEST_F(ZelclientTest, FrameForWhichThereIsNoMemoryIsNotAcceptedAndReplacesNone) {
    if (platform::test::underAddressSanitizer() || platform::test::underThreadSanitizer())
        GTEST_SKIP() << "the sanitizer's heap refuses nothing";
    misbehave("deaf=1");
    options.stop_timeout_ms = 100;
    start();
    const std::vector<uint8_t> pixels(size_t{640} * 480 * 3);
    const zelclient_frame frame = {640, 480, 0, pixels.data(), 2, ZELCLIENT_KIND_MODEL};
    ASSERT_EQ(submit(1, 1), ZELCLIENT_OK);
    {
        const LargeBlocksRefused refused(pixels.size());
        EXPECT_EQ(zelclient_submit(client, &frame), ZELCLIENT_ERROR_MEMORY);
    }
    EXPECT_EQ(info().frames_accepted, 1u);
    EXPECT_EQ(info().frames_replaced, 0u);
    EXPECT_EQ(zelclient_submit(client, &frame), ZELCLIENT_OK);
    EXPECT_EQ(info().frames_accepted, 2u);
    EXPECT_EQ(info().frames_replaced, 1u);
}

TEST_F(ZelclientTest, ModelsThatNoHostKnowsAreRefused) {
    start();
    EXPECT_EQ(zelclient_choose_model(client, 4, 0), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_choose_model(client, 11, 0), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_choose_model(client, 3, 2), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_wait_model(client, kDeadlineMs), ZELCLIENT_OK);
}

TEST_F(ZelclientTest, PollingAClientWithACallbackIsRefused) {
    collectResults();
    start();
    zelclient_result result{};
    EXPECT_EQ(zelclient_poll(client, &result), ZELCLIENT_ERROR_ARGUMENT);
}

TEST_F(ZelclientTest, ErrorTextIsCutToItsBuffer) {
    options.host_program = "no/such/zelhost";
    char small[8] = "xxxxxxx";
    EXPECT_EQ(zelclient_start(&options, &client, small, sizeof small), ZELCLIENT_ERROR_HOST);
    EXPECT_EQ(std::string(small).size(), 7u);
}

TEST_F(ZelclientTest, NetworkSizesFollowTheCapacity) {
    uint32_t width = 0;
    uint32_t height = 0;
    EXPECT_EQ(zelclient_network_size(0, &width, &height), ZELCLIENT_OK);
    EXPECT_EQ(width, 256u);
    EXPECT_EQ(height, 144u);
    EXPECT_EQ(zelclient_network_size(1, &width, &height), ZELCLIENT_OK);
    EXPECT_EQ(width, 640u);
    EXPECT_EQ(height, 360u);
    EXPECT_EQ(zelclient_network_size(2, &width, &height), ZELCLIENT_ERROR_ARGUMENT);
}

TEST_F(ZelclientTest, EachKindOfFrameHasItsSize) {
    uint32_t width = 0;
    uint32_t height = 0;
    EXPECT_EQ(zelclient_frame_size(ZELCLIENT_KIND_MODEL, 1, &width, &height), ZELCLIENT_OK);
    EXPECT_EQ(std::pair(width, height), std::pair(640u, 360u));
    EXPECT_EQ(zelclient_frame_size(ZELCLIENT_KIND_FACES, 0, &width, &height), ZELCLIENT_OK);
    EXPECT_EQ(std::pair(width, height), std::pair(160u, 90u));
    EXPECT_EQ(zelclient_frame_size(ZELCLIENT_KIND_CONTENT, 0, &width, &height), ZELCLIENT_OK);
    EXPECT_EQ(std::pair(width, height), std::pair(512u, 512u));
    EXPECT_EQ(zelclient_frame_size(ZELCLIENT_KIND_MODEL, 2, &width, &height), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_frame_size(ZELCLIENT_KIND_FACES, 0, nullptr, &height), ZELCLIENT_ERROR_ARGUMENT);
    EXPECT_EQ(zelclient_frame_size(static_cast<zelclient_kind>(3), 0, &width, &height), ZELCLIENT_ERROR_ARGUMENT);
}

TEST_F(ZelclientTest, GesturesHaveNamesOfTheirOwn) {
    std::set<std::string> names;
    for (int32_t gesture = -1; gesture < ZELCLIENT_GESTURES; ++gesture) names.insert(zelclient_gesture_name(gesture));
    EXPECT_EQ(names.size(), size_t{ZELCLIENT_GESTURES} + 1);
    EXPECT_STREQ(zelclient_gesture_name(0), "open palm");
    EXPECT_STREQ(zelclient_gesture_name(8), "horns");
    EXPECT_STREQ(zelclient_gesture_name(-1), "none");
    EXPECT_STREQ(zelclient_gesture_name(9), "none");
}

TEST_F(ZelclientTest, EveryStateAndErrorHasAWordOfItsOwn) {
    std::vector<std::string> words;
    for (int state = 0; state <= ZELCLIENT_FAILED; ++state)
        words.push_back(zelclient_state_name(static_cast<zelclient_state>(state)));
    for (int error = 0; error <= ZELCLIENT_TIMEOUT; ++error) {
        if (error != ZELCLIENT_ERROR_FAILED) words.push_back(zelclient_error_name(static_cast<zelclient_error>(error)));
    }
    std::sort(words.begin(), words.end());
    EXPECT_EQ(std::adjacent_find(words.begin(), words.end()), words.end());
    EXPECT_STREQ(zelclient_state_name(static_cast<zelclient_state>(7)), "unknown");
}

}  // namespace
