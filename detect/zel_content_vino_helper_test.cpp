#include "detect/ZelContentVinoHelper.h"

#include <iostream>
#include <memory>
#include <sstream>

#include "detect/RowNetworks.h"
#include "engines/vino/EngineFixture.h"

using testing::ElementsAre;
using Line = zeltest::TraceCapture::Line;

namespace {

constexpr int32_t kSide = 512;
constexpr char kNothing[] = "{\"ContentNum\":0,\"ContentPos\":[]}";
constexpr char kPrefix[] = "zelipc>>ZelContentVinoHelper::processVino, ";

// A grey frame whose bytes say what the network finds when it is the first channel: by default, nothing. The network
// makes fractions of bytes, of a box those of 512.
struct Frame {
    explicit Frame(int32_t width = kSide, int32_t height = kSide)
        : width(width), height(height), bytes(static_cast<size_t>(width * height)) {}

    // A square around a centre, from the pixel on.
    Frame& region(size_t pixel, uint8_t x, uint8_t y, uint8_t side, uint8_t objectness, size_t classId = 0) {
        const uint8_t row[] = {x, y, side, side, objectness};
        std::copy(std::begin(row), std::end(row), bytes.begin() + static_cast<ptrdiff_t>(pixel));
        bytes[pixel + 5 + classId] = 255;
        return *this;
    }

    int32_t width;
    int32_t height;
    std::vector<uint8_t> bytes;
};

class ContentHelperTest : public EngineFixture {
  protected:
    // The stack of frames is the program's: it is left empty here.
    ~ContentHelperTest() override {
        make();
        emptyStack();
    }

    ZelContentVinoHelper& make(const row_networks::Options& options = row_networks::content()) {
        const auto source = [this, options](const InferenceEngine::Core& core, int xmlId, int weightsId) {
            ids = {xmlId, weightsId};
            return row_networks::make(options).read(core);
        };
        mHelper = std::make_unique<ZelContentVinoHelper>(source);
        mHelper->init("AUTO");
        return *mHelper;
    }

    // The text of a complete group; "-" for a frame that gave none.
    std::string give(const Frame& frame) {
        std::string result = "old";
        const bool done = mHelper->processVino(frame.width, frame.height, frame.bytes.data(),
                                               static_cast<int32_t>(frame.bytes.size()), result);
        EXPECT_EQ(done, result != "old");
        return done ? result : "-";
    }

    // What is found when `frame` ends a group.
    std::string found(const Frame& frame) {
        EXPECT_EQ(give(Frame()), "-");
        EXPECT_EQ(give(Frame()), "-");
        return give(frame);
    }

    void emptyStack() {
        while (give(Frame()) == "-") continue;
    }

    std::vector<int> ids;

  private:
    std::unique_ptr<ZelContentVinoHelper> mHelper;
};

}  // namespace

TEST_F(ContentHelperTest, EveryThirdFrameGivesAResult) {
    make();
    EXPECT_THAT(ids, ElementsAre(210, 200));
    for (int group = 0; group < 2; ++group) {
        EXPECT_EQ(give(Frame()), "-");
        EXPECT_EQ(give(Frame()), "-");
        EXPECT_EQ(give(Frame()), kNothing);
    }
}

TEST_F(ContentHelperTest, EachStepIsLogged) {
    setTickSteps(1, 9);
    make();
    EXPECT_THAT(trace.takeLines(),
                ElementsAre(Line{2, "zelipc face>>ZelContentVinoHelper::init, strDevType = AUTO, it takes 9 ms"}));
    found(Frame());
    const std::string prefix = kPrefix;
    EXPECT_THAT(trace.lines(),
                ElementsAre(Line{2, prefix + "not enough frame to process , m_numframe =  1"},
                            Line{2, prefix + "not enough frame to process , m_numframe =  2"},
                            Line{2, prefix + "inference time: 9ms"},
                            Line{2, std::string("zelipc >>ZelContentVinoHelper::processVino, convert res to "
                                                "jsonstring: ") +
                                        kNothing}));
}

TEST_F(ContentHelperTest, RegionIsToldInPixelsOfTheFrame) {
    make();
    EXPECT_EQ(found(Frame().region(9 * 4, 51, 102, 51, 204, 3)),
              "{\"ContentNum\":1,\"ContentPos\":[[51,153,153,256,0.800000,3]]}");
}

TEST_F(ContentHelperTest, LastFrameOfAGroupIsTheFirstChannel) {
    make();
    const Frame frame = Frame().region(0, 51, 51, 51, 204);
    EXPECT_EQ(give(frame), "-");
    EXPECT_EQ(give(frame), "-");
    EXPECT_EQ(give(Frame()), kNothing);
    EXPECT_NE(found(frame), kNothing);
}

TEST_F(ContentHelperTest, FirstFrameOfAGroupIsTheLastChannel) {
    row_networks::Options options = row_networks::content();
    options.outputs.insert(options.outputs.begin(), {"before", {2 * kSide * kSide}});
    options.factors.clear();
    make(options);
    const Frame frame = Frame().region(0, 255, 255, 255, 204);
    EXPECT_EQ(give(frame), "-");
    EXPECT_EQ(give(Frame()), "-");
    EXPECT_EQ(give(Frame()), "{\"ContentNum\":1,\"ContentPos\":[[0,0,1,1,0.800000,0]]}");
    EXPECT_EQ(found(frame), kNothing);
}

TEST_F(ContentHelperTest, SmallerFrameIsCentredAndItsRegionsComeBackInItsOwnPixels) {
    make();
    // Of the canvas, row 6264 begins at column 56 and line 110; the frame lies there from line 106 on.
    const Frame frame = Frame(400, 300).region(4 * 400, 102, 102, 51, 204, 1);
    EXPECT_EQ(give(Frame()), "-");
    EXPECT_EQ(give(Frame()), "-");
    EXPECT_EQ(give(frame), "{\"ContentNum\":1,\"ContentPos\":[[97,47,200,150,0.800000,1]]}");
}

TEST_F(ContentHelperTest, FrameOfFullSizeKeepsThePadsOfTheOneBefore) {
    make();
    EXPECT_EQ(give(Frame()), "-");
    EXPECT_EQ(give(Frame(400, 300)), "-");
    EXPECT_EQ(give(Frame().region(0, 102, 102, 51, 204)),
              "{\"ContentNum\":1,\"ContentPos\":[[97,47,200,150,0.800000,0]]}");
}

TEST_F(ContentHelperTest, BorderIsGreyAtFirstAndThenWhatOlderFramesLeave) {
    const row_networks::Options options{
        {1, 3, kSide, kSide}, {{"output", {1, 16128, 9}}}, {255, 1, 1, 1, 2, 1, 9, 1, 1}, 1};
    make(options);
    // Nine bytes of the padding's grey are a box with an objectness of 0.89.
    const std::string before = found(Frame(8, 8));
    EXPECT_NE(before.find(",0.894118,1]"), std::string::npos) << before;
    EXPECT_EQ(found(Frame()), kNothing);
    EXPECT_EQ(found(Frame(8, 8)), kNothing);
}

TEST_F(ContentHelperTest, AtMostTwentyRegionsAreToldTheBestFirst) {
    make();
    Frame frame;
    for (uint8_t i = 0; i < 25; ++i)
        frame.region(size_t{9} * i, static_cast<uint8_t>(i % 5 * 50), static_cast<uint8_t>(i / 5 * 50), 10,
                     static_cast<uint8_t>(200 + i));
    const std::string text = found(frame);
    EXPECT_EQ(text.rfind("{\"ContentNum\":20,\"ContentPos\":[[391,391,411,411,0.878431,0],[291,391,", 0), 0u) << text;
    EXPECT_EQ(text.find("0.800000"), std::string::npos) << text;
}

TEST_F(ContentHelperTest, FrameThatIsTooLargeIsRefusedAndNotCounted) {
    make();
    trace.takeLines();
    EXPECT_EQ(give(Frame(kSide + 1, 1)), "-");
    EXPECT_EQ(give(Frame(1, kSide + 1)), "-");
    std::string result = "old";
    EXPECT_FALSE(make().processVino(kSide, kSide, nullptr, kSide * kSide, result));
    EXPECT_EQ(trace.count(0, std::string(kPrefix) + "frame not usable, w = 513 h = 1, at most: 512 * 512"), 1);
    EXPECT_EQ(trace.count(0, std::string(kPrefix) + "frame not usable, w = "), 3);
    EXPECT_EQ(found(Frame()), kNothing);
}

TEST_F(ContentHelperTest, NextHelperGoesOnCounting) {
    make();
    EXPECT_EQ(give(Frame()), "-");
    make();
    EXPECT_EQ(give(Frame()), "-");
    EXPECT_EQ(give(Frame()), kNothing);
}

TEST_F(ContentHelperTest, FrameBeforeInitIsRefused) {
    ZelContentVinoHelper helper([](const InferenceEngine::Core& core, int, int) {
        return row_networks::make(row_networks::content()).read(core);
    });
    std::string result = "old";
    const Frame frame;
    EXPECT_FALSE(helper.processVino(kSide, kSide, frame.bytes.data(), kSide * kSide, result));
    EXPECT_EQ(result, "old");
    EXPECT_THAT(trace.lines(), ElementsAre(Line{0, std::string(kPrefix) + "not inited."}));
}

TEST_F(ContentHelperTest, NetworkWithTwoInputsIsRefused) {
    std::ostringstream output;
    std::streambuf* const old = std::cout.rdbuf(output.rdbuf());
    row_networks::Options options = row_networks::content();
    options.inputs = 2;
    make(options);
    std::cout.rdbuf(old);
    EXPECT_EQ(output.str(), "wrong in input size\n");
    EXPECT_EQ(give(Frame()), "-");
    EXPECT_THAT(trace.lines(), ElementsAre(Line{0, std::string(kPrefix) + "not inited."}));
}

TEST_F(ContentHelperTest, NetworkOfOtherShapesIsRefused) {
    row_networks::Options fewerRows = row_networks::content(), otherName = fewerRows, smaller = fewerRows;
    fewerRows.outputs[0].shape = {1, 16127, 9};
    otherName.outputs[0].name = "boxes";
    smaller.input = {1, 3, 512, 256};
    for (const row_networks::Options& options : {fewerRows, otherName, smaller}) {
        trace.takeLines();
        make(options);
        EXPECT_EQ(give(Frame()), "-");
        EXPECT_EQ(trace.count(0, "ZelContentVinoHelper::init, network is no content detector, outputs: 1"), 1);
    }
}
