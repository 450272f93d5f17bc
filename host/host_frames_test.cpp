#include <gmock/gmock.h>

#include "host/HostFixture.h"

namespace {

using HostFramesTest = HostTest;
constexpr uint32_t kWidth = 256;
constexpr uint32_t kHeight = 144;

std::vector<uint8_t> picture(uint32_t width, uint32_t height, uint8_t value = 90) {
    return std::vector<uint8_t>(size_t{width} * height * 3, value);
}

class HostServingTest : public HostTest {
  protected:
    void SetUp() override {
        HostTest::SetUp();
        serve();
        ASSERT_EQ(mClient->startModel(3, 0), 3u);
    }

    // The host serves a good frame after whatever came before.
    void expectServing() {
        mClient->frame(kWidth, kHeight, picture(kWidth, kHeight));
        const auto mask = mClient->mask();
        ASSERT_TRUE(mask);
        EXPECT_EQ(mask->width, kWidth);
        EXPECT_EQ(mask->height, kHeight);
        EXPECT_EQ(mask->size, kWidth * kHeight);
    }
};

TEST_F(HostFramesTest, IdleHostReportsModelFramesAndSendsNoMask) {
    serve();
    mClient->frame(kWidth, kHeight, picture(kWidth, kHeight));
    await("VinoHelper->process failed. mZelType=0");
    terminate();
    EXPECT_FALSE(mClient->mask(0));
}

TEST_F(HostFramesTest, IdleHostLogsTheFailedFrame) {
    const auto packet = std::make_unique<ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>>();
    packet->record.kind = 1;
    mHost->onSDFrameIpcPacket(*packet);
    EXPECT_TRUE(traced(0, "zelipc>> ZelMLHost::onSDFrameIpcPacket VinoHelper->process failed. mZelType=0"));
}

TEST_F(HostFramesTest, OtherKindsEndWithoutLineOrReply) {
    const auto packet = std::make_unique<ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>>();
    mTrace.takeLines();
    for (const int32_t kind : {-1, 3, 0x7FFFFFFF}) {
        packet->record.kind = kind;
        mHost->onSDFrameIpcPacket(*packet);
    }
    EXPECT_THAT(mTrace.lines(), testing::IsEmpty());
    EXPECT_FALSE(mClient->mask(0));
}

TEST_F(HostServingTest, GoodFrameYieldsAMaskOfItsSize) {
    expectServing();
}

TEST_F(HostServingTest, OversizedFramesAreDroppedWithTheirSize) {
    mClient->frame(kWidth, kHeight, {}, 1, 921601);
    expectServing();
    EXPECT_TRUE(traced(0, "zelipc>>ZelMLHost::listenOnFrame, invalid frame, sz1=921601"));
    mClient->frame(kWidth, kHeight, {}, 1, 0xFFFFFFFFu, true);
    mClient->frame(kWidth, kHeight, picture(kWidth, kHeight), 1, {}, true);
    ASSERT_TRUE(mClient->mask());
    EXPECT_TRUE(traced(0, "zelipc>>ZelMLHost::listenOnFrame, invalid frame, sz2=4294967295"));
}

TEST_F(HostServingTest, LargestFrameReachesTheHelper) {
    mClient->frame(640, 360, std::vector<uint8_t>(921600), 1);
    expectServing();
    EXPECT_TRUE(traced(0,
                       "zelipc>> ZelVinoHelper model size not the same, tensor: w =256 h = 144, input sample: w = 640 "
                       "h = 360"));
    EXPECT_TRUE(traced(0, "zelipc>> ZelMLHost::onSDFrameIpcPacket VinoHelper->process failed. mZelType=3"));
}

TEST_F(HostServingTest, NonsenseSizesLeaveTheHostServing) {
    const uint32_t values[] = {0, 1, 255, 257, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 65536};
    expectServing();
    for (const uint32_t width : values)
        for (const uint32_t height : values) {
            mClient->frame(width, height, picture(kWidth, kHeight));
            while (const auto mask = mClient->mask(0)) ASSERT_LE(mask->size, 640u * 360u);
        }
    // Frames whose size says less than their pixels need.
    for (const uint32_t size : {0u, 1u, kWidth * kHeight * 3 - 1})
        mClient->frame(kWidth, kHeight, picture(kWidth, kHeight, 200), 1, size);
    mClient->frame(kWidth, kHeight, picture(kWidth, kHeight));
    while (const auto mask = mClient->mask()) {
        ASSERT_LE(mask->size, 640u * 360u);
        if (mask->width == kWidth && mask->height == kHeight) break;
    }
}

TEST_F(HostServingTest, FramesOfBothChannelsAreServed) {
    mClient->frame(kWidth, kHeight, picture(kWidth, kHeight), 1, {}, false);
    mClient->frame(kWidth, kHeight, picture(kWidth, kHeight), 1, {}, true);
    EXPECT_TRUE(mClient->mask());
    EXPECT_TRUE(mClient->mask());
}

TEST_F(HostServingTest, StillPictureIsAnsweredWithTheSameMask) {
    const auto still = picture(kWidth, kHeight);
    mClient->frame(kWidth, kHeight, still);
    const auto first = mClient->mask();
    ASSERT_TRUE(first);
    for (int frame = 0; frame < 5; ++frame) {
        mClient->frame(kWidth, kHeight, still);
        const auto next = mClient->mask();
        ASSERT_TRUE(next);
        EXPECT_EQ(next->data, first->data);
    }
}

TEST_F(HostServingTest, IdleTypeStopsMasksAndTheSameTypeRestarts) {
    mClient->command(ipc::CommandCode::SetModelType, 0, 0);
    settle();
    mClient->frame(kWidth, kHeight, picture(kWidth, kHeight));
    await("VinoHelper->process failed. mZelType=0");
    EXPECT_FALSE(mClient->mask(0));
    EXPECT_EQ(mClient->startModel(3, 0), 3u);
    expectServing();
}

}  // namespace
