#include <gmock/gmock.h>

#include "detect/RowNetworks.h"
#include "host/HostEngineFixture.h"
#include "host/HostFixture.h"
#include "host/ReplacedNetworks.h"
#include "platform/include/clock.h"
#include "tests/support/SamplePhotograph.h"

namespace {

constexpr uint32_t kWidth = 160, kHeight = 90;
constexpr uint32_t kLookMs = 20;
constexpr int32_t kFace = 0, kContent = 2;
constexpr char kPrefix[] = "zelipc face>> ZelMLHost::onSDFrameIpcPacket";

using Bytes = std::vector<uint8_t>;

struct Text {
    uint32_t size;
    std::string bytes;  // the record's whole data
    uint8_t resultValid;
    std::string text() const { return bytes.substr(0, size); }
};

template <class Channel>
std::optional<Text> next(Channel& channel, uint32_t timeoutMs = zeltest::kDeadlineMs) {
    std::optional<Text> text;
    channel.read(
        [&text](const auto& packet) {
            const auto& record = packet.record;
            text = {record.size, std::string(reinterpret_cast<const char*>(record.data), sizeof record.data),
                    record.resultValid};
        },
        timeoutMs);
    return text;
}

class HostDetectionTest : public HostTest {
  protected:
    // The text of a frame's faces. A machine may be too slow for the 50 ms that a frame waits for its faces: then the
    // text is empty, and the next frame may find the network busy and have no reply.
    std::string faces(const Bytes& picture) {
        for (int attempt = 0; attempt < 200; ++attempt) {
            std::string text = answer(picture);
            if (!text.empty()) return text;
        }
        return "none";
    }
    // Empty for a frame that failed, too.
    std::string answer(const Bytes& picture, std::optional<uint32_t> size = {}) {
        const std::string failure = std::string(kPrefix) + " vinofacedetect failed.";
        const long failures = lines(failure);
        mClient->frame(kWidth, kHeight, picture, kFace, size);
        for (uint32_t waited = 0; waited < zeltest::kDeadlineMs; waited += kLookMs) {
            if (const auto text = next(*mClient->rois, kLookMs)) return text->text();
            if (lines(failure) != failures) return "";
        }
        ADD_FAILURE() << "a frame was neither answered nor told to have failed";
        return "";
    }
    long lines(const std::string& text) const { return mTrace.count(0, text); }
};

}  // namespace

TEST_F(HostDetectionTest, FaceFrameIsAnsweredWhateverTheModelInForce) {
    serve();
    const Bytes photograph = zeltest::samplePhotograph(kWidth, kHeight), grey(photograph.size(), 90);
    EXPECT_THAT(faces(photograph), testing::StartsWith("{\"faceNum\":1,\"facePos\":[["));
    EXPECT_EQ(mClient->startModel(3, 0), 3u);
    EXPECT_EQ(faces(grey), "{\"faceNum\":0,\"facePos\":[]}");
    EXPECT_FALSE(mClient->mask(0));
    EXPECT_EQ(mTrace.count(2, "zelipc face>>ZelFaceVinoHelper::init, strDevType = CPU"), 1) << "made once";
}

TEST_F(HostDetectionTest, ShortFaceFrameHasNoReply) {
    serve();
    const Bytes grey(kWidth * kHeight * 3, 90);
    EXPECT_EQ(answer(grey, kWidth * kHeight * 3 - 1), "");
    EXPECT_TRUE(traced(0, "zelipc face>>ZelFaceVinoHelper::processVino, frame data too short, size = 43199"));
    EXPECT_EQ(lines("inference failed: "), 0);
    EXPECT_NE(faces(grey), "none");
}

TEST_F(HostDetectionTest, ProgramWithoutTheNetworkTellsAndHasNoReply) {
    const ReplacedNetworks none;
    const auto packet = std::make_unique<ipc::packet<ipc::FrameHolder<ipc::kFrameBytes>>>();
    packet->record.kind = kContent;
    packet->record.width = packet->record.height = 512;
    mHost->onSDFrameIpcPacket(*packet);
    EXPECT_TRUE(traced(0, std::string(kPrefix) + ", initContentDetectEngine Failed:  this executable carries no "
                                                 "network resource with the id 210"));
    EXPECT_TRUE(traced(0, "zelipc content>> ZelMLHost::onSDFrameIpcPacket. m_pContentVinoHelper hasn't been inited"));
    EXPECT_FALSE(next(*mClient->contents, 0));
}

// Networks whose pictures say what is found.
class HostSmallDetectionTest : public HostGpuFixture {
  protected:
    void SetUp() override {
        ReplacedNetworks::put(132, 131, row_networks::make(row_networks::faces()));
        ReplacedNetworks::put(210, 200, row_networks::make(row_networks::content()));
        HostGpuFixture::SetUp();
    }

    // The answer to a screen of width x height whose first bytes are `row`.
    std::optional<Text> content(uint32_t width, uint32_t height, const Bytes& row = {}) {
        Bytes screen(size_t{width} * height);
        std::copy(row.begin(), row.end(), screen.begin());
        mClient->frame(width, height, screen, kContent);
        return next(*mClient->contents);
    }

    const ReplacedNetworks mNetworks;
};

TEST_F(HostSmallDetectionTest, ThirdScreenOfAGroupIsAnsweredWithItsRegions) {
    while (!content(512, 512)->resultValid) continue;  // whatever was in the stack
    EXPECT_EQ(content(512, 512)->resultValid, 0);
    EXPECT_EQ(content(512, 512)->resultValid, 0);
    const auto text = content(512, 512, {128, 128, 64, 64, 255, 255});
    ASSERT_TRUE(text);
    EXPECT_EQ(text->resultValid, 1);
    EXPECT_THAT(text->text(), testing::StartsWith("{\"ContentNum\":1,\"ContentPos\":[[192,192,321,321,"));
    EXPECT_EQ(mTrace.count(0, "failed"), 0);
}

TEST_F(HostSmallDetectionTest, ScreenLargerThanTheNetworksPictureIsRefused) {
    const auto text = content(513, 1);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->resultValid, 0);
    EXPECT_TRUE(traced(0,
                       "zelipc>>ZelContentVinoHelper::processVino, frame not usable, w = 513 h = 1, at most: 512 * "
                       "512"));
}

TEST_F(HostSmallDetectionTest, FaceFrameThatTakesTooLongHasAnEmptyTextAndTheNextFindsTheNetworkBusy) {
    setVariable("ZELHOST_DEVICE_INFER_DELAY_MS", "CPU=2000");
    const Bytes picture(kWidth * kHeight * 3);
    mClient->frame(kWidth, kHeight, picture, kFace);
    mClient->frame(kWidth, kHeight, picture, kFace);
    const auto text = next(*mClient->rois);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->text(), "");
    EXPECT_TRUE(traced(2, "zelipc face>>ZelFaceVinoHelper::processVino, inferRequest didn't get result."));
    while (!mTrace.contains("vinofacedetect failed.")) platform::sleepMilliseconds(1);
    EXPECT_EQ(mTrace.count(0, std::string(kPrefix) + ", inference failed: "), 1);
    EXPECT_FALSE(next(*mClient->rois, 0));
}

TEST_F(HostDetectionTest, LongestFaceTextIsSentWhole) {
    const std::string longest(255, 'x');
    mHost->sendFaceText(longest);
    EXPECT_EQ(next(*mClient->rois, 0)->text(), longest);
    EXPECT_EQ(lines("exceed max length"), 0);
}

// The record of a slot that has been used before: what is not written stays.
TEST_F(HostDetectionTest, FaceTextThatIsTooLongBecomesANulAndLeavesTheSize) {
    for (size_t slot = 0; slot < ipc::RoiChannel::kSlots; ++slot) {
        mHost->sendFaceText("old text");
        ASSERT_TRUE(next(*mClient->rois, 0));
    }
    mHost->sendFaceText(std::string(256, 'x'));
    const auto text = next(*mClient->rois, 0);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size, 8u);
    EXPECT_EQ(text->text(), std::string("\0ld text", 8));
    EXPECT_TRUE(traced(0, std::string(kPrefix) + ", json results exceed max length 255"));
}

TEST_F(HostDetectionTest, LongestContentTextIsSentWhole) {
    const std::string longest(2000, 'x');
    mHost->sendContentText(&longest);
    const auto text = next(*mClient->contents, 0);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->text(), longest);
    EXPECT_EQ(text->resultValid, 1);
    EXPECT_EQ(lines("exceed max length"), 0);
}

TEST_F(HostDetectionTest, ContentTextThatIsTooLongBecomesANulAndLeavesTheSize) {
    const std::string old = "old text", tooLong(2001, 'x');
    for (size_t slot = 0; slot < ipc::ContentChannel::kSlots; ++slot) {
        mHost->sendContentText(&old);
        ASSERT_TRUE(next(*mClient->contents, 0));
    }
    mHost->sendContentText(&tooLong);
    const auto text = next(*mClient->contents, 0);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size, 8u);
    EXPECT_EQ(text->text(), std::string("\0ld text", 8));
    EXPECT_EQ(text->resultValid, 1);
    EXPECT_TRUE(traced(0, "zelipc>> ZelMLHost::onSDFrameIpcPacket, content json results exceed max length 2000"));
}

TEST_F(HostDetectionTest, FailedContentRunIsRepliedToByTheFlagAlone) {
    const std::string old = "old text";
    for (size_t slot = 0; slot < ipc::ContentChannel::kSlots; ++slot) {
        mHost->sendContentText(&old);
        ASSERT_TRUE(next(*mClient->contents, 0));
    }
    mHost->sendContentText(nullptr);
    const auto text = next(*mClient->contents, 0);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->resultValid, 0);
    EXPECT_EQ(text->text(), old);
}
