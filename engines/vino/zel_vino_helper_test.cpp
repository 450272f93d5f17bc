#include "engines/vino/ZelVinoHelper.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

#include "engines/vino/HelperFixture.h"
#include "engines/vino/MotionDetect.h"
#include "platform/include/guarded_memory.h"

using InferenceEngine::details::InferenceEngineException;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

namespace {

using Line = zeltest::TraceCapture::Line;

const Line kEmptyPointer{0, "MotionDetect isChanged: Pointer is empty"};
const Line kNotInited{0, "ZelVinoHelper::processUsingV5Model not inited."};
const Line kParamInvalid{0, "zelipc>> ZelVinoHelper::process param invalid."};
const Line kFallBack{2, "zelipc>> ZelVinoHelper, GPU exceed max processing time, fall back to CPU"};
const Line kBatch{2, "zelipc>> ZelVinoHelper::init mNetwork.getBatchSize() = 1"};

class ZelVinoHelperTest : public HelperFixture {
  protected:
    // Inferences without the change test.
    void infer(ZelVinoHelper& helper, int frames) {
        for (int i = 0; i < frames; ++i) {
            ASSERT_TRUE(helper.processUsingV5Model(kWidth, kHeight, frame.data(), kFrameBytes, &mask));
        }
    }

    Bytes frame = halfFrame(201);
};

// The mask that the default network makes of `frame`.
std::vector<uint8_t> rawMaskOf(const std::vector<uint8_t>& frame) {
    std::vector<uint8_t> raw(frame.size() / 3);
    for (size_t i = 0; i < raw.size(); ++i) raw[i] = static_cast<uint8_t>(static_cast<float>(frame[i * 3]) / 256 * 255);
    return raw;
}

}  // namespace

TEST_F(ZelVinoHelperTest, ConstructionReadsTheCpuNetworkAndKeepsNoDevice) {
    networks[140].name = "TheCpuOne";
    const ZelVinoHelper helper(source());
    EXPECT_THAT(idsRead, ElementsAre(Pair(140, 150)));
    EXPECT_EQ(helper.networkName(), "TheCpuOne");
    EXPECT_EQ(helper.deviceType(), "");
    EXPECT_TRUE(helper.autoSkipVBG());
    EXPECT_FALSE(helper.inited());
}

TEST_F(ZelVinoHelperTest, DeviceAndPerformanceChooseTheNetwork) {
    ZelVinoHelper helper(source());
    idsRead.clear();
    helper.preInit("GPU", 1);
    helper.preInit("GPU", 0);
    helper.preInit("CPU", 1);
    helper.preInit("CPU", 0);
    EXPECT_THAT(idsRead, ElementsAre(Pair(160, 170), Pair(101, 100), Pair(180, 190), Pair(140, 150)));
}

TEST_F(ZelVinoHelperTest, OtherCombinationsReadTheLastNetworkAgain) {
    ZelVinoHelper helper(source());
    helper.preInit("CPU", 1);
    idsRead.clear();
    helper.preInit("NPU", 0);
    helper.preInit("CPU", 2);
    helper.preInit("gpu", 1);
    helper.preInit("", 0);
    EXPECT_THAT(idsRead, testing::AllOf(testing::SizeIs(4), Each(Pair(180, 190))));
}

TEST_F(ZelVinoHelperTest, PreInitTracesTheProcessor) {
    ZelVinoHelper helper(source());
    trace.takeLines();
    helper.preInit("GPU", 0);
    EXPECT_THAT(trace.lines(),
                ElementsAre(testing::Field(&Line::text, HasSubstr("zelipc>> ZelVinoHelper::preInit")),
                            testing::Field(&Line::text, HasSubstr("zelipc>>ZelVinoHelper::init number of "
                                                                  "physical core: ")),
                            testing::Field(&Line::text, HasSubstr("zelipc>> ZelVinoHelper::preInit"))));
}

TEST_F(ZelVinoHelperTest, FailedPreInitLeavesNetworkAndOptions) {
    networks[140].name = "Served";
    bool missing = false;
    ZelVinoHelper helper([&, read = source()](const InferenceEngine::Core& core, int xmlId, int binId) {
        if (missing) throw InferenceEngineException("resource is missing");
        return read(core, xmlId, binId);
    });
    helper.setAutoSkipVBG(false);
    missing = true;
    EXPECT_THROW(helper.preInit("GPU", 1), InferenceEngineException);
    EXPECT_EQ(helper.networkName(), "Served");
    EXPECT_FALSE(helper.autoSkipVBG());
    missing = false;
    idsRead.clear();
    helper.preInit("NPU", 0);
    EXPECT_THAT(idsRead, ElementsAre(Pair(140, 150)));
}

TEST_F(ZelVinoHelperTest, PreInitTurnsSkippingBackOn) {
    ZelVinoHelper helper(source());
    helper.setAutoSkipVBG(false);
    EXPECT_FALSE(helper.autoSkipVBG());
    helper.preInit("CPU", 0);
    EXPECT_TRUE(helper.autoSkipVBG());
}

TEST_F(ZelVinoHelperTest, InitOnTheCpuTracesTimeAndBatch) {
    ZelVinoHelper helper(source());
    setTickSteps(0, 17);
    trace.takeLines();
    EXPECT_TRUE(helper.init("CPU"));
    EXPECT_THAT(trace.lines(), ElementsAre(Line{2, "zelipc>>ZelVinoHelper::init LoadNetwork time :17"}, kBatch));
    EXPECT_EQ(helper.deviceType(), "CPU");
    EXPECT_TRUE(helper.inited());
}

TEST_F(ZelVinoHelperTest, InitOnTheGpuAlsoTracesTheCache) {
    ZelVinoHelper helper(source());
    setTickSteps(0, 17);
    trace.takeLines();
    EXPECT_TRUE(helper.init("GPU"));
    const Lines lines = trace.lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].level, 2u);
    EXPECT_THAT(lines[0].text, testing::StartsWith("zelipc>> getTestDataPath :"));
    EXPECT_EQ(lines[1], (Line{2, "zelipc>>loadgpu finished, cache is ready."}));
    EXPECT_EQ(lines[2], (Line{2, "zelipc>>ZelVinoHelper::init LoadNetwork time :17"}));
    EXPECT_EQ(lines[3], kBatch);
    EXPECT_EQ(helper.deviceType(), "GPU");
}

TEST_F(ZelVinoHelperTest, TwoInputsAreRefusedAndTheHelperStaysNotInited) {
    networks[140].inputs = 2;
    ZelVinoHelper helper(source());
    trace.takeLines();
    EXPECT_FALSE(helper.init("CPU"));
    EXPECT_EQ(trace.lines().back(), (Line{0, "zelipc>> ZelVinoHelper::init mInputInfo.size() != 1"}));
    EXPECT_FALSE(helper.inited());
    EXPECT_EQ(helper.deviceType(), "");
}

TEST_F(ZelVinoHelperTest, InputOfAnotherRankRaises) {
    networks[140].channels = 4;
    ZelVinoHelper helper([](const InferenceEngine::Core& core, int, int) {
        mask_networks::Pair pair = mask_networks::make({});
        const std::string four = "1,4,8,16";
        const size_t at = pair.xml.find(four);
        pair.xml.replace(at, four.size(), "4,8,16");
        return pair.read(core);
    });
    EXPECT_THROW(helper.init("CPU"), InferenceEngineException);
    EXPECT_FALSE(helper.inited());
}

TEST_F(ZelVinoHelperTest, MaskOfAnotherShapeIsRefusedWithOneLine) {
    const struct {
        int axis;
        bool keepDims;
        const char* output;
    } cases[] = {{2, true, "1x4x1x16"}, {3, true, "1x4x8x1"}, {1, false, "1x8x16"}};
    for (const auto& shape : cases) {
        networks[140].axis = shape.axis;
        networks[140].keepDims = shape.keepDims;
        ZelVinoHelper helper(source());
        trace.takeLines();
        EXPECT_FALSE(helper.init("CPU"));
        EXPECT_EQ(trace.lines().back(),
                  (Line{0, std::string("zelipc>> ZelVinoHelper::init mask output not usable, output: ") + shape.output +
                               ", input: 1x4x8x16"}));
        EXPECT_FALSE(helper.inited());
        EXPECT_FALSE(process(helper, frame));
    }
}

TEST_F(ZelVinoHelperTest, NetworkLargerThanTheMaskBuffersIsRefused) {
    networks[140].height = 361;
    networks[140].width = 640;
    ZelVinoHelper helper(source());
    EXPECT_FALSE(helper.init("CPU"));
    EXPECT_EQ(
        trace.lines().back(),
        (Line{0, "zelipc>> ZelVinoHelper::init mask output not usable, output: 1x1x361x640, input: 1x4x361x640"}));
    networks[140].height = 360;
    helper.preInit("CPU", 0);
    EXPECT_TRUE(helper.init("CPU"));
}

TEST_F(ZelVinoHelperTest, OutputNameOfTheFirstNetworkIsAskedOfLaterOnes) {
    networks[180].outputName = "another_mask";
    ZelVinoHelper helper(source());
    ASSERT_TRUE(helper.init("CPU"));
    helper.preInit("CPU", 1);
    EXPECT_FALSE(helper.init("CPU"));
    EXPECT_EQ(trace.lines().back(),
              (Line{0, "zelipc>> ZelVinoHelper::init network has no mask output, mOutputName = output_mask"}));
}

TEST_F(ZelVinoHelperTest, NullFrameAndSizeBelowOneAreInvalid) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    trace.takeLines();
    uint8_t* const before = mask;
    EXPECT_FALSE(helper.process(kWidth, kHeight, nullptr, kFrameBytes, &mask));
    EXPECT_FALSE(helper.process(kWidth, kHeight, frame.data(), 0, &mask));
    EXPECT_FALSE(helper.process(kWidth, kHeight, frame.data(), -1, &mask));
    EXPECT_FALSE(helper.process(kWidth, kHeight, frame.data(), kFrameBytes, nullptr));
    EXPECT_THAT(trace.lines(), ElementsAre(kParamInvalid, kParamInvalid, kParamInvalid, kParamInvalid));
    EXPECT_EQ(mask, before);
}

TEST_F(ZelVinoHelperTest, FrameBeforeInitFailsAfterTheChangeTest) {
    ZelVinoHelper helper(source());
    trace.takeLines();
    EXPECT_FALSE(process(helper, frame));
    EXPECT_THAT(trace.lines(), ElementsAre(kEmptyPointer, kNotInited));
    EXPECT_EQ(mask, incoming.data());
}

TEST_F(ZelVinoHelperTest, UninitRefusesFramesUntilTheNextInit) {
    ZelVinoHelper helper(source());
    helper.setAutoSkipVBG(false);
    ASSERT_TRUE(helper.init("CPU"));
    helper.uninit();
    trace.takeLines();
    EXPECT_FALSE(process(helper, frame));
    EXPECT_THAT(trace.lines(), ElementsAre(kNotInited));
    ASSERT_TRUE(helper.init("CPU"));
    EXPECT_TRUE(process(helper, frame));
}

TEST_F(ZelVinoHelperTest, FrameOfAnotherSizeIsRefused) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    trace.takeLines();
    EXPECT_FALSE(helper.process(kHeight, kWidth, frame.data(), kFrameBytes, &mask));
    EXPECT_THAT(trace.lines(),
                ElementsAre(kEmptyPointer, Line{0,
                                                "zelipc>> ZelVinoHelper model size not the same, tensor: w "
                                                "=16 h = 8, input sample: w = 8 h = 16"}));
    EXPECT_TRUE(process(helper, frame));
}

TEST_F(ZelVinoHelperTest, FrameWithTooFewBytesIsRefusedAndChangesNothing) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    ASSERT_TRUE(process(helper, frame));
    const Line line{0, "zelipc>> ZelVinoHelper frame data too short, size = 383, input sample: w = 16 h = 8"};
    for (int i = 0; i < 20; ++i) {
        trace.takeLines();
        EXPECT_FALSE(helper.process(kWidth, kHeight, frame.data(), kFrameBytes - 1, &mask));
        EXPECT_FALSE(helper.processUsingV5Model(kWidth, kHeight, frame.data(), kFrameBytes - 1, &mask));
        EXPECT_THAT(trace.lines(), ElementsAre(line, line));
    }
    mask = incoming.data();
    ASSERT_TRUE(process(helper, frame));
    EXPECT_EQ(mask, incoming.data()) << "the run of skipped frames was counted on";
}

TEST_F(ZelVinoHelperTest, SizesOfAnyKindStayWithinTheBuffers) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    ASSERT_TRUE(process(helper, frame));
    constexpr int32_t kHuge = std::numeric_limits<int32_t>::max();
    constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
    const int32_t values[] = {kLeast, -1, 0, 1, 3, kHeight, kWidth, 360, 640, 65536, kHuge};
    for (const int32_t width : values) {
        for (const int32_t height : values) {
            for (const size_t bytes :
                 {size_t{1}, size_t{2}, size_t{kFrameBytes - 1}, size_t{kFrameBytes}, size_t{100000}}) {
                const platform::GuardedMemory data(bytes);
                const platform::GuardedMemory out(ZelVinoHelper::kMaskBytes);
                uint8_t* target = out.data();
                helper.process(width, height, data.data(), static_cast<int32_t>(bytes), &target);
            }
        }
    }
    helper.setAutoSkipVBG(false);
    EXPECT_TRUE(process(helper, uniformFrame(99)));
    EXPECT_THAT(maskBytes(), Each(98));
}

TEST_F(ZelVinoHelperTest, SmallMaskIsTheErodedOutput) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    for (int32_t i = 0; i < kPixels; ++i)
        frame[static_cast<size_t>(i) * 3] = static_cast<uint8_t>(240 - i % kWidth * 9);
    ASSERT_TRUE(process(helper, frame));
    const Bytes raw = rawMaskOf(frame);
    Bytes expected(raw.size());
    MotionDetect::erodeMask(kWidth, kHeight, raw.data(), expected.data());
    EXPECT_EQ(maskBytes(), expected);
    EXPECT_NE(raw, expected);
}

TEST_F(ZelVinoHelperTest, LargeMaskIsTheOutputAsItStands) {
    ZelVinoHelper helper(source());
    helper.preInit("CPU", 1);
    helper.init("CPU");
    for (int32_t i = 0; i < kPixels; ++i)
        frame[static_cast<size_t>(i) * 3] = static_cast<uint8_t>(240 - i % kWidth * 9);
    ASSERT_TRUE(process(helper, frame));
    EXPECT_EQ(maskBytes(), rawMaskOf(frame));
}

TEST_F(ZelVinoHelperTest, OutputIsTruncatedTowardZeroToItsLowByte) {
    networks[140].factors = {2.0f, -1.0f};
    ZelVinoHelper helper(source());
    helper.init("CPU");
    const struct {
        uint8_t first, second, mask;
    } cases[] = {{1, 0, 254}, {2, 0, 252}, {0, 1, 1}, {0, 2, 2}, {0, 0, 0}, {128, 0, 0}, {64, 0, 128}};
    for (const auto& pixel : cases) {
        for (size_t i = 0; i < frame.size(); i += 3) frame[i] = pixel.first, frame[i + 1] = pixel.second;
        ASSERT_TRUE(helper.processUsingV5Model(kWidth, kHeight, frame.data(), kFrameBytes, &mask));
        EXPECT_THAT(maskBytes(), Each(pixel.mask)) << int{pixel.first} << ' ' << int{pixel.second};
    }
}

TEST_F(ZelVinoHelperTest, RawMaskIsTheFourthPlaneOfTheNextFrame) {
    networks[180].factors = {1.0f / 256, 0, 0, 1.0f / 256};
    ZelVinoHelper helper(source());
    helper.preInit("CPU", 1);
    helper.init("CPU");
    const Bytes black = uniformFrame(0);
    infer(helper, 1);
    Bytes expected = rawMaskOf(frame);
    EXPECT_EQ(maskBytes(), expected) << "the fourth plane of the first frame is not all zeros";
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(helper.processUsingV5Model(kWidth, kHeight, black.data(), kFrameBytes, &mask));
        for (uint8_t& byte : expected) byte = byte > 0 ? static_cast<uint8_t>(byte - 1) : 0;
        EXPECT_EQ(maskBytes(), expected);
    }
}

TEST_F(ZelVinoHelperTest, ColourPlanesKeepTheirOrder) {
    for (size_t plane = 0; plane < 3; ++plane) {
        networks[140].factors = {0, 0, 0};
        networks[140].factors[plane] = 1.0f / 256;
        ZelVinoHelper helper(source());
        helper.init("CPU");
        for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(50 * (i % 3 + 1));
        ASSERT_TRUE(process(helper, frame));
        EXPECT_THAT(maskBytes(), Each(50 * (plane + 1) - 1));
    }
}

TEST_F(ZelVinoHelperTest, FirstFrameAfterInitIsInferredAndTheSecondOneSkipped) {
    ZelVinoHelper helper(source());
    ASSERT_TRUE(helper.init("CPU"));
    trace.takeLines();
    ASSERT_TRUE(process(helper, frame));
    EXPECT_THAT(trace.lines(), ElementsAre(kEmptyPointer));
    EXPECT_NE(mask, incoming.data());
    const Bytes first = maskBytes();
    mask = incoming.data();
    ASSERT_TRUE(process(helper, frame));
    EXPECT_EQ(mask, incoming.data()) << "a skipped frame leaves the pointer";
    EXPECT_EQ(maskBytes(), first);

    ASSERT_TRUE(helper.init("CPU"));
    ASSERT_TRUE(process(helper, frame));
    EXPECT_NE(mask, incoming.data()) << "the first frame after init is not skipped";
}

TEST_F(ZelVinoHelperTest, SkippedFrameWritesTheWholeLastMaskAndNoMore) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    ASSERT_TRUE(process(helper, frame));
    const Bytes first = maskBytes();
    const platform::GuardedMemory out(kPixels);
    mask = out.data();
    ASSERT_TRUE(process(helper, frame));
    EXPECT_EQ(maskBytes(), first);
}

// With the mask eroded and as it stands.
class RepeatedMaskTest : public ZelVinoHelperTest, public testing::WithParamInterface<uint32_t> {
  protected:
    RepeatedMaskTest() {
        // The feedback plane counts too.
        networks[140].factors = networks[180].factors = {1.0f / 256, 0, 0, 1.0f / 256};
        helper = std::make_unique<ZelVinoHelper>(source());
        helper->preInit("CPU", GetParam());
        helper->init("CPU");
        EXPECT_TRUE(process(*helper, frame));
        first = maskBytes();
    }

    void inferWithoutSkipping(const Bytes& other) {
        helper->setAutoSkipVBG(false);
        EXPECT_TRUE(process(*helper, other));
        helper->setAutoSkipVBG(true);
    }

    std::unique_ptr<ZelVinoHelper> helper;
    Bytes first;
};

INSTANTIATE_TEST_SUITE_P(SmallLarge, RepeatedMaskTest, testing::Values(0u, 1u));

TEST_P(RepeatedMaskTest, IsThatOfTheReferenceAndNotALaterOne) {
    inferWithoutSkipping(halfFrame(100));
    ASSERT_NE(maskBytes(), first);
    mask = incoming.data();
    ASSERT_TRUE(process(*helper, frame));
    EXPECT_EQ(mask, incoming.data());
    EXPECT_EQ(maskBytes(), first);
}

TEST_P(RepeatedMaskTest, MayBeWrittenToTheMaskOfTheCallBefore) {
    const uint8_t* own = mask;
    ASSERT_TRUE(process(*helper, frame));
    EXPECT_EQ(mask, own);
    EXPECT_EQ(maskBytes(), first);
}

TEST_P(RepeatedMaskTest, LeavesTheFeedbackAlone) {
    const Bytes black = uniformFrame(0);
    inferWithoutSkipping(black);
    inferWithoutSkipping(black);
    const uint8_t* own = mask;
    const uint8_t beforeSkip = mask[0];
    ASSERT_TRUE(process(*helper, frame));
    ASSERT_EQ(mask, own) << "not skipped";
    ASSERT_EQ(maskBytes(), first);
    ASSERT_TRUE(helper->processUsingV5Model(kWidth, kHeight, black.data(), kFrameBytes, &mask));
    EXPECT_EQ(mask[0], beforeSkip - 1) << "the mask that was repeated is not the one fed back";
}

TEST_F(ZelVinoHelperTest, RunOfSkippedFramesEndsAfter17) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    ASSERT_TRUE(process(helper, frame));
    for (int round = 0; round < 3; ++round) {
        for (int skipped = 0; skipped < 17; ++skipped) {
            mask = incoming.data();
            ASSERT_TRUE(process(helper, frame));
            ASSERT_EQ(mask, incoming.data()) << skipped;
        }
        ASSERT_TRUE(process(helper, frame));
        EXPECT_NE(mask, incoming.data());
    }
}

TEST_F(ZelVinoHelperTest, ChangedFrameIsInferred) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    ASSERT_TRUE(process(helper, frame));
    mask = incoming.data();
    ASSERT_TRUE(process(helper, halfFrame(100)));
    EXPECT_NE(mask, incoming.data());
    EXPECT_EQ(mask[0], 99);
}

TEST_F(ZelVinoHelperTest, WithoutABufferNoFrameIsSkipped) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    ASSERT_TRUE(process(helper, frame));
    mask = nullptr;
    ASSERT_TRUE(process(helper, frame));
    ASSERT_NE(mask, nullptr);
    EXPECT_EQ(mask[0], 200);
}

TEST_F(ZelVinoHelperTest, NothingIsSkippedWhileSkippingIsOff) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    helper.setAutoSkipVBG(false);
    trace.takeLines();
    for (int i = 0; i < 3; ++i) {
        mask = incoming.data();
        ASSERT_TRUE(process(helper, frame));
        EXPECT_NE(mask, incoming.data());
    }
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ZelVinoHelperTest, EveryTenthMaskRefreshesTheReference) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    const Bytes first = halfFrame(201);
    Bytes moved = first;  // the same mask on another picture
    for (size_t i = 2; i < moved.size(); i += 3) moved[i] = 99;
    ASSERT_TRUE(process(helper, first));
    for (int masks = 1; masks <= 10; ++masks) {
        mask = incoming.data();
        ASSERT_TRUE(process(helper, moved));
        EXPECT_NE(mask, incoming.data()) << masks;
    }
    mask = incoming.data();
    ASSERT_TRUE(process(helper, moved));
    EXPECT_EQ(mask, incoming.data()) << "the eleventh mask did not make its frame the reference";
}

TEST_F(ZelVinoHelperTest, WindowOfAThousandInferencesIsReported) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    helper.setAutoSkipVBG(false);
    setTickSteps(0, 3);
    trace.takeLines();
    infer(helper, 999);
    EXPECT_THAT(trace.lines(), IsEmpty());
    infer(helper, 1);
    const Line line{2,
                    "zelipc>> ZelVinoHelper infer_request.Infer() predict 1000 times, total = 3000 msg average= 3 ms, "
                    "Skip/active is about 0 VBG update 0, skip VBG cost(ms)0"};
    EXPECT_THAT(trace.takeLines(), ElementsAre(line));
    infer(helper, 1000);
    EXPECT_THAT(trace.lines(), ElementsAre(line));
}

TEST_F(ZelVinoHelperTest, WindowCountsSkipsMasksAndTheirCost) {
    ZelVinoHelper helper(source());
    helper.init("CPU");
    setTickSteps(0, 2);
    ASSERT_TRUE(process(helper, frame));
    for (int skipped = 0; skipped < 5; ++skipped) ASSERT_TRUE(process(helper, frame));
    trace.takeLines();
    infer(helper, 999);
    // Test: 2 ms for each of 6 frames; update: 2 ms for each of the 999 masks before the window is closed.
    EXPECT_THAT(trace.takeLines(),
                ElementsAre(Line{2,
                                 "zelipc>> ZelVinoHelper infer_request.Infer() predict 1000 times, total = 2000 msg "
                                 "average= 2 ms, Skip/active is about 0.005 VBG update 999, skip VBG cost(ms)2.01"}));
    infer(helper, 1000);
    // The update after the last window counts in this one.
    EXPECT_THAT(trace.lines(),
                ElementsAre(Line{2,
                                 "zelipc>> ZelVinoHelper infer_request.Infer() predict 1000 times, total = 2000 msg "
                                 "average= 2 ms, Skip/active is about 0 VBG update 1999, skip VBG cost(ms)2"}));
}

TEST_F(ZelVinoHelperTest, AverageOfExactly150StaysOnTheGpu) {
    ZelVinoHelper helper(source());
    ASSERT_TRUE(helper.init("GPU"));
    helper.setAutoSkipVBG(false);
    setTickSteps(0, 150);
    infer(helper, 1000);
    EXPECT_EQ(helper.deviceType(), "GPU");
    EXPECT_THAT(trace.lines(), Not(Contains(kFallBack)));
}

TEST_F(ZelVinoHelperTest, AverageAbove150FallsBackToTheCpu) {
    ZelVinoHelper helper(source());
    helper.preInit("GPU", 0);
    ASSERT_TRUE(helper.init("GPU"));
    helper.setAutoSkipVBG(false);
    setTickSteps(0, 150);
    infer(helper, 999);
    setTickSteps(0, 151);
    idsRead.clear();
    trace.takeLines();
    infer(helper, 1);
    EXPECT_THAT(trace.takeLines(),
                ElementsAre(Line{2,
                                 "zelipc>> ZelVinoHelper infer_request.Infer() predict 1000 times, "
                                 "total = 150001 msg average= 150.001 ms, Skip/active is about 0 VBG "
                                 "update 0, skip VBG cost(ms)0"},
                            kFallBack, Line{2, "zelipc>>ZelVinoHelper::init LoadNetwork time :151"}, kBatch));
    EXPECT_EQ(helper.deviceType(), "CPU");
    EXPECT_THAT(idsRead, IsEmpty());
    EXPECT_EQ(mask[0], 200) << "the mask of the last frame on the GPU";
    infer(helper, 1000);
    EXPECT_EQ(helper.deviceType(), "CPU");
    EXPECT_THAT(trace.lines(), Not(Contains(kFallBack)));
}

TEST_F(ZelVinoHelperTest, OtherDevicesNeverFallBack) {
    for (const char* device : {"CPU", "NPU"}) {
        ZelVinoHelper helper(source());
        ASSERT_TRUE(helper.init(device));
        helper.setAutoSkipVBG(false);
        setTickSteps(0, 1000000);
        infer(helper, 1000);
        EXPECT_EQ(helper.deviceType(), device);
        EXPECT_THAT(trace.lines(), Not(Contains(kFallBack)));
    }
}

TEST_F(ZelVinoHelperTest, CpuServesWhileTheGpuLoadsAndTheLastLoadOwnsTheHelper) {
    setVariable("ZELHOST_DEVICE_DELAY_MS", "GPU=300");
    ZelVinoHelper helper(source());
    helper.preInit("GPU", 0);
    helper.setAutoSkipVBG(false);
    std::atomic<bool> loaded{false};
    const PendingLoad pending = helper.beginInit("GPU");
    ASSERT_TRUE(helper.init("CPU"));
    std::thread loader([&] {
        EXPECT_TRUE(helper.finishInit(pending));
        loaded = true;
    });
    int served = 0;
    int dropped = 0;
    do {
        process(helper, frame) ? ++served : ++dropped;
    } while (!loaded);
    EXPECT_GT(served, 0);
    EXPECT_EQ(dropped, 0);
    loader.join();
    EXPECT_EQ(helper.deviceType(), "GPU");
    EXPECT_TRUE(process(helper, frame));
    ASSERT_TRUE(helper.init("CPU"));
    EXPECT_EQ(helper.deviceType(), "CPU");
}

TEST_F(ZelVinoHelperTest, LoadThatBeganEarlierDoesNotUndoAnInit) {
    ZelVinoHelper helper(source());
    const PendingLoad pending = helper.beginInit("GPU");
    ASSERT_TRUE(helper.init("CPU"));
    ASSERT_TRUE(process(helper, frame));
    setVariable("ZELHOST_DEVICE_FAIL", "GPU");
    EXPECT_THROW(helper.finishInit(pending), InferenceEngineException);
    EXPECT_TRUE(helper.inited());
    EXPECT_EQ(helper.deviceType(), "CPU");
    EXPECT_TRUE(process(helper, halfFrame(77)));
    EXPECT_EQ(mask[0], 76);
}

TEST_F(ZelVinoHelperTest, FailingInitLeavesTheHelperNotInited) {
    setVariable("ZELHOST_DEVICE_FAIL", "CPU");
    ZelVinoHelper helper(source());
    EXPECT_THROW(helper.init("CPU"), InferenceEngineException);
    EXPECT_FALSE(helper.inited());
    EXPECT_FALSE(process(helper, frame));
}

TEST_F(ZelVinoHelperTest, UnknownDeviceRaises) {
    ZelVinoHelper helper(source());
    EXPECT_THROW(helper.init("NO_SUCH_DEVICE"), InferenceEngineException);
    EXPECT_FALSE(helper.inited());
}

TEST_F(ZelVinoHelperTest, LoadOfANetworkThatIsNoLongerWantedIsDropped) {
    networks[180].width = 32;
    ZelVinoHelper helper(source());
    const PendingLoad pending = helper.beginInit("GPU");
    helper.preInit("CPU", 1);
    ASSERT_TRUE(helper.init("CPU"));
    trace.takeLines();
    EXPECT_FALSE(helper.finishInit(pending));
    EXPECT_EQ(trace.lines().back(),
              (Line{2, "zelipc>> ZelVinoHelper::init network is no longer wanted, strDevType = GPU"}));
    EXPECT_EQ(helper.deviceType(), "CPU");
    const Bytes wide(32 * kHeight * 3, 9);
    EXPECT_TRUE(helper.process(32, kHeight, wide.data(), static_cast<int32_t>(wide.size()), &mask));
}

TEST_F(ZelVinoHelperTest, ChangeOfSizeIsFollowed) {
    networks[180].width = 32;
    ZelVinoHelper helper(source());
    ASSERT_TRUE(helper.init("CPU"));
    ASSERT_TRUE(process(helper, frame));
    helper.uninit();
    helper.preInit("CPU", 1);
    ASSERT_TRUE(helper.init("CPU"));
    Bytes wide(32 * kHeight * 3, 0);
    for (size_t i = 0; i < wide.size() / 2; ++i) wide[i] = 201;
    for (int i = 0; i < 3; ++i) {
        mask = incoming.data();
        ASSERT_TRUE(helper.process(32, kHeight, wide.data(), static_cast<int32_t>(wide.size()), &mask));
        EXPECT_EQ(mask == incoming.data(), i > 0) << i;
        EXPECT_EQ(Bytes(mask, mask + 32 * kHeight), rawMaskOf(wide));
    }
}

TEST_F(ZelVinoHelperTest, StartsLoadsAndFramesRunTogether) {
    setVariable("ZELHOST_DEVICE_DELAY_MS", "GPU=5");
    networks[101].factors = networks[140].factors;
    ZelVinoHelper helper(source());
    std::atomic<bool> done{false};
    std::thread frames([&] {
        Bytes picture = frame;
        Bytes buffer(ZelVinoHelper::kMaskBytes, 0);
        for (uint8_t i = 0; !done; ++i) {
            picture[0] = i;
            uint8_t* out = buffer.data();
            if (!helper.process(kWidth, kHeight, picture.data(), kFrameBytes, &out)) continue;
            EXPECT_EQ(out[kPixels - 1], 0);
        }
    });
    std::vector<std::thread> loaders;
    for (int start = 0; start < 8; ++start) {
        helper.uninit();
        helper.preInit(start % 2 ? "GPU" : "CPU", 0);
        helper.setAutoSkipVBG(start % 3 != 0);
        loaders.emplace_back([&helper, pending = helper.beginInit("GPU")] { helper.finishInit(pending); });
        EXPECT_TRUE(helper.init("CPU"));
        EXPECT_EQ(helper.networkName(), "SmallMask");
        helper.deviceType();
    }
    for (std::thread& loader : loaders) loader.join();
    done = true;
    frames.join();
    EXPECT_TRUE(helper.inited());
    EXPECT_TRUE(process(helper, halfFrame(55)));
    EXPECT_EQ(mask[0], 54);
}
