#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "client/include/zelclient.h"
#include "client/tool/Picture.h"
#include "client/tool/PictureFile.h"
#include "platform/include/clock.h"
#include "platform/include/process.h"
#include "tests/support/HostProcess.h"

namespace {

using zeltool::Image;

constexpr uint32_t kWaitMs = zeltest::kDeadlineMs;

// A client of the library on the real host, with the photograph as its camera.
class ClientRoadTest : public testing::TestWithParam<uint32_t> {
  protected:
    void SetUp() override {
        ASSERT_EQ(zelclient_network_size(GetParam(), &mWidth, &mHeight), ZELCLIENT_OK);
        std::string error;
        Image photograph;
        ASSERT_TRUE(zeltool::loadPicture(ZEL_SAMPLE_PHOTOGRAPH, photograph, &error)) << error;
        mPicture = zeltool::scaled(photograph, mWidth, mHeight);

        zelclient_options options;
        zelclient_options_init(&options);
        const std::string program = zeltest::HostProcess::program();
        options.host_program = program.c_str();
        options.capacity = GetParam();
        options.hang_timeout_ms = kWaitMs;
        char why[256];
        ASSERT_EQ(zelclient_start(&options, &mClient, why, sizeof why), ZELCLIENT_OK) << why;
    }

    void TearDown() override { zelclient_stop(mClient); }

    void submit() {
        const zelclient_frame frame = {mWidth, mHeight, 0, mPicture.bytes.data(), ++mTag, ZELCLIENT_KIND_MODEL};
        ASSERT_EQ(zelclient_submit(mClient, &frame), ZELCLIENT_OK);
    }

    // The mask of the frame submitted last, results of earlier ones dropped; empty when it got none.
    std::vector<uint8_t> maskOfLast() {
        zelclient_result result;
        while (zelclient_wait(mClient, kWaitMs, &result) == ZELCLIENT_OK) {
            if (result.tag != mTag) continue;
            if (result.status != ZELCLIENT_MASK) return {};
            return {result.mask, result.mask + size_t{result.width} * result.height};
        }
        return {};
    }

    zelclient_info info() {
        zelclient_info info;
        zelclient_get_info(mClient, &info);
        return info;
    }

    // Kills the host as `kill -9` does, and waits until the library has another one.
    void killHost() {
        const uint32_t started = info().hosts_started;
        ASSERT_TRUE(platform::killProcess(info().host_pid));
        const uint32_t start = platform::tickCount();
        while (info().hosts_started == started) {
            ASSERT_LT(platform::tickCount() - start, kWaitMs);
            platform::sleepMilliseconds(1);
        }
    }

    uint8_t at(const std::vector<uint8_t>& mask, double x, double y) const {
        return mask[static_cast<size_t>(y * mHeight) * mWidth + static_cast<size_t>(x * mWidth)];
    }

    zelclient* mClient = nullptr;
    uint32_t mWidth = 0;
    uint32_t mHeight = 0;
    Image mPicture;
    uint64_t mTag = 0;
};

TEST_P(ClientRoadTest, PersonIsForegroundAndTheRestIsNot) {
    submit();
    const std::vector<uint8_t> mask = maskOfLast();
    ASSERT_EQ(mask.size(), size_t{mWidth} * mHeight);
    EXPECT_GT(at(mask, 0.44, 0.40), 220) << "face";
    EXPECT_GT(at(mask, 0.40, 0.15), 200) << "hair";
    EXPECT_GT(at(mask, 0.25, 0.90), 200) << "shoulder";
    EXPECT_LT(at(mask, 0.65, 0.15), 40) << "wall";
    EXPECT_LT(at(mask, 0.82, 0.40), 60) << "model rocket";
    EXPECT_LT(at(mask, 0.10, 0.40), 60) << "flag";
    EXPECT_EQ(zelclient_get_state(mClient), ZELCLIENT_READY);
}

TEST_P(ClientRoadTest, KilledHostIsReplacedAndServesTheSameMask) {
    submit();
    const std::vector<uint8_t> before = maskOfLast();
    ASSERT_FALSE(before.empty());
    killHost();
    EXPECT_NE(zelclient_get_state(mClient), ZELCLIENT_READY);
    submit();
    EXPECT_EQ(maskOfLast(), before);
    EXPECT_EQ(info().hosts_started, 2u);
}

TEST_P(ClientRoadTest, ModelIsChangedWhileFramesFlow) {
    submit();
    ASSERT_FALSE(maskOfLast().empty());
    ASSERT_EQ(zelclient_choose_model(mClient, ZELCLIENT_MODEL_SEGMENTATION_AUTO, GetParam()), ZELCLIENT_OK);
    ASSERT_EQ(zelclient_wait_model(mClient, kWaitMs), ZELCLIENT_OK);
    EXPECT_EQ(info().model_type, ZELCLIENT_MODEL_SEGMENTATION_AUTO);
    submit();
    EXPECT_FALSE(maskOfLast().empty());
}

INSTANTIATE_TEST_SUITE_P(BothCapacities, ClientRoadTest, testing::Values(0u, 1u));

}  // namespace
