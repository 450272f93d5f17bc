#include "engines/vino/LadonFrames.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>

#include "engines/vino/MotionDetect.h"
#include "platform/include/clock.h"
#include "platform/include/guarded_memory.h"
#include "tests/support/TraceCapture.h"
#include "util/include/CmMemory.h"
#include "util/include/CmTime.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Bytes = std::vector<uint8_t>;
using Floats = std::vector<float>;
using Line = zeltest::TraceCapture::Line;
using Verdict = LadonFrames::Verdict;

constexpr int32_t kWidth = 16;
constexpr int32_t kHeight = 8;
constexpr size_t kPixels = kWidth * kHeight;
constexpr int32_t kFrameBytes = kPixels * 3;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

const Line kNotInited{0, "ZelLadonVinoHelper::runInference not inited."};
const Line kParamInvalid{0, "zelipc>> ZelLadonVinoHelper::runInference param invalid."};
const Line kEmptyPointer{0, "MotionDetect isChanged: Pointer is empty"};

// The clocks: `ticks` grows by `ticksForEach` with each reading, `microseconds` stands still.
uint32_t ticks;
uint32_t ticksForEach;
unsigned long long microseconds;

std::vector<std::string> violations;

// Gives what it is told to give.
class ToldEngine : public LadonEngine {
  public:
    struct Output {
        Floats values;
        std::vector<size_t> dims;
    };

    ToldEngine(int32_t width, int32_t height) : mWidth(width), mHeight(height) { resizeInput(); }

    int32_t width() const override { return mWidth; }
    int32_t height() const override { return mHeight; }
    size_t planes() const override { return mPlanes; }
    float* input() override { return mInput.data(); }
    void infer() override {
        if (fails) throw std::runtime_error("engine failed");
        ++infers;
        ticks += ticksForInference;
        microseconds += microsecondsForInference;
    }
    LadonOutput output(const std::string& name) const override {
        const Output& told = outputs.at(name);
        return {told.values.data(), told.dims};
    }

    void setPlanes(size_t planes) {
        mPlanes = planes;
        resizeInput();
    }
    Floats plane(size_t index) const {
        const auto begin = mInput.begin() + static_cast<ptrdiff_t>(index * pixels());
        return {begin, begin + static_cast<ptrdiff_t>(pixels())};
    }
    void setMask(Floats values) {
        const std::vector<size_t> dims = {1, 1, static_cast<size_t>(mHeight), static_cast<size_t>(mWidth)};
        outputs["segmentation"] = {std::move(values), dims};
    }
    // `inside` in the left half, which has an edge when it is above 128, and 0 in the right one.
    void setHalfMask(float inside) {
        Floats values(pixels());
        for (size_t i = 0; i < values.size(); ++i) {
            values[i] = i % static_cast<size_t>(mWidth) < static_cast<size_t>(mWidth) / 2 ? inside : 0;
        }
        setMask(std::move(values));
    }

    std::map<std::string, Output> outputs;
    int infers = 0;
    bool fails = false;
    uint32_t ticksForInference = 0;
    unsigned long long microsecondsForInference = 0;

  private:
    size_t pixels() const { return static_cast<size_t>(mWidth) * static_cast<size_t>(mHeight); }
    void resizeInput() { mInput.assign(pixels() * mPlanes, -1.0f); }

    int32_t mWidth;
    int32_t mHeight;
    size_t mPlanes = 4;
    Floats mInput;
};

class LadonFramesTest : public testing::Test {
  protected:
    LadonFramesTest() {
        ticks = 1000;
        ticksForEach = 0;
        microseconds = 0;
        platform::replaceTickSource([] { return ticks += ticksForEach; });
        timer_policy::replace([] { return microseconds; });
        frames.choose(true);
        frames.setModelSize(kWidth, kHeight);
        engine.setHalfMask(255);
    }
    ~LadonFramesTest() override {
        timer_policy::replace(nullptr);
        platform::replaceTickSource(nullptr);
    }

    Verdict begin(const Bytes& frame) {
        return frames.begin(true, kWidth, kHeight, frame.data(), static_cast<int32_t>(frame.size()));
    }
    // What a host does with a frame, as far as the mask.
    Verdict run(const Bytes& frame) {
        const Verdict verdict = begin(frame);
        if (verdict == Verdict::kInfer) inferAndDecode(frame);
        return verdict;
    }
    void inferAndDecode(const Bytes& frame) {
        frames.infer(engine, frame.data());
        frames.parseSegmentation(engine);
    }
    // An inference of `milliseconds` at the tick `at`.
    bool inferAt(uint32_t at, unsigned long long milliseconds) {
        ticks = at;
        engine.microsecondsForInference = milliseconds * 1000;
        return frames.infer(engine, picture.data());
    }
    void giveGesture(Floats scores) { engine.outputs["gesture"] = {std::move(scores), {1, 9}}; }
    Bytes outMask() const { return {frames.outMask().begin(), frames.outMask().end()}; }
    Bytes prevMask() const { return {frames.prevMask().begin(), frames.prevMask().end()}; }

    static Bytes uniform(uint8_t value) { return Bytes(kFrameBytes, value); }
    static Bytes halfMask(uint8_t inside) {
        Bytes mask(kPixels, 0);
        for (size_t i = 0; i < kPixels; ++i) mask[i] = i % kWidth < kWidth / 2 ? inside : 0;
        return mask;
    }

    zeltest::TraceCapture trace;
    ToldEngine engine{kWidth, kHeight};
    LadonFrames frames{"ZelLadonVinoHelper"};
    const Bytes picture = uniform(50);
    const Bytes other = uniform(150);
};

}  // namespace

TEST_F(LadonFramesTest, StartsWithNothingToRepeat) {
    EXPECT_EQ(frames.lastChanged(), 1);
    EXPECT_EQ(frames.gestureId(), -1);
    EXPECT_EQ(frames.warmupFrames(), 0);
    EXPECT_EQ(frames.skipRun(), 0);
    EXPECT_EQ(frames.updateCount(), 0);
    EXPECT_TRUE(frames.autoSkipVBG());
    EXPECT_TRUE(frames.frameSkipAllowed());
    EXPECT_FALSE(frames.segmentationValid() || frames.gestureValid() || frames.landmarksValid());
    EXPECT_THAT(frames.outMask(), IsEmpty());
    EXPECT_THAT(frames.prevMask(), IsEmpty());
}

TEST_F(LadonFramesTest, BytesOfAPixelAreThePlanesAsTheyStand) {
    Bytes frame(kFrameBytes);
    for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(255 - i % 251);
    ASSERT_EQ(begin(frame), Verdict::kInfer);
    frames.infer(engine, frame.data());
    for (size_t plane = 0; plane < 3; ++plane) {
        Floats expected;
        for (size_t i = plane; i < frame.size(); i += 3) expected.push_back(frame[i]);
        EXPECT_EQ(engine.plane(plane), expected) << plane;
    }
    EXPECT_THAT(engine.plane(3), Each(0.0f)) << "the feedback of the first frame";
}

TEST_F(LadonFramesTest, FourthPlaneIsTheRawMaskAndTheMaskIsEroded) {
    frames.choose(false);
    Floats slope;
    for (size_t i = 0; i < kPixels; ++i) slope.push_back(static_cast<float>(240 - i % kWidth * 9));
    engine.setMask(slope);
    ASSERT_EQ(run(picture), Verdict::kInfer);
    const Bytes raw(slope.begin(), slope.end());
    Bytes eroded(kPixels);
    MotionDetect::erodeMask(kWidth, kHeight, raw.data(), eroded.data());
    ASSERT_NE(eroded, raw);
    EXPECT_TRUE(frames.segmentationValid());
    EXPECT_EQ(outMask(), eroded);
    ASSERT_EQ(run(other), Verdict::kInfer);
    EXPECT_EQ(engine.plane(3), slope);
}

TEST_F(LadonFramesTest, MaskThatIsKeptIsTheOutputAsItStands) {
    Floats slope;
    for (size_t i = 0; i < kPixels; ++i) slope.push_back(static_cast<float>(240 - i % kWidth * 9));
    engine.setMask(slope);
    ASSERT_EQ(run(picture), Verdict::kInfer);
    EXPECT_EQ(outMask(), Bytes(slope.begin(), slope.end()));
    frames.choose(false);
    inferAndDecode(picture);
    EXPECT_NE(outMask(), Bytes(slope.begin(), slope.end()));
}

TEST_F(LadonFramesTest, NetworkOfThreePlanesHasNoFeedback) {
    engine.setPlanes(3);
    ASSERT_EQ(run(picture), Verdict::kInfer);
    ASSERT_EQ(run(other), Verdict::kInfer);
    for (size_t plane = 0; plane < 3; ++plane) EXPECT_THAT(engine.plane(plane), Each(150.0f));
}

TEST_F(LadonFramesTest, ValuesAreTruncatedTowardZeroToTheirLowByte) {
    const struct {
        float value;
        uint8_t byte;
    } cases[] = {{0, 0},
                 {0.999f, 0},
                 {254.99f, 254},
                 {255.99f, 255},
                 {256, 0},
                 {300, 44},
                 {-0.5f, 0},
                 {-1, 255},
                 {-300.5f, 212},
                 {65537, 1},
                 {kNan, 0},
                 {kInfinity, 0},
                 {-kInfinity, 0},
                 {2147483520.0f, 128},
                 {2147483648.0f, 0},
                 {-2147483648.0f, 0},
                 {-3e9f, 0},
                 {1e30f, 0}};
    for (const auto& pixel : cases) {
        engine.setMask(Floats(kPixels, pixel.value));
        inferAndDecode(picture);
        EXPECT_THAT(frames.outMask(), Each(pixel.byte)) << pixel.value;
    }
}

TEST_F(LadonFramesTest, FrameBeforeInitIsRefusedWhateverItIs) {
    EXPECT_EQ(frames.begin(false, kWidth, kHeight, picture.data(), kFrameBytes), Verdict::kRefused);
    EXPECT_EQ(frames.begin(false, 1, 1, nullptr, 0), Verdict::kRefused);
    EXPECT_THAT(trace.lines(), ElementsAre(kNotInited, kNotInited));
}

TEST_F(LadonFramesTest, FrameWithoutDataIsInvalid) {
    EXPECT_EQ(frames.begin(true, kWidth, kHeight, nullptr, kFrameBytes), Verdict::kRefused);
    EXPECT_EQ(frames.begin(true, kWidth, kHeight, picture.data(), 0), Verdict::kRefused);
    EXPECT_EQ(frames.begin(true, kHeight, kWidth, picture.data(), -1), Verdict::kRefused);
    EXPECT_THAT(trace.lines(), ElementsAre(kParamInvalid, kParamInvalid, kParamInvalid));
}

TEST_F(LadonFramesTest, LinesNameTheHelper) {
    LadonFrames named("AnotherHelper");
    named.begin(false, 1, 1, nullptr, 0);
    named.begin(true, 1, 1, nullptr, 0);
    EXPECT_THAT(trace.lines(), ElementsAre(Line{0, "AnotherHelper::runInference not inited."},
                                           Line{0, "zelipc>> AnotherHelper::runInference param invalid."}));
}

TEST_F(LadonFramesTest, FrameOfAnotherSizeIsRefusedAfterTheChangeTest) {
    EXPECT_EQ(frames.begin(true, kHeight, kWidth, picture.data(), kFrameBytes), Verdict::kRefused);
    EXPECT_THAT(trace.lines(), ElementsAre(kEmptyPointer, Line{0,
                                                               "zelipc>> ZelLadonVinoHelper model size not the same, "
                                                               "tensor: w =16 h = 8, input sample: w = 8 h = 16"}));
}

TEST_F(LadonFramesTest, FrameOfAnotherSizeIsRefusedForItsSizeWhateverItsBytes) {
    frames.setAutoSkipVBG(false);
    EXPECT_EQ(frames.begin(true, 9999, 1, picture.data(), 1), Verdict::kRefused);
    EXPECT_THAT(trace.lines(), ElementsAre(Line{0,
                                                "zelipc>> ZelLadonVinoHelper model size not the same, tensor: w =16 h "
                                                "= 8, input sample: w = 9999 h = 1"}));
}

TEST_F(LadonFramesTest, FrameOfAnotherSizeThatStandsStillIsSkipped) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    trace.takeLines();
    EXPECT_EQ(frames.begin(true, kHeight, kWidth, picture.data(), kFrameBytes), Verdict::kSkipped);
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_EQ(frames.begin(true, kHeight, kWidth, other.data(), kFrameBytes), Verdict::kRefused);
    EXPECT_THAT(trace.lines(), SizeIs(1));
    EXPECT_EQ(frames.lastChanged(), 1);
}

TEST_F(LadonFramesTest, FrameWithTooFewBytesIsRefusedBeforeTheChangeTest) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    ASSERT_EQ(begin(picture), Verdict::kSkipped);
    trace.takeLines();
    EXPECT_EQ(frames.begin(true, kWidth, kHeight, picture.data(), kFrameBytes - 1), Verdict::kRefused);
    EXPECT_THAT(trace.lines(),
                ElementsAre(Line{
                    0, "zelipc>> ZelLadonVinoHelper frame data too short, size = 383, input sample: w = 16 h = 8"}));
    EXPECT_EQ(frames.skipRun(), 1);
    EXPECT_EQ(frames.lastChanged(), 0);
}

TEST_F(LadonFramesTest, SizesOfAnyKindAreReadWithinTheFrame) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    constexpr int32_t kHuge = std::numeric_limits<int32_t>::max();
    constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
    const int32_t values[] = {kLeast, -1, 0, 1, kHeight, kWidth, 65536, kHuge};
    for (const int32_t bytes : {1, 2, kFrameBytes - 1, kFrameBytes, kFrameBytes + 1}) {
        const platform::GuardedMemory data(static_cast<size_t>(bytes));
        for (const int32_t width : values) {
            for (const int32_t height : values) {
                const Verdict verdict = frames.begin(true, width, height, data.data(), bytes);
                if (width != kWidth || height != kHeight) {
                    EXPECT_NE(verdict, Verdict::kInfer) << width << 'x' << height;
                }
            }
        }
    }
}

TEST_F(LadonFramesTest, StillFrameIsSkippedAndAChangedOneInferred) {
    EXPECT_EQ(run(picture), Verdict::kInfer);
    EXPECT_EQ(frames.lastChanged(), 1);
    EXPECT_EQ(run(picture), Verdict::kSkipped);
    EXPECT_EQ(frames.lastChanged(), 0);
    EXPECT_EQ(frames.skipRun(), 1);
    EXPECT_EQ(run(picture), Verdict::kSkipped);
    EXPECT_EQ(frames.skipRun(), 2);
    EXPECT_EQ(engine.infers, 1);
    EXPECT_EQ(run(other), Verdict::kInfer);
    EXPECT_EQ(frames.lastChanged(), 1);
    EXPECT_EQ(frames.skipRun(), 0);
    EXPECT_EQ(engine.infers, 2);
}

TEST_F(LadonFramesTest, RunOfSkippedFramesEndsAfter17) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    for (int round = 0; round < 2; ++round) {
        for (int skipped = 0; skipped < 17; ++skipped) ASSERT_EQ(run(picture), Verdict::kSkipped) << skipped;
        ASSERT_EQ(run(picture), Verdict::kInfer);
    }
}

TEST_F(LadonFramesTest, TenFramesAfterAResetAreInferredThoughNothingMoves) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    ASSERT_EQ(run(picture), Verdict::kSkipped);
    frames.reset();
    EXPECT_EQ(frames.lastChanged(), 1);
    for (int left = 9; left >= 0; --left) {
        ASSERT_EQ(run(picture), Verdict::kInfer);
        EXPECT_EQ(frames.warmupFrames(), left);
    }
    EXPECT_EQ(frames.skipRun(), 1) << "the change test ran during warm-up";
    EXPECT_EQ(run(picture), Verdict::kSkipped);
}

TEST_F(LadonFramesTest, WarmupDecodesButOnlyItsLastMaskIsKept) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    frames.reset();
    for (uint8_t mask = 1; mask <= 9; ++mask) {
        engine.setHalfMask(mask);
        ASSERT_EQ(run(picture), Verdict::kInfer);
        EXPECT_TRUE(frames.segmentationValid());
        EXPECT_EQ(outMask(), halfMask(mask));
        EXPECT_EQ(prevMask(), Bytes(kPixels, 0)) << int{mask};
        EXPECT_EQ(frames.updateCount(), 1);
    }
    engine.setHalfMask(201);
    ASSERT_EQ(run(picture), Verdict::kInfer);
    EXPECT_EQ(prevMask(), halfMask(201));
    EXPECT_EQ(frames.updateCount(), 2);
}

TEST_F(LadonFramesTest, RefusedFramesDoNotCountAsWarmup) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    frames.reset();
    frames.begin(false, kWidth, kHeight, picture.data(), kFrameBytes);
    frames.begin(true, kWidth, kHeight, nullptr, kFrameBytes);
    frames.begin(true, kWidth, kHeight, picture.data(), 1);
    frames.begin(true, kHeight, kWidth, picture.data(), kFrameBytes);
    EXPECT_EQ(frames.warmupFrames(), 10);
}

TEST_F(LadonFramesTest, FramesThatMayNotBeSkippedKeepTheLastAnswerOfTheChangeTest) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    ASSERT_EQ(run(picture), Verdict::kSkipped);
    frames.setFrameSkipAllowed(false);
    EXPECT_EQ(run(other), Verdict::kInfer);
    EXPECT_EQ(frames.lastChanged(), 0);
    EXPECT_EQ(frames.skipRun(), 1);
    frames.setFrameSkipAllowed(true);
    EXPECT_EQ(run(picture), Verdict::kSkipped) << "the frame that could not be skipped became the reference";
}

TEST_F(LadonFramesTest, NothingIsTestedWhileSkippingIsOffUntilTheNextChoice) {
    frames.setAutoSkipVBG(false);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(run(picture), Verdict::kInfer);
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_EQ(frames.updateCount(), 0);
    EXPECT_THAT(frames.prevMask(), IsEmpty());
    frames.choose(true);
    EXPECT_TRUE(frames.autoSkipVBG());
    EXPECT_EQ(run(picture), Verdict::kInfer);
    EXPECT_EQ(run(picture), Verdict::kSkipped);
}

TEST_F(LadonFramesTest, MaskToRepeatStaysWhileLaterOnesAreOnlyDecoded) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    frames.setFrameSkipAllowed(false);
    for (const uint8_t mask : {140, 150, 160}) {
        engine.setHalfMask(mask);
        ASSERT_EQ(run(other), Verdict::kInfer);
        EXPECT_EQ(outMask(), halfMask(mask));
        EXPECT_EQ(prevMask(), halfMask(255));
    }
    EXPECT_EQ(frames.updateCount(), 1);
    frames.setFrameSkipAllowed(true);
    EXPECT_EQ(run(picture), Verdict::kSkipped);
    EXPECT_EQ(prevMask(), halfMask(255));
}

TEST_F(LadonFramesTest, MaskOfEachUpdateIsTheOneToRepeat) {
    for (const uint8_t mask : {255, 240, 230}) {
        engine.setHalfMask(mask);
        ASSERT_EQ(run(uniform(mask)), Verdict::kInfer);
        EXPECT_EQ(prevMask(), halfMask(mask));
    }
    EXPECT_EQ(frames.updateCount(), 3);
}

TEST_F(LadonFramesTest, EveryTenthMaskRefreshesTheReference) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    for (int mask = 2; mask <= 11; ++mask) EXPECT_EQ(run(other), Verdict::kInfer) << mask;
    EXPECT_EQ(run(other), Verdict::kSkipped) << "the eleventh mask did not make its frame the reference";
}

TEST_F(LadonFramesTest, MaskSumThatMovesByMoreThanAFifthRefreshesTheReference) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    engine.setHalfMask(240);
    ASSERT_EQ(run(other), Verdict::kInfer);
    ASSERT_EQ(run(other), Verdict::kInfer) << "the reference followed a mask that had hardly moved";
    engine.setHalfMask(200);
    ASSERT_EQ(run(other), Verdict::kInfer);
    EXPECT_EQ(run(other), Verdict::kSkipped);
}

// The helper's owner may reuse or free a frame's memory as soon as it has been decoded.
TEST_F(LadonFramesTest, FrameOfAnEarlierCallIsNeverRead) {
    auto first = std::make_unique<Bytes>(picture);
    ASSERT_EQ(run(*first), Verdict::kInfer);
    std::fill(first->begin(), first->end(), uint8_t{150});
    frames.reset();
    frames.clearUpdateCount();
    for (int i = 0; i < 10; ++i) {
        const auto frame = std::make_unique<Bytes>(uniform(100));
        ASSERT_EQ(run(*frame), Verdict::kInfer);
        if (i == 5) first.reset();
    }
    ASSERT_EQ(frames.updateCount(), 1) << "the reference was not refreshed";
    EXPECT_EQ(begin(other), Verdict::kInfer);
    EXPECT_EQ(begin(uniform(100)), Verdict::kInfer);
    EXPECT_EQ(begin(picture), Verdict::kSkipped) << "the reference keeps its bytes when no test saw the frame";
}

TEST_F(LadonFramesTest, SkippingTurnedOnDuringAFrameDoesNotBringBackAnEarlierOne) {
    Bytes first = picture;
    ASSERT_EQ(run(first), Verdict::kInfer);
    ASSERT_EQ(begin(first), Verdict::kSkipped);
    std::fill(first.begin(), first.end(), uint8_t{150});
    frames.setAutoSkipVBG(false);
    ASSERT_EQ(begin(uniform(100)), Verdict::kInfer);
    frames.infer(engine, first.data());
    frames.setAutoSkipVBG(true);
    frames.clearUpdateCount();
    frames.parseSegmentation(engine);
    ASSERT_EQ(frames.updateCount(), 1);
    EXPECT_EQ(begin(first), Verdict::kInfer);
    EXPECT_EQ(begin(picture), Verdict::kSkipped);
}

TEST_F(LadonFramesTest, SkippedFrameOfFewerBytesDoesNotBecomeTheReference) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    ASSERT_EQ(frames.begin(true, 1, 1, other.data(), 3), Verdict::kSkipped);
    frames.clearUpdateCount();
    frames.parseSegmentation(engine);
    ASSERT_EQ(frames.updateCount(), 1);
    EXPECT_EQ(begin(other), Verdict::kInfer) << "bytes beyond the three were read";
    EXPECT_EQ(begin(picture), Verdict::kSkipped);
}

TEST_F(LadonFramesTest, ResetClearsTheMaskToRepeat) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    ASSERT_EQ(prevMask(), halfMask(255));
    frames.reset();
    EXPECT_EQ(prevMask(), Bytes(kPixels, 0));
    EXPECT_EQ(outMask(), halfMask(255)) << "the mask last decoded stays";
}

TEST_F(LadonFramesTest, ResetWithoutAMaskTripsTheConstraintHandler) {
    violations.clear();
    const cm::ConstraintHandler old =
        cm::setConstraintHandler([](unsigned, const char* message) { violations.emplace_back(message); });
    frames.reset();
    EXPECT_THAT(violations, SizeIs(1));
    EXPECT_EQ(frames.warmupFrames(), 10);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(run(picture), Verdict::kInfer);
    frames.reset();
    cm::setConstraintHandler(old);
    EXPECT_THAT(violations, SizeIs(1));
}

TEST_F(LadonFramesTest, ChoiceForgetsEdgeAndCountButNotTheMaskToRepeat) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    frames.choose(true);
    EXPECT_EQ(frames.updateCount(), 0);
    EXPECT_EQ(prevMask(), halfMask(255));
    EXPECT_EQ(run(other), Verdict::kSkipped) << "without an edge nothing counts as changed";
}

TEST_F(LadonFramesTest, MasksOfLargerPicturesAreDecodedWhole) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    ToldEngine large(641, 361);
    frames.setModelSize(641, 361);
    const size_t pixels = size_t{641} * 361;
    const Bytes frame(pixels * 3, 7);
    large.setHalfMask(200);
    frames.setAutoSkipVBG(false);
    ASSERT_EQ(frames.begin(true, 641, 361, frame.data(), static_cast<int32_t>(frame.size())), Verdict::kInfer);
    frames.infer(large, frame.data());
    EXPECT_EQ(prevMask(), halfMask(255)) << "lost as the masks grew";
    EXPECT_EQ(large.plane(3).back(), 0.0f);
    frames.parseSegmentation(large);
    EXPECT_EQ(prevMask(), halfMask(255));
    ASSERT_THAT(frames.outMask(), SizeIs(pixels));
    EXPECT_EQ(frames.outMask()[pixels - 641], 200);
    EXPECT_EQ(frames.outMask()[pixels - 1], 0);

    frames.setAutoSkipVBG(true);
    ASSERT_EQ(frames.begin(true, 641, 361, frame.data(), static_cast<int32_t>(frame.size())), Verdict::kInfer);
    frames.infer(large, frame.data());
    EXPECT_EQ(large.plane(3)[pixels - 641], 200.0f);
    frames.parseSegmentation(large);
    EXPECT_THAT(frames.prevMask(), SizeIs(pixels));

    frames.setModelSize(kWidth, kHeight);
    frames.setAutoSkipVBG(false);
    ASSERT_EQ(run(other), Verdict::kInfer);
    EXPECT_THAT(frames.outMask(), SizeIs(kPixels));
}

TEST_F(LadonFramesTest, MaskOutputWithoutHeightAndWidthIsOutOfRange) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    const std::vector<size_t> shapes[] = {{}, {kPixels}, {8, 16}, {1, 8, 16}};
    for (const std::vector<size_t>& dims : shapes) {
        engine.outputs["segmentation"].dims = dims;
        EXPECT_THROW(frames.parseSegmentation(engine), std::out_of_range) << dims.size();
        EXPECT_FALSE(frames.segmentationValid());
    }
    EXPECT_EQ(outMask(), halfMask(255));
}

TEST_F(LadonFramesTest, MaskOfAnotherSizeThanThePictureIsRefused) {
    ASSERT_EQ(run(picture), Verdict::kInfer);
    trace.takeLines();
    const std::vector<size_t> shapes[] = {{1, 1, 16, 8}, {1, 1, 8, 0}, {1, 2, 8, 16}, {1, 1, 8, 16, 2}, {1, 1, 9, 16}};
    for (const std::vector<size_t>& dims : shapes) {
        engine.outputs["segmentation"] = {Floats(kPixels * 2, 9), dims};
        frames.parseSegmentation(engine);
        EXPECT_FALSE(frames.segmentationValid());
        EXPECT_EQ(trace.takeLines(),
                  (std::vector<Line>{{0,
                                      "zelipc>> ZelLadonVinoHelper::parseSegmentationOutput, mask of another size than "
                                      "the picture: w = " +
                                          std::to_string(dims[3]) + " h = " + std::to_string(dims[2])}}));
    }
    EXPECT_EQ(outMask(), halfMask(255));
    EXPECT_EQ(frames.updateCount(), 1);
    engine.setHalfMask(9);
    frames.parseSegmentation(engine);
    EXPECT_TRUE(frames.segmentationValid());
}

TEST_F(LadonFramesTest, MissingOutputsRaiseAndClearTheirFlag) {
    giveGesture(Floats(9, 1));
    engine.outputs["faces_and_landmarks"] = {Floats(9 * 16 * 1439), {1, 1, 9, 16, 1439}};
    const float* values = nullptr;
    ASSERT_EQ(run(picture), Verdict::kInfer);
    frames.readGesture(engine, &values);
    frames.readLandmarks(engine, &values);
    ASSERT_TRUE(frames.segmentationValid() && frames.gestureValid() && frames.landmarksValid());
    engine.outputs.clear();
    EXPECT_THROW(frames.parseSegmentation(engine), std::out_of_range);
    EXPECT_THROW(frames.readGesture(engine, &values), std::out_of_range);
    EXPECT_THROW(frames.readLandmarks(engine, &values), std::out_of_range);
    EXPECT_THROW(frames.readMotion(engine), std::out_of_range);
    EXPECT_FALSE(frames.segmentationValid() || frames.gestureValid() || frames.landmarksValid());
}

TEST_F(LadonFramesTest, StrongestGestureWins) {
    const struct {
        Floats scores;
        int32_t id;
    } cases[] = {
        {{0, 1, 2, 3, 4, 5, 6, 7, 8}, 8},
        {{9, 1, 2, 3, 4, 5, 6, 7, 8}, 0},
        {{0, 0, 3, 0, 5, 0, 5, 5, 0}, 4},
        {{-1, -2, -3, -4, -5, -6, -7, 1e-30f, -9}, 7},
        {{0, 0, 0, 0, 0, 0, 0, 0, 0}, -1},
        {{-0.0f, -1, -2, -3, -4, -5, -6, -7, -kInfinity}, -1},
        {{kNan, 1, kNan, 2, kNan, 1, kNan, kNan, kNan}, 3},
        {{kNan, kNan, kNan, kNan, kNan, kNan, kNan, kNan, kNan}, -1},
        {{0, kInfinity, 5, kInfinity, 0, 0, 0, 0, 0}, 1},
    };
    for (const auto& gesture : cases) {
        giveGesture(gesture.scores);
        const float* scores = nullptr;
        frames.readGesture(engine, &scores);
        EXPECT_EQ(frames.gestureId(), gesture.id) << testing::PrintToString(gesture.scores);
        EXPECT_TRUE(frames.gestureValid());
        EXPECT_EQ(scores, engine.outputs["gesture"].values.data());
    }
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(LadonFramesTest, AnotherNumberOfGesturesLeavesPointerAndIndex) {
    const struct {
        std::vector<size_t> dims;
        const char* actual;
    } cases[] = {{{1, 8}, "8"}, {{1, 10}, "10"}, {{9}, "0"}, {{}, "0"}, {{9, 1}, "1"}, {{2, 9}, "9"}};
    giveGesture({0, 0, 1, 0, 0, 0, 0, 0, 0});
    const float* scores = nullptr;
    frames.readGesture(engine, &scores);
    const float* const before = scores;
    for (const auto& shape : cases) {
        engine.outputs["gesture"] = {Floats(18, 5), shape.dims};
        frames.readGesture(engine, &scores);
        EXPECT_THAT(trace.takeLines(),
                    ElementsAre(Line{0, std::string("zelipc>> ZelLadonVinoHelper::getGestureOutput, gesture number not "
                                                    "equal to preset number, actual:") +
                                            shape.actual + ", preset:9"}));
        EXPECT_FALSE(frames.gestureValid());
        EXPECT_EQ(scores, before);
        EXPECT_EQ(frames.gestureId(), 2);
    }
}

TEST_F(LadonFramesTest, LandmarksAreGivenAsTheyStand) {
    engine.outputs["faces_and_landmarks"] = {Floats(9 * 16 * 1439, 3), {1, 1, 9, 16, 1439}};
    const float* landmarks = nullptr;
    frames.readLandmarks(engine, &landmarks);
    EXPECT_EQ(landmarks, engine.outputs["faces_and_landmarks"].values.data());
    EXPECT_TRUE(frames.landmarksValid());
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(LadonFramesTest, LandmarksOfAnotherShapeLeaveThePointer) {
    const struct {
        std::vector<size_t> dims;
        const char* actual;
    } cases[] = {{{1, 1, 9, 16, 1438}, "1x9x16x1438"},   {{1, 1, 16, 9, 1439}, "1x16x9x1439"},
                 {{1, 2, 9, 16, 1439}, "2x9x16x1439"},   {{2, 1, 9, 16, 1439}, "1x9x16x1439"},
                 {{1, 9, 16, 1439}, "9x16x1439x0"},      {{}, "0x0x0x0"},
                 {{1, 1, 9, 16, 1439, 2}, "1x9x16x1439"}};
    const float* landmarks = nullptr;
    for (const auto& shape : cases) {
        engine.outputs["faces_and_landmarks"] = {Floats(1), shape.dims};
        frames.readLandmarks(engine, &landmarks);
        EXPECT_THAT(
            trace.takeLines(),
            ElementsAre(Line{0, std::string("zelipc >> ZelLadonVinoHelper::parseLandmarksOutput, output tensor shape "
                                            "not equal to preset shape, actual: ") +
                                    shape.actual + ", preset: 1x9x16x1439"}));
        EXPECT_FALSE(frames.landmarksValid());
        EXPECT_EQ(landmarks, nullptr);
    }
}

TEST_F(LadonFramesTest, MotionIsTheFirstValue) {
    engine.outputs["motion"] = {{0.25f, 9}, {1, 1, 1, 2}};
    EXPECT_EQ(frames.readMotion(engine), 0.25f);
    engine.outputs["motion"] = {{-3}, {}};
    EXPECT_EQ(frames.readMotion(engine), -3);
    engine.outputs["motion"] = {{}, {1, 0, 1, 1}};
    EXPECT_EQ(frames.readMotion(engine), 0);
}

TEST_F(LadonFramesTest, FailureOfTheEngineReachesTheCallerAndFramesGoOn) {
    ASSERT_EQ(begin(picture), Verdict::kInfer);
    engine.fails = true;
    EXPECT_THROW(frames.infer(engine, picture.data()), std::runtime_error);
    engine.fails = false;
    EXPECT_EQ(run(picture), Verdict::kInfer);
    EXPECT_EQ(outMask(), halfMask(255));
    EXPECT_EQ(run(picture), Verdict::kSkipped);
}

TEST_F(LadonFramesTest, WindowClosesWithTheFirstInferenceTenSecondsAfterItsStart) {
    EXPECT_FALSE(inferAt(5000, 10));
    EXPECT_FALSE(inferAt(9000, 11));
    EXPECT_FALSE(inferAt(14999, 11));
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_FALSE(inferAt(15000, 40));
    EXPECT_THAT(trace.takeLines(),
                ElementsAre(Line{2,
                                 "zelipc>> ZelLadonVinoHelper infer_request.Infer() predict , elapsed=10000, fps=0.3, "
                                 "mTotalCount=3 times, total = 32 ms, average = 10 ms,  Skip / active is about 0, VBG "
                                 "update 0, skip VBG cost(ms)0"}));
}

TEST_F(LadonFramesTest, InferenceThatClosesAWindowIsTheFirstOfTheNext) {
    inferAt(5000, 1);
    inferAt(15000, 40);
    trace.takeLines();
    EXPECT_FALSE(inferAt(70000, 2)) << "the next window begins with the next inference";
    EXPECT_FALSE(inferAt(79999, 4));
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_FALSE(inferAt(82500, 100));
    EXPECT_THAT(trace.lines(),
                ElementsAre(Line{2,
                                 "zelipc>> ZelLadonVinoHelper infer_request.Infer() predict , elapsed=12500, fps=0.24, "
                                 "mTotalCount=3 times, total = 46 ms, average = 15 ms,  Skip / active is about 0, VBG "
                                 "update 0, skip VBG cost(ms)0"}));
}

TEST_F(LadonFramesTest, WindowWithoutAnInferenceNeverCloses) {
    engine.ticksForInference = 20000;
    EXPECT_FALSE(inferAt(5000, 20000));
    EXPECT_THAT(trace.lines(), IsEmpty());
    engine.ticksForInference = 0;
    EXPECT_TRUE(inferAt(25000, 1));
    EXPECT_THAT(trace.lines(),
                ElementsAre(Line{2,
                                 "zelipc>> ZelLadonVinoHelper infer_request.Infer() predict , elapsed=20000, fps=0.05, "
                                 "mTotalCount=1 times, total = 20000 ms, average = 20000 ms,  Skip / active is about "
                                 "0, VBG update 0, skip VBG cost(ms)0"}));
}

TEST_F(LadonFramesTest, FailedInferenceBeginsAWindowButDoesNotCount) {
    engine.fails = true;
    EXPECT_THROW(inferAt(5000, 1), std::runtime_error);
    engine.fails = false;
    EXPECT_FALSE(inferAt(60000, 3));
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_FALSE(inferAt(60001, 3));
    EXPECT_TRUE(trace.contains("elapsed=55001, "));
    EXPECT_TRUE(trace.contains("mTotalCount=1 times, total = 3 ms"));
}

TEST_F(LadonFramesTest, WindowOutlivesTheEndOfTheTickCount) {
    EXPECT_FALSE(inferAt(0xFFFFFFF0, 1));
    EXPECT_FALSE(inferAt(9983, 1));
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_FALSE(inferAt(9984, 1));
    EXPECT_TRUE(trace.contains("elapsed=10000, "));
}

TEST_F(LadonFramesTest, DurationIsTheDifferenceOfWholeMilliseconds) {
    ticks = 5000;
    microseconds = 1999;
    engine.microsecondsForInference = 1;
    frames.infer(engine, picture.data());
    microseconds = 2000;
    engine.microsecondsForInference = 999;
    frames.infer(engine, picture.data());
    inferAt(15000, 0);
    EXPECT_TRUE(trace.contains("mTotalCount=2 times, total = 1 ms, average = 0 ms"));
}

TEST_F(LadonFramesTest, WindowCountsSkipsMasksAndTheirCost) {
    ticks = 5000;
    ASSERT_EQ(run(picture), Verdict::kInfer);
    ASSERT_EQ(run(other), Verdict::kInfer);
    ticksForEach = 5;
    for (int skipped = 0; skipped < 7; ++skipped) ASSERT_EQ(run(picture), Verdict::kSkipped);
    ASSERT_EQ(begin(other), Verdict::kInfer);
    ticksForEach = 0;
    inferAt(15000, 0);
    // Seven frames for two inferences, and 5 ms for each of eight tests.
    EXPECT_TRUE(trace.contains("Skip / active is about 3, VBG update 2, skip VBG cost(ms)0.04"));
    trace.takeLines();
    ticksForEach = 5;
    frames.parseSegmentation(engine);
    ticksForEach = 0;
    inferAt(30000, 0);
    inferAt(40000, 0);
    EXPECT_TRUE(trace.contains("Skip / active is about 0, VBG update 3, skip VBG cost(ms)0.005"));
}

TEST_F(LadonFramesTest, AverageAbove150IsTooSlow) {
    EXPECT_FALSE(inferAt(1, 150));
    EXPECT_FALSE(inferAt(2, 150));
    EXPECT_FALSE(inferAt(10001, 150)) << "exactly 150";
    EXPECT_FALSE(inferAt(20001, 151));
    EXPECT_TRUE(inferAt(30001, 0)) << "301 ms for two";
    EXPECT_FALSE(inferAt(40001, 150));
    EXPECT_FALSE(inferAt(50001, 900)) << "the slow inference is one of the next window";
    EXPECT_FALSE(inferAt(60001, 0));
    EXPECT_TRUE(inferAt(70001, 0));
}
