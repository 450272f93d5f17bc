#include "detect/ZelFaceVinoHelper.h"

#include <chrono>
#include <iostream>
#include <memory>
#include <sstream>
#include <thread>

#include "detect/RowNetworks.h"
#include "engines/vino/EngineFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using Line = zeltest::TraceCapture::Line;

namespace {

constexpr int32_t kWidth = 160, kHeight = 90;
constexpr int32_t kLastRow = 689;
constexpr int64_t kPatientMs = 60000;  // for machines that are slow or watched by a sanitizer

// What the network makes of a byte; fractions are in steps of 1/128.
uint8_t byteOf(float value) {
    return static_cast<uint8_t>(value * 128 + 127);
}

// A picture whose first bytes say what the network finds in it: by default, nothing.
class Picture {
  public:
    explicit Picture(size_t boxes = 690 * 2, size_t boxChannel = 0) : mBoxes(boxes), mBoxChannel(boxChannel) {}

    Picture& face(int32_t row, float score, float left, float top, float right, float bottom) {
        const auto at = static_cast<size_t>(row);
        set(at * 2 + 1, 0, score);
        const float sides[] = {left, top, right, bottom};
        for (size_t i = 0; i < 4; ++i) set(mBoxes + at * 4 + i, mBoxChannel, sides[i]);
        return *this;
    }
    const std::vector<uint8_t>& bytes() const { return mBytes; }

  private:
    void set(size_t pixel, size_t channel, float value) { mBytes[pixel * 3 + channel] = byteOf(value); }

    size_t mBoxes;
    size_t mBoxChannel;
    std::vector<uint8_t> mBytes = std::vector<uint8_t>(kWidth * kHeight * 3);
};

// Keeps what is written to std::cout.
class OutputCapture {
  public:
    OutputCapture() : mOld(std::cout.rdbuf(mText.rdbuf())) {}
    ~OutputCapture() { std::cout.rdbuf(mOld); }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;
    std::string text() const { return mText.str(); }

  private:
    std::ostringstream mText;
    std::streambuf* mOld;
};

class FaceHelperTest : public EngineFixture {
  protected:
    ZelFaceVinoHelper& make(const row_networks::Options& options = row_networks::faces(), int64_t waitMs = kPatientMs) {
        const auto source = [this, options](const InferenceEngine::Core& core, int xmlId, int weightsId) {
            ids = {xmlId, weightsId};
            return row_networks::make(options).read(core);
        };
        mHelper = std::make_unique<ZelFaceVinoHelper>(source, waitMs);
        mHelper->init("AUTO");
        return *mHelper;
    }

    static bool process(ZelFaceVinoHelper& helper, const std::vector<uint8_t>& bytes, std::string& result) {
        return helper.processVino(kWidth, kHeight, bytes.data(), static_cast<int32_t>(bytes.size()), result);
    }
    static std::string found(ZelFaceVinoHelper& helper, const Picture& picture) {
        std::string result = "old";
        EXPECT_TRUE(process(helper, picture.bytes(), result));
        return result;
    }

    std::vector<int> ids;

  private:
    std::unique_ptr<ZelFaceVinoHelper> mHelper;
};

}  // namespace

TEST_F(FaceHelperTest, FaceIsToldInPixelsOfTheInput) {
    ZelFaceVinoHelper& helper = make();
    EXPECT_THAT(ids, ElementsAre(132, 131));
    EXPECT_THAT(trace.takeLines(), ElementsAre(Line{2, "zelipc face>>ZelFaceVinoHelper::init, strDevType = AUTO"}));
    setTickSteps(3, 8);
    const std::string text = "{\"faceNum\":1,\"facePos\":[[20,22,60,45]]}";
    EXPECT_EQ(found(helper, Picture().face(5, 0.875f, 0.125f, 0.25f, 0.5f, 0.75f)), text);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(Line{2, "zelipc face>>ZelFaceVinoHelper::processVino, inference time: 8ms, statuscode:0"},
                    Line{2, "zelipc face>>ZelFaceVinoHelper::processVino, convert res to jsonstring: " + text}));
}

TEST_F(FaceHelperTest, PictureWithoutFacesHasAnEmptyList) {
    EXPECT_EQ(found(make(), Picture()), "{\"faceNum\":0,\"facePos\":[]}");
}

TEST_F(FaceHelperTest, ScoreAtTheThresholdIsNoFace) {
    EXPECT_EQ(found(make(), Picture().face(0, 0.75f, 0, 0, 0.5f, 0.5f)), "{\"faceNum\":0,\"facePos\":[]}");
    EXPECT_EQ(found(make(), Picture().face(0, 0.7578125f, 0, 0, 0.5f, 0.5f)),
              "{\"faceNum\":1,\"facePos\":[[0,0,80,45]]}");
}

TEST_F(FaceHelperTest, BestFourOfFiveFacesAreTold) {
    Picture picture;
    for (int32_t i = 0; i < 5; ++i) {
        const float left = 0.1875f * static_cast<float>(i), score = i == 2 ? 0.7578125f : 0.8125f + left / 8;
        picture.face(100 * i, score, left, 0.5f, left + 0.125f, 0.75f);
    }
    EXPECT_EQ(found(make(), picture),
              "{\"faceNum\":4,\"facePos\":[[120,45,20,22],[90,45,20,22],[30,45,20,22],[0,45,20,22]]}");
}

TEST_F(FaceHelperTest, FaceFoundTwiceIsToldOnce) {
    EXPECT_EQ(found(make(), Picture().face(0, 0.8125f, 0, 0, 0.5f, 0.5f).face(1, 0.875f, 0.0625f, 0, 0.5625f, 0.5f)),
              "{\"faceNum\":1,\"facePos\":[[10,0,80,45]]}");
}

TEST_F(FaceHelperTest, FaceAtTheEdgeIsCutToThePicture) {
    EXPECT_EQ(found(make(), Picture().face(kLastRow, 0.875f, -0.5f, -0.25f, 0.5f, 1)),
              "{\"faceNum\":1,\"facePos\":[[0,0,80,90]]}");
}

// Boxes come first by their name, scores second, and what comes after them is ignored; here the boxes are read from the
// second plane.
TEST_F(FaceHelperTest, BytesOfAPixelAreTheChannels) {
    const row_networks::Options options{
        {1, 3, kHeight, kWidth}, {{"scores", {1, 690, 2}}, {"third", {13020}}, {"boxes", {1, 690, 4}}}, {}, 1};
    EXPECT_EQ(found(make(options), Picture(0, 1).face(3, 0.875f, 0.125f, 0.25f, 0.5f, 0.75f)),
              "{\"faceNum\":1,\"facePos\":[[20,22,60,45]]}");
}

TEST_F(FaceHelperTest, StatisticsAreOfThirtyInferences) {
    ZelFaceVinoHelper& helper = make();
    const std::string average = "average inference time within 1 min.: ";
    setTickSteps(1, 7);
    for (int i = 0; i < 29; ++i) found(helper, Picture());
    EXPECT_FALSE(trace.contains(average));
    setTickSteps(1, 37);
    found(helper, Picture());
    EXPECT_TRUE(trace.contains("zelipc face>>ZelFaceVinoHelper::processVino, " + average + "8ms. Max: 37ms"));
    trace.takeLines();
    setTickSteps(1, 5);
    for (int i = 0; i < 29; ++i) found(helper, Picture());
    EXPECT_FALSE(trace.contains(average));
    found(helper, Picture());
    EXPECT_TRUE(trace.contains(average + "5ms. Max: 5ms"));
}

TEST_F(FaceHelperTest, SlowInferenceGivesAnEmptyTextAndThenABusyRequest) {
    setVariable("ZELHOST_DEVICE_INFER_DELAY_MS", "CPU=2000");
    ZelFaceVinoHelper& helper = make(row_networks::faces(), 20);
    trace.takeLines();
    const Picture picture = Picture().face(5, 0.875f, 0.125f, 0.25f, 0.5f, 0.75f);
    EXPECT_EQ(found(helper, picture), "");
    EXPECT_THAT(trace.takeLines(),
                ElementsAre(Line{2, "zelipc face>>ZelFaceVinoHelper::processVino, inference time: 1ms, statuscode:-9"},
                            Line{2, "zelipc face>>ZelFaceVinoHelper::processVino, inferRequest didn't get result."}));
    std::string result = "old";
    try {
        process(helper, picture.bytes(), result);
        ADD_FAILURE() << "a frame was taken while the request was busy";
    } catch (const InferenceEngine::details::InferenceEngineException& failure) {
        EXPECT_EQ(failure.getStatus(), InferenceEngine::REQUEST_BUSY) << failure.what();
    }
    EXPECT_EQ(result, "old");
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(FaceHelperTest, FrameBeforeInitIsRefused) {
    ZelFaceVinoHelper helper([](const InferenceEngine::Core& core, int, int) {
        return row_networks::make(row_networks::faces()).read(core);
    });
    std::string result = "old";
    EXPECT_FALSE(process(helper, Picture().bytes(), result));
    EXPECT_EQ(result, "old");
    EXPECT_THAT(trace.lines(), ElementsAre(Line{0, "zelipc face>>ZelFaceVinoHelper::processVino, not inited."}));
}

TEST_F(FaceHelperTest, FrameThatIsTooShortIsRefused) {
    ZelFaceVinoHelper& helper = make();
    trace.takeLines();
    std::vector<uint8_t> bytes = Picture().bytes();
    bytes.pop_back();
    bytes.shrink_to_fit();
    std::string result = "old";
    EXPECT_FALSE(process(helper, bytes, result));
    EXPECT_FALSE(helper.processVino(kWidth, kHeight, bytes.data(), -1, result));
    EXPECT_FALSE(helper.processVino(kWidth, kHeight, nullptr, kWidth * kHeight * 3, result));
    EXPECT_EQ(result, "old");
    EXPECT_EQ(trace.lines().size(), 3u);
    EXPECT_EQ(trace.lines()[0],
              (Line{0, "zelipc face>>ZelFaceVinoHelper::processVino, frame data too short, size = 43199"}));
}

TEST_F(FaceHelperTest, NetworkWithTwoInputsIsRefused) {
    const OutputCapture output;
    row_networks::Options options = row_networks::faces();
    options.inputs = 2;
    std::string result;
    EXPECT_FALSE(process(make(options), Picture().bytes(), result));
    EXPECT_EQ(output.text(), "wrong in input size\n");
    EXPECT_THAT(trace.lines(), ElementsAre(Line{0, "zelipc face>>ZelFaceVinoHelper::processVino, not inited."}));
}

TEST_F(FaceHelperTest, NetworkOfOtherShapesIsRefused) {
    row_networks::Options fewerRows = row_networks::faces(), oneOutput = fewerRows, moreChannels = fewerRows;
    fewerRows.outputs[0].shape = {1, 689, 2};
    oneOutput.outputs.pop_back();
    moreChannels.input = {1, 4, kHeight, kWidth};
    for (const row_networks::Options& options : {fewerRows, oneOutput, moreChannels}) {
        std::string result;
        EXPECT_FALSE(process(make(options), Picture().bytes(), result));
        EXPECT_EQ(trace.count(0, "ZelFaceVinoHelper::init, network is no face detector, outputs: "), 1);
        EXPECT_EQ(trace.takeLines().size(), 2u);
    }
}

TEST_F(FaceHelperTest, OtherDecoderTellsTheBestFaceAndLeavesOutTheLastRow) {
    ZelFaceVinoHelper& helper = make();
    helper.setDecodeMode(1);
    const Picture picture = Picture()
                                .face(1, 0.8125f, 0, 0, 0.5f, 0.5f)
                                .face(7, 0.875f, -0.5f, 0.5f, 0.25f, 1)
                                .face(9, 0.875f, 0, 0, 0.25f, 0.25f)
                                .face(kLastRow, 1, 0, 0, 1, 1);
    const OutputCapture output;
    EXPECT_EQ(found(helper, picture), "{\"faceNum\":1,\"facePos\":[[0,45,40,45]]}");
    EXPECT_EQ(output.text(), "max score:0.875\n");
    EXPECT_EQ(found(helper, Picture().face(1, 0.75f, 0, 0, 1, 1)), "{\"faceNum\":0,\"facePos\":[]}");
    EXPECT_EQ(output.text(), "max score:0.875\n");
}

TEST_F(FaceHelperTest, UnknownDecoderTellsNoFaces) {
    ZelFaceVinoHelper& helper = make();
    helper.setDecodeMode(0);
    EXPECT_EQ(found(helper, Picture().face(1, 0.875f, 0, 0, 1, 1)), "{\"faceNum\":0,\"facePos\":[]}");
}
