#include "engines/vino/ZelLadonVinoHelper.h"

#include <atomic>
#include <functional>
#include <future>
#include <limits>
#include <map>
#include <memory>
#include <thread>
#include <utility>

#include "engines/vino/EngineFixture.h"
#include "engines/vino/LadonNetworks.h"
#include "engines/vino/MotionDetect.h"
#include "platform/include/clock.h"
#include "platform/include/guarded_memory.h"
#include "util/include/CmMemory.h"
#include "util/include/CmTime.h"

using InferenceEngine::details::InferenceEngineException;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

namespace {

using Line = zeltest::TraceCapture::Line;
using Bytes = std::vector<uint8_t>;

constexpr int32_t kWidth = 16;
constexpr int32_t kHeight = 8;
constexpr size_t kPixels = kWidth * kHeight;
constexpr int32_t kFrameBytes = kPixels * 3;
constexpr size_t kFaces = 9, kColumns = 16, kFaceValues = 1439;

const Line kNotInited{0, "ZelLadonVinoHelper::runInference not inited."};
const Line kFallBack{2, "zelipc>> ZelLadonVinoHelper, GPU exceed max processing time, fall back to CPU"};
const Line kBatch{2, "zelipc>> ZelVinoHelper::init mNetwork.getBatchSize() = 1"};
const Line kCacheReady{2, "zelipc>>loadgpu finished, cache is ready."};
const Line kNoLongerWanted{2, "zelipc>> ZelLadonVinoHelper::init network is no longer wanted, strDevType = GPU"};
const Line kChangeToCpu{2, "zelipc>> ZelLadonVinoHelper::init, change to mDeviceType: CPU, strDevTypeGPU"};
const Line kTwoInputs{0, "zelipc>> ZelVinoHelper::init mInputInfo.size() != 1"};

Line loadTime(int milliseconds) {
    return {2, "zelipc>>ZelVinoHelper::init LoadNetwork time :" + std::to_string(milliseconds)};
}

// Microseconds that an inference takes, by the clock of measurements: it passes at each second reading.
std::atomic<unsigned long long> inferenceTime;
std::atomic<unsigned long long> microseconds;
std::atomic<bool> inferenceBegun;
std::atomic<uint32_t> ticks;
// Done at the second reading of the ticks.
std::function<void()> atSecondReading;
std::atomic<int> tickReadings;

// A picture whose bytes say what the network finds: byte 1 of a pixel is its mask.
class Picture {
  public:
    // `mask` in the left half, 0 in the right one; no gesture.
    explicit Picture(uint8_t mask) {
        for (size_t i = 0; i < kPixels; ++i) {
            if (i % kWidth < kWidth / 2) mBytes[i * 3 + 1] = mask;
        }
    }
    Picture& gesture(size_t index, uint8_t score) { return set(ladon_networks::kGesturePixel + index, score); }
    Picture& column(size_t index, uint8_t value) { return set(ladon_networks::kColumnPixel + index, value); }
    Picture& motion(uint8_t value) { return set(ladon_networks::kMotionPixel, value); }
    Picture& blue(uint8_t value) {
        for (size_t i = 2; i < mBytes.size(); i += 3) mBytes[i] = value;
        return *this;
    }
    const uint8_t* data() const { return mBytes.data(); }

  private:
    Picture& set(size_t pixel, uint8_t value) {
        mBytes[pixel * 3] = value;
        return *this;
    }

    Bytes mBytes = Bytes(kFrameBytes, 0);
};

// What the decoders gave for a frame, the mask's first byte included.
struct Answer {
    int mask = -1;
    int32_t gesture = -1;
    float column = 0;
    float motion = 0;
    friend bool operator==(const Answer&, const Answer&) = default;
};

std::ostream& operator<<(std::ostream& out, const Answer& answer) {
    return out << "mask " << answer.mask << ", gesture " << answer.gesture << ", column " << answer.column
               << ", motion " << answer.motion;
}

class LadonHelperTest : public EngineFixture {
  protected:
    using Options = ladon_networks::Options;

    // A start before the first mask trips the constraint handler, as it must; it need not be told.
    LadonHelperTest() : mOldVerbosity(cm::setConstraintVerbosity(0)) {}
    ~LadonHelperTest() override {
        timer_policy::replace(nullptr);
        cm::setConstraintVerbosity(mOldVerbosity);
    }

    // Reads `networks` by XML id, or the network of the default options, and notes the ids.
    NetworkSource source() {
        return [this](const InferenceEngine::Core& core, int xmlId, int binId) {
            idsRead.emplace_back(xmlId, binId);
            if (missing) throw InferenceEngineException("resource is missing");
            const auto found = networks.find(xmlId);
            return ladon_networks::make(found == networks.end() ? Options{} : found->second).read(core);
        };
    }
    // One that serves on the CPU.
    std::shared_ptr<ZelLadonVinoHelper> serving(const std::string& device = "CPU") {
        auto helper = std::make_shared<ZelLadonVinoHelper>(source());
        if (device != "CPU") helper->preInit(device, 0);
        EXPECT_TRUE(helper->init(device));
        return helper;
    }
    // Keeps the frame for the decoders.
    bool run(ZelLadonVinoHelper& helper, const Picture& frame) {
        mUnderWay = frame;
        return helper.runInference(kWidth, kHeight, mUnderWay.data(), kFrameBytes);
    }
    static Answer decode(ZelLadonVinoHelper& helper) {
        helper.parseSegmentationOutput();
        const float* gesture = nullptr;
        const float* landmarks = nullptr;
        helper.getGestureOutput(&gesture);
        helper.parseLandmarksOutput(&landmarks);
        if (!helper.frames().segmentationValid() || !gesture || !landmarks) return {};
        return {helper.frames().outMask()[0], helper.frames().gestureId(), landmarks[0], helper.motionOutput()};
    }
    // From now on the clocks stand still, but for inferences of `milliseconds`.
    static void stopClocks(unsigned long long milliseconds) {
        microseconds = 0;
        inferenceBegun = false;
        inferenceTime = milliseconds * 1000;
        timer_policy::replace([] {
            if (inferenceBegun.exchange(!inferenceBegun)) microseconds += inferenceTime;
            return microseconds.load();
        });
        ticks = 1000;
        platform::replaceTickSource([] { return ticks.load(); });
    }

    // `step` comes between a frame's change test and its inference, as if another thread were faster.
    static void interrupt(std::function<void()> step) {
        tickReadings = 0;
        atSecondReading = std::move(step);
        platform::replaceTickSource([] {
            if (++tickReadings == 2) std::exchange(atSecondReading, nullptr)();
            return ticks.load();
        });
    }

    std::map<int, Options> networks;
    std::vector<std::pair<int, int>> idsRead;
    bool missing = false;
    const Picture picture{201};

  private:
    Picture mUnderWay{0};
    const int mOldVerbosity;
};

// Answer to Picture(mask) with nothing else in it.
Answer plain(int mask) {
    return {mask, -1, 0, 0};
}

}  // namespace

TEST_F(LadonHelperTest, ConstructionReadsTheSmallNetworkForTheCpu) {
    networks[214].name = "TheSmallOne";
    const ZelLadonVinoHelper helper(source());
    EXPECT_THAT(idsRead, ElementsAre(Pair(214, 213)));
    EXPECT_EQ(helper.networkName(), "TheSmallOne");
    EXPECT_EQ(helper.deviceType(), "CPU");
    EXPECT_EQ(helper.loadMs(), 0);
    EXPECT_FALSE(helper.inited());
    EXPECT_FALSE(helper.loading());
    EXPECT_TRUE(helper.frames().autoSkipVBG());
}

TEST_F(LadonHelperTest, PerformanceChoosesTheNetworkAndTheDeviceDoesNot) {
    ZelLadonVinoHelper helper(source());
    idsRead.clear();
    for (const char* device : {"CPU", "GPU", "NPU", ""}) {
        helper.preInit(device, 0);
        EXPECT_EQ(helper.deviceType(), device);
        helper.preInit(device, 1);
        helper.preInit(device, 7);
        EXPECT_THAT(idsRead, ElementsAre(Pair(214, 213), Pair(212, 211), Pair(212, 211))) << device;
        idsRead.clear();
    }
}

TEST_F(LadonHelperTest, PreInitTracesTheNetworkAndTheProcessor) {
    networks[212].name = "TheLargeOne";
    ZelLadonVinoHelper helper(source());
    trace.takeLines();
    helper.preInit("GPU", 1);
    const Lines lines = trace.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], (Line{2, "zelipc>> load model, model name: TheLargeOne"}));
    EXPECT_EQ(lines[1].level, 2u);
    EXPECT_THAT(lines[1].text, StartsWith("zelipc>>ZelLadonVinoHelper::init number of physical core: "));
}

TEST_F(LadonHelperTest, FailedPreInitChangesTheDeviceOnly) {
    networks[214].name = "Served";
    const auto helper = serving();
    helper->frames().setAutoSkipVBG(false);
    missing = true;
    EXPECT_THROW(helper->preInit("GPU", 1), InferenceEngineException);
    EXPECT_EQ(helper->deviceType(), "GPU");
    EXPECT_EQ(helper->networkName(), "Served");
    EXPECT_FALSE(helper->frames().autoSkipVBG());
    ASSERT_TRUE(run(*helper, picture));
    EXPECT_EQ(decode(*helper), plain(201));
}

TEST_F(LadonHelperTest, PreInitTurnsSkippingBackOn) {
    ZelLadonVinoHelper helper(source());
    helper.frames().setAutoSkipVBG(false);
    helper.preInit("CPU", 0);
    EXPECT_TRUE(helper.frames().autoSkipVBG());
}

TEST_F(LadonHelperTest, InitOnTheCpuTracesTimeAndBatch) {
    ZelLadonVinoHelper helper(source());
    setTickSteps(0, 17);
    trace.takeLines();
    EXPECT_TRUE(helper.init("CPU"));
    EXPECT_THAT(trace.lines(), ElementsAre(loadTime(17), kBatch));
    EXPECT_TRUE(helper.inited());
}

TEST_F(LadonHelperTest, InitOnTheGpuAlsoTracesTheCache) {
    ZelLadonVinoHelper helper(source());
    helper.preInit("GPU", 0);
    setTickSteps(0, 17);
    trace.takeLines();
    EXPECT_TRUE(helper.init("GPU"));
    const Lines lines = trace.lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_THAT(lines[0].text, StartsWith("zelipc>> getTestDataPath :"));
    EXPECT_EQ(lines[1], kCacheReady);
    EXPECT_EQ(lines[2], loadTime(17));
    EXPECT_EQ(lines[3], kBatch);
    EXPECT_EQ(helper.deviceType(), "GPU");
    EXPECT_FALSE(helper.loading());
}

TEST_F(LadonHelperTest, InitLeavesTheWantedDevice) {
    ZelLadonVinoHelper helper(source());
    helper.preInit("GPU", 0);
    ASSERT_TRUE(helper.init("CPU"));
    EXPECT_EQ(helper.deviceType(), "GPU");
}

TEST_F(LadonHelperTest, LoadTimeIsThatOfTheWantedDevice) {
    ZelLadonVinoHelper helper(source());
    setTickSteps(0, 17);
    ASSERT_TRUE(helper.init("CPU"));
    EXPECT_EQ(helper.loadMs(), 17);
    helper.preInit("GPU", 0);
    EXPECT_EQ(helper.loadMs(), 0);
    const PendingLoad pending = helper.beginInit("GPU");
    setTickSteps(0, 18);
    ASSERT_TRUE(helper.init("CPU"));
    EXPECT_EQ(helper.loadMs(), 0) << "the CPU only stands in";
    setTickSteps(0, 19);
    ASSERT_TRUE(helper.finishInit(pending));
    EXPECT_EQ(helper.loadMs(), 19);
    setTickSteps(0, 20);
    ASSERT_TRUE(helper.init("CPU"));
    EXPECT_EQ(helper.loadMs(), 19);
}

TEST_F(LadonHelperTest, InputLargerThanThePresetIsToldAndLoadedAllTheSame) {
    const struct {
        int width, height;
        bool told;
    } cases[] = {{641, 8, true}, {16, 361, true}, {640, 360, false}, {16, 8, false}};
    for (const auto& size : cases) {
        networks[214].width = size.width;
        networks[214].height = size.height;
        ZelLadonVinoHelper helper(source());
        setTickSteps(0, 17);
        trace.takeLines();
        ASSERT_TRUE(helper.init("CPU"));
        const Line line{0, "zelipc>> ZelLadonVinoHelper::init, model input size not equal to predefined, input:" +
                               std::to_string(size.width) + " * " + std::to_string(size.height) +
                               ", predefined:640 * 360"};
        if (size.told) {
            EXPECT_THAT(trace.lines(), ElementsAre(loadTime(17), line, kBatch));
        } else {
            EXPECT_THAT(trace.lines(), ElementsAre(loadTime(17), kBatch));
        }
        const size_t pixels = static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
        const Bytes frame(pixels * 3, 77);
        ASSERT_TRUE(helper.runInference(size.width, size.height, frame.data(), static_cast<int32_t>(frame.size())));
        helper.parseSegmentationOutput();
        ASSERT_EQ(helper.frames().outMask().size(), pixels);
        EXPECT_EQ(helper.frames().outMask().back(), 77);
    }
}

TEST_F(LadonHelperTest, TwoInputsAreRefused) {
    networks[214].inputs = 2;
    ZelLadonVinoHelper helper(source());
    setTickSteps(0, 17);
    trace.takeLines();
    EXPECT_FALSE(helper.init("CPU"));
    EXPECT_THAT(trace.takeLines(), ElementsAre(loadTime(17), kTwoInputs));
    EXPECT_FALSE(helper.inited());
    EXPECT_FALSE(helper.loading());
    EXPECT_FALSE(run(helper, picture));
    EXPECT_THAT(trace.lines(), ElementsAre(kNotInited));
}

TEST_F(LadonHelperTest, TwoInputsOnTheGpuCountAsALoadThatNeverEnds) {
    networks[214].inputs = 2;
    int calls = 0;
    ZelLadonVinoHelper helper(source());
    helper.setGpuLoadedCallback([&](uint32_t) { ++calls; });
    helper.preInit("GPU", 0);
    EXPECT_FALSE(helper.init("GPU"));
    EXPECT_EQ(trace.lines().back(), kTwoInputs);
    EXPECT_TRUE(helper.loading());
    networks.clear();
    helper.preInit("GPU", 0);
    EXPECT_TRUE(helper.init("GPU"));
    EXPECT_TRUE(helper.loading());
    EXPECT_EQ(calls, 0);
}

TEST_F(LadonHelperTest, InputOfAnotherRankRaises) {
    int calls = 0;
    ZelLadonVinoHelper helper([](const InferenceEngine::Core& core, int, int) {
        mask_networks::Pair pair = mask_networks::make({});
        const std::string four = "1,4,8,16";
        pair.xml.replace(pair.xml.find(four), four.size(), "4,8,16");
        return pair.read(core);
    });
    helper.setGpuLoadedCallback([&](uint32_t) { ++calls; });
    EXPECT_THROW(helper.init("CPU"), InferenceEngineException);
    EXPECT_FALSE(helper.inited());
    EXPECT_EQ(calls, 0);
    EXPECT_THROW(helper.init("GPU"), InferenceEngineException);
    EXPECT_FALSE(helper.loading());
    EXPECT_EQ(calls, 1);
}

TEST_F(LadonHelperTest, EndOfAGpuLoadIsCalledOnceWithTheTypeAndWithoutALock) {
    std::vector<uint32_t> types;
    ZelLadonVinoHelper helper(source());
    helper.setGpuLoadedCallback([&](uint32_t type) {
        types.push_back(type);
        EXPECT_FALSE(helper.loading());
        EXPECT_TRUE(helper.inited());
        EXPECT_EQ(std::async(std::launch::async, [&] { return helper.deviceType(); }).get(), "GPU");
    });
    helper.preInit("GPU", 0);
    EXPECT_TRUE(helper.init("GPU"));
    EXPECT_THAT(types, ElementsAre(6u));
}

TEST_F(LadonHelperTest, LoadsOnOtherDevicesCallNobody) {
    int calls = 0;
    ZelLadonVinoHelper helper(source());
    helper.setGpuLoadedCallback([&](uint32_t) { ++calls; });
    for (const char* device : {"CPU", "NPU"}) {
        helper.preInit(device, 0);
        const PendingLoad pending = helper.beginInit(device);
        EXPECT_FALSE(helper.loading());
        EXPECT_TRUE(helper.finishInit(pending));
    }
    EXPECT_EQ(calls, 0);
}

TEST_F(LadonHelperTest, FailedGpuLoadIsCalledTooAndLeavesTheCpuServing) {
    int calls = 0;
    ZelLadonVinoHelper helper(source());
    helper.setGpuLoadedCallback([&](uint32_t) { ++calls; });
    helper.preInit("GPU", 0);
    const PendingLoad pending = helper.beginInit("GPU");
    ASSERT_TRUE(helper.init("CPU"));
    ASSERT_TRUE(run(helper, picture));
    setVariable("ZELHOST_DEVICE_FAIL", "GPU");
    EXPECT_THROW(helper.finishInit(pending), InferenceEngineException);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(helper.loading());
    EXPECT_EQ(helper.loadMs(), 0);
    EXPECT_TRUE(helper.inited());
    ASSERT_TRUE(run(helper, Picture(77)));
    EXPECT_EQ(decode(helper), plain(77));
}

TEST_F(LadonHelperTest, FailingInitLeavesTheHelperNotInited) {
    setVariable("ZELHOST_DEVICE_FAIL", "CPU");
    ZelLadonVinoHelper helper(source());
    EXPECT_THROW(helper.init("CPU"), InferenceEngineException);
    EXPECT_THROW(helper.init("NO_SUCH_DEVICE"), InferenceEngineException);
    EXPECT_FALSE(helper.inited());
    EXPECT_FALSE(run(helper, picture));
}

TEST_F(LadonHelperTest, LastOfTwoGpuLoadsCalls) {
    int calls = 0;
    ZelLadonVinoHelper helper(source());
    helper.setGpuLoadedCallback([&](uint32_t) { ++calls; });
    helper.preInit("GPU", 0);
    const PendingLoad first = helper.beginInit("GPU");
    const PendingLoad second = helper.beginInit("GPU");
    EXPECT_TRUE(helper.finishInit(second));
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(helper.loading());
    EXPECT_TRUE(helper.finishInit(first));
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(helper.loading());
}

// With the network of the load under way chosen again, and with another one.
class ChangedDeviceTest : public LadonHelperTest, public testing::WithParamInterface<uint32_t> {
  protected:
    ChangedDeviceTest() {
        networks[212].width = 32;
        helper.setGpuLoadedCallback([this](uint32_t) { ++calls; });
        helper.preInit("GPU", 0);
    }
    // The network of the last preInit is in place.
    void expectServing() {
        const int32_t width = GetParam() == 0 ? kWidth : 32;
        const Bytes frame(static_cast<size_t>(width) * kHeight * 3, 90);
        ASSERT_TRUE(helper.runInference(width, kHeight, frame.data(), static_cast<int32_t>(frame.size())));
        helper.parseSegmentationOutput();
        EXPECT_EQ(helper.frames().outMask()[0], 90);
    }

    ZelLadonVinoHelper helper{source()};
    int calls = 0;
};

INSTANTIATE_TEST_SUITE_P(SmallLarge, ChangedDeviceTest, testing::Values(0u, 1u));

TEST_P(ChangedDeviceTest, IsLoadedAtTheEndOfTheGpuLoad) {
    const PendingLoad pending = helper.beginInit("GPU");
    helper.preInit("CPU", GetParam());
    setTickSteps(0, 17);
    trace.takeLines();
    EXPECT_FALSE(helper.finishInit(pending)) << "what the caller asked for is not in place";
    const Lines lines = trace.lines();
    ASSERT_EQ(lines.size(), 7u);
    EXPECT_THAT(Lines(lines.begin() + 1, lines.end()),
                ElementsAre(kCacheReady, loadTime(17), kNoLongerWanted, kChangeToCpu, loadTime(17), kBatch));
    EXPECT_EQ(helper.deviceType(), "CPU");
    EXPECT_EQ(helper.loadMs(), 17);
    EXPECT_EQ(calls, 1);
    expectServing();
}

TEST_P(ChangedDeviceTest, ServesWhetherItComesBeforeOrAfterTheGpuIsLoaded) {
    setVariable("ZELHOST_DEVICE_DELAY_MS", "GPU=200");
    const PendingLoad pending = helper.beginInit("GPU");
    EXPECT_TRUE(helper.loading());
    helper.uninit();
    helper.preInit("CPU", GetParam());
    std::thread loader([&] { helper.finishInit(pending); });
    EXPECT_TRUE(helper.init("CPU"));
    expectServing();
    loader.join();
    EXPECT_THAT(trace.lines(), Contains(kChangeToCpu));
    EXPECT_EQ(helper.deviceType(), "CPU");
    EXPECT_EQ(calls, 1);
    expectServing();
}

TEST_P(ChangedDeviceTest, FailureToLoadItEndsTheGpuLoadAllTheSame) {
    const PendingLoad pending = helper.beginInit("GPU");
    helper.preInit("CPU", GetParam());
    setVariable("ZELHOST_DEVICE_FAIL", "CPU");
    EXPECT_THROW(helper.finishInit(pending), InferenceEngineException);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(helper.loading());
}

TEST_F(LadonHelperTest, DeviceThatChangedWithoutItsNetworkIsLoadedAfterTheGpu) {
    ZelLadonVinoHelper helper(source());
    helper.preInit("GPU", 0);
    const PendingLoad pending = helper.beginInit("GPU");
    missing = true;
    EXPECT_THROW(helper.preInit("CPU", 0), InferenceEngineException);
    setTickSteps(0, 17);
    trace.takeLines();
    EXPECT_TRUE(helper.finishInit(pending));
    const Lines lines = trace.lines();
    EXPECT_THAT(Lines(lines.begin() + 1, lines.end()),
                ElementsAre(kCacheReady, loadTime(17), kBatch, kChangeToCpu, loadTime(17), kBatch));
    ASSERT_TRUE(run(helper, picture));
    EXPECT_EQ(decode(helper), plain(201));
}

TEST_F(LadonHelperTest, AnotherNetworkForTheGpuDropsTheLoadOfTheFirst) {
    networks[212].width = 32;
    int calls = 0;
    ZelLadonVinoHelper helper(source());
    helper.setGpuLoadedCallback([&](uint32_t) { ++calls; });
    helper.preInit("GPU", 0);
    const PendingLoad first = helper.beginInit("GPU");
    helper.preInit("GPU", 1);
    const PendingLoad second = helper.beginInit("GPU");
    ASSERT_TRUE(helper.finishInit(second));
    trace.takeLines();
    EXPECT_FALSE(helper.finishInit(first));
    EXPECT_EQ(trace.lines().back(), kNoLongerWanted);
    EXPECT_EQ(calls, 1);
    const Bytes wide(32 * kHeight * 3, 90);
    EXPECT_TRUE(helper.runInference(32, kHeight, wide.data(), static_cast<int32_t>(wide.size())));
    EXPECT_FALSE(run(helper, picture));
}

TEST_F(LadonHelperTest, CpuServesWhileTheGpuLoads) {
    setVariable("ZELHOST_DEVICE_DELAY_MS", "GPU=200");
    ZelLadonVinoHelper helper(source());
    helper.preInit("GPU", 0);
    helper.frames().setAutoSkipVBG(false);
    const PendingLoad pending = helper.beginInit("GPU");
    ASSERT_TRUE(helper.init("CPU"));
    std::atomic<bool> loaded{false};
    std::thread loader([&] {
        EXPECT_TRUE(helper.finishInit(pending));
        loaded = true;
    });
    int served = 0, dropped = 0;
    do {
        run(helper, picture) && decode(helper) == plain(201) ? ++served : ++dropped;
    } while (!loaded);
    loader.join();
    EXPECT_GT(served, 0);
    EXPECT_EQ(dropped, 0);
    EXPECT_TRUE(run(helper, picture));
}

TEST_F(LadonHelperTest, CallbackMayDropTheLastShareButTheLoaders) {
    auto outer = serving();
    outer->preInit("GPU", 0);
    trace.takeLines();
    outer->setGpuLoadedCallback([&outer](uint32_t type) {
        EXPECT_EQ(type, ZelLadonVinoHelper::kLoadedType);
        outer.reset();
    });
    const PendingLoad pending = outer->beginInit("GPU");
    std::thread loader([helper = outer, &pending] { EXPECT_TRUE(helper->finishInit(pending)); });
    loader.join();
    EXPECT_EQ(outer, nullptr);
    EXPECT_EQ(trace.lines().back(), (Line{2, "zelipc>> :~ZelLadonVinoHelper() GPU"}));
}

TEST_F(LadonHelperTest, CallbackMayEndTheHelperThatCallsItAndOutlivesIt) {
    static std::weak_ptr<int> held;
    static bool outlived = false;
    auto* helper = new ZelLadonVinoHelper(source());
    helper->preInit("GPU", 0);
    auto kept = std::make_shared<int>(0);
    held = kept;
    helper->setGpuLoadedCallback([helper, kept = std::move(kept)](uint32_t) {
        delete helper;
        outlived = !held.expired();
    });
    EXPECT_TRUE(helper->init("GPU"));
    EXPECT_TRUE(outlived) << "what the callback holds ended with the helper";
    EXPECT_TRUE(held.expired());
    EXPECT_EQ(trace.lines().back(), (Line{2, "zelipc>> :~ZelLadonVinoHelper() GPU"}));
}

TEST_F(LadonHelperTest, EndIsTracedWithTheWantedDevice) {
    for (const char* device : {"CPU", "GPU", "NPU"}) {
        {
            ZelLadonVinoHelper helper(source());
            helper.preInit(device, 0);
            trace.takeLines();
        }
        EXPECT_THAT(trace.lines(), ElementsAre(Line{2, std::string("zelipc>> :~ZelLadonVinoHelper() ") + device}));
    }
}

TEST_F(LadonHelperTest, FramesBeforeInitAndAfterUninitAreRefused) {
    ZelLadonVinoHelper helper(source());
    trace.takeLines();
    EXPECT_FALSE(run(helper, picture));
    EXPECT_THAT(trace.takeLines(), ElementsAre(kNotInited));
    ASSERT_TRUE(helper.init("CPU"));
    EXPECT_TRUE(run(helper, picture));
    decode(helper);
    helper.uninit();
    trace.takeLines();
    EXPECT_FALSE(run(helper, picture));
    EXPECT_THAT(trace.lines(), ElementsAre(kNotInited));
}

TEST_F(LadonHelperTest, TenFramesOfAStartAreInferredThoughNothingMoves) {
    const auto helper = serving();
    ASSERT_TRUE(run(*helper, picture));
    decode(*helper);
    ASSERT_TRUE(run(*helper, picture));
    ASSERT_EQ(helper->frames().lastChanged(), 0);
    helper->uninit();
    helper->preInit("CPU", 0);
    ASSERT_TRUE(helper->init("CPU"));
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(run(*helper, picture));
        EXPECT_EQ(helper->frames().lastChanged(), 1) << i;
        EXPECT_EQ(decode(*helper), plain(201));
    }
    EXPECT_EQ(helper->frames().updateCount(), 1);
    ASSERT_TRUE(run(*helper, picture));
    EXPECT_EQ(helper->frames().lastChanged(), 0);
}

TEST_F(LadonHelperTest, EachStepOfAStartForgetsHowManyMasksThereWere) {
    const std::function<void(ZelLadonVinoHelper&)> steps[] = {
        [](auto& helper) { helper.beginInit("CPU"); },
        [](auto& helper) { helper.preInit("CPU", 0); },
        [this](auto& helper) {
            missing = true;
            EXPECT_THROW(helper.preInit("CPU", 0), InferenceEngineException);
        },
    };
    for (const auto& step : steps) {
        const auto helper = serving();
        ASSERT_TRUE(run(*helper, picture));
        helper->parseSegmentationOutput();
        ASSERT_EQ(helper->frames().updateCount(), 1);
        step(*helper);
        EXPECT_EQ(helper->frames().updateCount(), 0);
    }
}

TEST_F(LadonHelperTest, FrameWithoutDataOrOfAnotherSizeIsRefused) {
    const auto helper = serving();
    const Line invalid{0, "zelipc>> ZelLadonVinoHelper::runInference param invalid."};
    const Line anotherSize{
        0,
        "zelipc>> ZelLadonVinoHelper model size not the same, tensor: w =16 h = 8, input sample: w = "
        "8 h = 16"};
    helper->frames().setAutoSkipVBG(false);
    trace.takeLines();
    EXPECT_FALSE(helper->runInference(kWidth, kHeight, nullptr, kFrameBytes));
    EXPECT_FALSE(helper->runInference(kWidth, kHeight, picture.data(), 0));
    EXPECT_FALSE(helper->runInference(kHeight, kWidth, picture.data(), kFrameBytes));
    EXPECT_THAT(trace.lines(), ElementsAre(invalid, invalid, anotherSize));
    EXPECT_TRUE(run(*helper, picture));
}

TEST_F(LadonHelperTest, SizesOfAnyKindStayWithinTheBuffers) {
    const auto helper = serving();
    ASSERT_TRUE(run(*helper, picture));
    decode(*helper);
    constexpr int32_t kHuge = std::numeric_limits<int32_t>::max();
    constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
    const int32_t values[] = {kLeast, -1, 0, 1, kHeight, kWidth, 65536, kHuge};
    for (const int32_t bytes : {1, 2, kFrameBytes - 1, kFrameBytes, 100000}) {
        const platform::GuardedMemory data(static_cast<size_t>(bytes));
        for (const int32_t width : values) {
            for (const int32_t height : values) {
                const bool served = helper->runInference(width, height, data.data(), bytes);
                if (served && helper->frames().lastChanged() != 0) decode(*helper);
            }
        }
    }
    helper->frames().setAutoSkipVBG(false);
    ASSERT_TRUE(run(*helper, Picture(99)));
    EXPECT_EQ(decode(*helper), plain(99));
}

TEST_F(LadonHelperTest, SmallMaskIsErodedAndTheLargeOneIsNot) {
    Bytes frame(kFrameBytes, 0);
    Bytes raw(kPixels);
    for (size_t i = 0; i < kPixels; ++i) frame[i * 3 + 1] = raw[i] = static_cast<uint8_t>(240 - i % kWidth * 9);
    Bytes eroded(kPixels);
    MotionDetect::erodeMask(kWidth, kHeight, raw.data(), eroded.data());
    ASSERT_NE(eroded, raw);
    const auto helper = serving();
    for (const uint32_t performance : {0u, 1u}) {
        helper->preInit("CPU", performance);
        ASSERT_TRUE(helper->init("CPU"));
        ASSERT_TRUE(helper->runInference(kWidth, kHeight, frame.data(), kFrameBytes));
        helper->parseSegmentationOutput();
        const auto mask = helper->frames().outMask();
        EXPECT_EQ(Bytes(mask.begin(), mask.end()), performance == 0 ? eroded : raw);
    }
}

TEST_F(LadonHelperTest, RawMaskIsTheFourthPlaneOfTheNextFrame) {
    networks[214].factors = {0, 1, 0, 0.5f};
    const auto helper = serving();
    helper->frames().setAutoSkipVBG(false);
    for (const int mask : {200, 100, 50, 25, 12, 6}) {
        ASSERT_TRUE(run(*helper, Picture(mask == 200 ? 200 : 0)));
        EXPECT_EQ(decode(*helper), plain(mask));
    }
}

TEST_F(LadonHelperTest, AnswersPassThroughAndSkippedFramesRepeatThem) {
    const auto helper = serving();
    Picture first(201);
    for (size_t i = 0; i < 9; ++i) first.gesture(i, static_cast<uint8_t>(90 + i * 3));
    first.gesture(8, 100);
    for (size_t i = 0; i < kColumns; ++i) first.column(i, static_cast<uint8_t>(i * 10 + 1));
    first.motion(20);
    ASSERT_TRUE(run(*helper, first));
    for (int frame = 0; frame < 3; ++frame) {
        const float* gesture = nullptr;
        const float* landmarks = nullptr;
        if (frame == 0) helper->parseSegmentationOutput();
        helper->getGestureOutput(&gesture);
        helper->parseLandmarksOutput(&landmarks);
        ASSERT_TRUE(gesture != nullptr && landmarks != nullptr);
        EXPECT_THAT(std::vector<float>(gesture, gesture + 9), ElementsAre(-10, -7, -4, -1, 2, 5, 8, 11, 0));
        EXPECT_EQ(helper->frames().gestureId(), 7);
        for (size_t i = 0; i < kFaces * kColumns * kFaceValues; ++i) {
            const size_t value = i % kFaceValues, column = i / kFaceValues % kColumns;
            const size_t face = i / kFaceValues / kColumns;
            ASSERT_EQ(landmarks[i], static_cast<float>(column * 10 + 1 + face * 1000 + value)) << i;
        }
        EXPECT_EQ(helper->motionOutput(), 2.5f);
        EXPECT_EQ(helper->frames().lastChanged(), frame == 0 ? 1 : 0);
        // Not at an edge of the mask: the picture counts as unchanged, and its own answers would be others.
        ASSERT_TRUE(run(*helper, Picture(first).gesture(0, 255).motion(99)));
    }
    EXPECT_EQ(helper->frames().prevMask()[0], 201);
}

TEST_F(LadonHelperTest, WrongShapesAreToldAndTheRestIsServed) {
    networks[214].gesture = {1, 8};
    networks[214].landmarks = {1, 1, 9, 16, 7};
    const auto helper = serving();
    ASSERT_TRUE(run(*helper, picture));
    trace.takeLines();
    const float* values = nullptr;
    helper->getGestureOutput(&values);
    helper->parseLandmarksOutput(&values);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(Line{0,
                         "zelipc>> ZelLadonVinoHelper::getGestureOutput, gesture number not equal to preset number, "
                         "actual:8, preset:9"},
                    Line{0,
                         "zelipc >> ZelLadonVinoHelper::parseLandmarksOutput, output tensor shape not equal to preset "
                         "shape, actual: 1x9x16x7, preset: 1x9x16x1439"}));
    EXPECT_EQ(values, nullptr);
    helper->parseSegmentationOutput();
    EXPECT_TRUE(helper->frames().segmentationValid());
}

TEST_F(LadonHelperTest, MissingOutputRaisesInItsDecoderOnly) {
    const char* const names[] = {"segmentation", "gesture", "faces_and_landmarks", "motion"};
    for (size_t lacking = 0; lacking < 4; ++lacking) {
        networks[214].missing = {names[lacking]};
        const auto helper = serving();
        ASSERT_TRUE(run(*helper, picture));
        const float* values = nullptr;
        const std::function<void()> decoders[] = {
            [&] { helper->parseSegmentationOutput(); }, [&] { helper->getGestureOutput(&values); },
            [&] { helper->parseLandmarksOutput(&values); }, [&] { helper->motionOutput(); }};
        for (size_t decoder = 0; decoder < 4; ++decoder) {
            if (decoder == lacking) {
                EXPECT_THROW(decoders[decoder](), InferenceEngineException) << names[decoder];
            } else {
                EXPECT_NO_THROW(decoders[decoder]()) << names[decoder] << " without " << names[lacking];
            }
        }
    }
}

TEST_F(LadonHelperTest, DecodersBeforeAnyLoadRaise) {
    ZelLadonVinoHelper helper(source());
    const float* values = nullptr;
    EXPECT_THROW(helper.parseSegmentationOutput(), InferenceEngineException);
    EXPECT_THROW(helper.getGestureOutput(&values), InferenceEngineException);
    EXPECT_THROW(helper.parseLandmarksOutput(&values), InferenceEngineException);
    EXPECT_THROW(helper.motionOutput(), InferenceEngineException);
    EXPECT_EQ(values, nullptr);
}

TEST_F(LadonHelperTest, DecodersBeforeTheFirstFrameGiveNoMask) {
    const auto helper = serving();
    helper->parseSegmentationOutput();
    EXPECT_FALSE(helper->frames().segmentationValid());
    EXPECT_THAT(helper->frames().outMask(), IsEmpty());
}

TEST_F(LadonHelperTest, AnswersAreThoseOfTheFrameWhateverIsLoadedMeanwhile) {
    networks[212].width = 32;
    const auto helper = serving();
    Picture first(201);
    first.gesture(4, 111).column(0, 55).motion(8);
    const Answer expected{201, 4, 55, 1};
    ASSERT_TRUE(run(*helper, first));
    helper->preInit("CPU", 1);
    ASSERT_TRUE(helper->init("CPU"));
    const float* gesture = nullptr;
    const float* landmarks = nullptr;
    helper->getGestureOutput(&gesture);
    helper->parseLandmarksOutput(&landmarks);
    helper->preInit("CPU", 0);
    ASSERT_TRUE(helper->init("CPU"));
    ASSERT_TRUE(gesture != nullptr && landmarks != nullptr);
    EXPECT_EQ(gesture[4], 11);
    EXPECT_EQ(landmarks[kFaces * kColumns * kFaceValues - 1], 8000 + 1438);
    EXPECT_EQ(decode(*helper), expected);
    ASSERT_TRUE(run(*helper, Picture(77)));
    EXPECT_EQ(decode(*helper), plain(77));
}

TEST_F(LadonHelperTest, ChangeOfSizeIsFollowed) {
    networks[212].width = 32;
    const auto helper = serving();
    ASSERT_TRUE(run(*helper, picture));
    decode(*helper);
    helper->uninit();
    helper->preInit("CPU", 1);
    ASSERT_TRUE(helper->init("CPU"));
    EXPECT_FALSE(run(*helper, picture));
    Bytes wide(32 * kHeight * 3, 0);
    for (size_t i = 0; i < wide.size(); i += 3) wide[i + 1] = i / 3 % 32 < 16 ? 201 : 0;
    for (int i = 0; i < 12; ++i) {
        ASSERT_TRUE(helper->runInference(32, kHeight, wide.data(), static_cast<int32_t>(wide.size())));
        if (helper->frames().lastChanged() != 0) helper->parseSegmentationOutput();
    }
    EXPECT_EQ(helper->frames().prevMask().size(), 32u * kHeight);
    EXPECT_EQ(helper->frames().prevMask()[15], 201);
    EXPECT_EQ(helper->frames().prevMask()[16], 0);
}

TEST_F(LadonHelperTest, NetworkOfAnotherSizeThatOvertakesAFrameIsNotGivenIt) {
    networks[212].width = 32;
    const auto helper = serving();
    ASSERT_TRUE(run(*helper, picture));
    EXPECT_EQ(decode(*helper), plain(201));
    interrupt([&] {
        helper->preInit("CPU", 1);
        EXPECT_TRUE(helper->init("CPU"));
    });
    EXPECT_FALSE(run(*helper, Picture(100).blue(200)));
    EXPECT_EQ(trace.lines().back(), (Line{0,
                                          "zelipc>> ZelLadonVinoHelper model size not the same, tensor: w =32 h = 8, "
                                          "input sample: w = 16 h = 8"}));
}

TEST_F(LadonHelperTest, FrameThatAStartOvertakesIsRefused) {
    const auto helper = serving();
    ASSERT_TRUE(run(*helper, picture));
    decode(*helper);
    PendingLoad pending;
    interrupt([&] { pending = helper->beginInit("CPU"); });
    trace.takeLines();
    EXPECT_FALSE(run(*helper, Picture(100).blue(200)));
    EXPECT_THAT(trace.lines(), ElementsAre(kNotInited));
    ASSERT_TRUE(helper->finishInit(pending));
    EXPECT_TRUE(run(*helper, Picture(100).blue(200)));
}

TEST_F(LadonHelperTest, AverageAbove150FallsBackToTheCpu) {
    const auto helper = serving("GPU");
    stopClocks(151);
    ASSERT_TRUE(run(*helper, picture));
    EXPECT_EQ(decode(*helper), plain(201));
    Picture last(180);
    last.blue(200).gesture(2, 150).column(0, 33).motion(16);
    ticks = 11000;
    idsRead.clear();
    trace.takeLines();
    ASSERT_TRUE(run(*helper, last));
    EXPECT_THAT(trace.lines(),
                ElementsAre(Line{2,
                                 "zelipc>> ZelLadonVinoHelper infer_request.Infer() predict , elapsed=10000, fps=0.1, "
                                 "mTotalCount=1 times, total = 151 ms, average = 151 ms,  Skip / active is about 0, "
                                 "VBG update 1, skip VBG cost(ms)0"},
                            kFallBack, loadTime(0), kBatch));
    EXPECT_EQ(helper->deviceType(), "CPU");
    EXPECT_THAT(idsRead, IsEmpty()) << "the network stays";
    EXPECT_EQ(decode(*helper), (Answer{180, 2, 33, 2})) << "the answers of the last frame on the GPU";
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(helper->frames().warmupFrames(), 10 - i);
        ASSERT_TRUE(run(*helper, last));
        EXPECT_EQ(helper->frames().lastChanged(), 1);
        EXPECT_EQ(decode(*helper), (Answer{180, 2, 33, 2}));
    }
    trace.takeLines();
    for (uint32_t second = 20; second < 60; second += 5) {
        ticks = second * 1000;
        ASSERT_TRUE(run(*helper, Picture(static_cast<uint8_t>(second * 4)).blue(static_cast<uint8_t>(second * 4))));
    }
    EXPECT_TRUE(trace.contains("average = 151 ms"));
    EXPECT_THAT(trace.lines(), Not(Contains(kFallBack))) << "once is enough";
}

TEST_F(LadonHelperTest, AverageOfExactly150StaysOnTheGpu) {
    const auto helper = serving("GPU");
    stopClocks(150);
    ASSERT_TRUE(run(*helper, picture));
    ticks = 11000;
    ASSERT_TRUE(run(*helper, Picture(100).blue(200)));
    EXPECT_TRUE(trace.contains("average = 150 ms"));
    EXPECT_EQ(helper->deviceType(), "GPU");
    EXPECT_THAT(trace.lines(), Not(Contains(kFallBack)));
}

TEST_F(LadonHelperTest, OtherDevicesNeverFallBack) {
    for (const char* device : {"CPU", "NPU"}) {
        const auto helper = serving(device);
        stopClocks(9000);
        ASSERT_TRUE(run(*helper, picture));
        ticks = 11000;
        ASSERT_TRUE(run(*helper, Picture(100).blue(200)));
        EXPECT_TRUE(trace.contains("average = 9000 ms"));
        EXPECT_EQ(helper->deviceType(), device);
        EXPECT_THAT(trace.takeLines(), Not(Contains(kFallBack)));
    }
}

TEST_F(LadonHelperTest, FallbackThatCannotLoadRaisesAndRefusesFrames) {
    const auto helper = serving("GPU");
    stopClocks(151);
    ASSERT_TRUE(run(*helper, picture));
    ticks = 11000;
    setVariable("ZELHOST_DEVICE_FAIL", "CPU");
    EXPECT_THROW(run(*helper, Picture(100).blue(200)), InferenceEngineException);
    EXPECT_FALSE(helper->inited());
    setVariable("ZELHOST_DEVICE_FAIL", "");
    ASSERT_TRUE(helper->init("CPU"));
    EXPECT_TRUE(run(*helper, picture));
}

TEST_F(LadonHelperTest, GpuLoadThatEndsAfterAFallbackLoadsTheCpuOnceMore) {
    const auto helper = serving("GPU");
    const PendingLoad pending = helper->beginInit("GPU");
    ASSERT_TRUE(helper->init("CPU"));
    stopClocks(151);
    ASSERT_TRUE(run(*helper, picture));
    ticks = 11000;
    ASSERT_TRUE(run(*helper, Picture(100).blue(200)));
    ASSERT_EQ(helper->deviceType(), "CPU");
    trace.takeLines();
    EXPECT_TRUE(helper->finishInit(pending));
    const Lines lines = trace.lines();
    EXPECT_THAT(Lines(lines.begin() + 1, lines.end()),
                ElementsAre(kCacheReady, loadTime(0), kBatch, kChangeToCpu, loadTime(0), kBatch));
    EXPECT_EQ(helper->deviceType(), "CPU");
    EXPECT_TRUE(run(*helper, picture));
}

TEST_F(LadonHelperTest, StartsLoadsAndFramesRunTogether) {
    setVariable("ZELHOST_DEVICE_DELAY_MS", "GPU=5");
    std::atomic<int> calls{0};
    const auto helper = std::make_shared<ZelLadonVinoHelper>(source());
    helper->setGpuLoadedCallback([&](uint32_t) { ++calls; });
    std::atomic<bool> done{false};
    std::thread frames([&] {
        for (uint8_t i = 1; !done; i = static_cast<uint8_t>(i % 25 + 1)) {
            Picture moving(201);
            moving.blue(static_cast<uint8_t>(i * 10)).gesture(3, 120);
            if (!run(*helper, moving)) continue;
            if (helper->frames().lastChanged() != 0) {
                EXPECT_EQ(decode(*helper), (Answer{201, 3, 0, 0}));
            } else {
                EXPECT_EQ(helper->motionOutput(), 0);
            }
        }
    });
    std::vector<std::thread> loaders;
    for (int start = 0; start < 8; ++start) {
        helper->uninit();
        helper->preInit(start % 2 != 0 ? "GPU" : "CPU", 0);
        helper->frames().setAutoSkipVBG(start % 3 != 0);
        loaders.emplace_back([helper, pending = helper->beginInit("GPU")] { helper->finishInit(pending); });
        EXPECT_TRUE(helper->init("CPU"));
        EXPECT_EQ(helper->networkName(), "SmallLadon");
        helper->loadMs();
    }
    for (std::thread& loader : loaders) loader.join();
    done = true;
    frames.join();
    EXPECT_FALSE(helper->loading());
    EXPECT_GE(calls, 1);
    EXPECT_TRUE(helper->inited());
    helper->frames().setAutoSkipVBG(false);
    ASSERT_TRUE(run(*helper, Picture(55)));
    EXPECT_EQ(decode(*helper), plain(55));
}
