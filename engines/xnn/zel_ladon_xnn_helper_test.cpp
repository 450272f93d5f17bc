#include "engines/xnn/ZelLadonXnnHelper.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "engines/vino/EngineFixture.h"
#include "engines/xnn/TestLibrary.h"
#include "platform/filter_stack.h"
#include "platform/include/clock.h"
#include "platform/include/module.h"
#include "platform/include/resource.h"
#include "platform/include/thread.h"
#include "util/include/CmMemory.h"
#include "util/include/CmTime.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using xnn::test::TestLibrary;

using Line = zeltest::TraceCapture::Line;
using Bytes = std::vector<uint8_t>;

constexpr int32_t kWidth = 5;
constexpr int32_t kHeight = 4;
constexpr size_t kPixels = size_t{kWidth} * kHeight;
constexpr int32_t kFrameBytes = kPixels * 3;

constexpr std::chrono::milliseconds kNeverLooks{1000000};
constexpr uint64_t kDeadlineUs = 60000000;

const Line kNotInited{0, "ZelLadonXnnHelper::runInference not inited."};
const Line kNoEngine{0, "ZelLadonXnnHelper::init fail, create xnn engine fail"};
const Line kNoText{0, "zelipc >> ZelLadonXnnHelper::initXnn, an exception without text"};
const Line kInitedAlready{2, "ZelLadonXnnHelper::Init(), has init already."};
const Line kInputSize{2, "zelipc>>ZelLadonXnnHelper::init, input layer size: 4, 5"};
const Line kBackupDeleted{2, "zelipc>> ZelLadonXnnHelper::switchEngine, delete m_backupXnnEngine"};
const Line kFallBack{2, "zelipc>> ZelLadonXnnHelper, GPU exceed max processing time, fall back to CPU"};

Line wanted(const std::string& device) {
    return {2, "ZelLadonXnnHelper::Init(), mDeviceType=" + device};
}

Line dispatched(const std::string& from, const std::string& to) {
    return {2, "zelipc>> ZelLadonXnnHelper::init, dispatch init job [from], mCurrentDeviceType=" + from +
                   " [to], mBackupDeviceType=" + to};
}

Line ignored(const std::string& device) {
    return {2,
            "ZelLadonXnnHelper::init, initXnn future is still running, ignore this init, mBackupDeviceType=" + device};
}

Line looked(const std::string& wish, const std::string& current, const std::string& backup) {
    return {2, "zelipc>> ZelLadonXnnHelper::switchEngin, mDeviceType=" + wish + ", mCurrentDeviceType=" + current +
                   ", mBackupDeviceType=" + backup};
}

Line switched(const std::string& from, const std::string& to) {
    return {2, "zelipc>> ZelLadonXnnHelper::switchEngine,[from], mCurrentDeviceType=" + from +
                   " [to], mBackupDeviceType=" + to};
}

Line serves(const std::string& device) {
    return {2, "zelipc>> ZelLadonXnnHelper::switchEngine, switchEngine success, current device: " + device};
}

// The program's networks, as far as the test library wants to see them. A job of a helper, which asks from another
// thread than the test, waits for the gate.
class Networks {
  public:
    Networks() {
        sTest = std::this_thread::get_id();
        sOpen = true;
        sMissing = false;
        platform::replaceResources(find);
    }
    ~Networks() { platform::replaceResources(nullptr); }
    Networks(const Networks&) = delete;
    Networks& operator=(const Networks&) = delete;

    static void holdJobs() { setGate(false); }
    static void letJobsGo() { setGate(true); }
    static void lose(bool missing) { sMissing = missing; }
    // What the last job had for the exception filter when it asked.
    static size_t jobStack() { return sJobStack; }

  private:
    static void setGate(bool open) {
        const std::lock_guard lock(sMutex);
        sOpen = open;
        sChanged.notify_all();
    }

    static platform::Resource find(int id) {
        if (std::this_thread::get_id() != sTest) {
            sJobStack = platform::test::stackForFilter();
            std::unique_lock lock(sMutex);
            sChanged.wait(lock, [] { return sOpen; });
        }
        static const std::map<int, std::string> kTexts = {{218, "<net name=\"TheSmallOne\" version=\"11\">"},
                                                          {217, "small weights"},
                                                          {216, "<net name=\"TheLargeOne\" version=\"11\">"},
                                                          {215, "large weights"}};
        const auto found = kTexts.find(id);
        if (sMissing || found == kTexts.end()) return {};
        return {found->second.data(), found->second.size(), nullptr};
    }

    inline static std::atomic<std::thread::id> sTest;
    inline static std::mutex sMutex;
    inline static std::condition_variable sChanged;
    inline static bool sOpen = true;
    inline static std::atomic<bool> sMissing{false};
    inline static std::atomic<size_t> sJobStack{0};
};

std::atomic<uint32_t> ticks;
std::atomic<unsigned long long> microseconds;
std::atomic<unsigned long long> inferenceTime;
std::atomic<bool> inferenceBegun;

class XnnHelperTest : public EngineFixture {
  protected:
    // A start before the first mask trips the constraint handler, as it must; it need not be told.
    XnnHelperTest() : mOldVerbosity(cm::setConstraintVerbosity(0)) { library.actAsLadon(kHeight, kWidth); }
    ~XnnHelperTest() override {
        Networks::letJobsGo();
        timer_policy::replace(nullptr);
        cm::setConstraintVerbosity(mOldVerbosity);
    }

    ZelLadonXnnHelper* make(std::chrono::milliseconds watchPeriod = kNeverLooks) {
        mHelper = std::make_unique<ZelLadonXnnHelper>(library.folder().c_str(), watchPeriod);
        mHelper->preInit(0);
        trace.takeLines();
        return mHelper.get();
    }
    // One whose engine runs on `device`.
    ZelLadonXnnHelper* makeOn(const std::string& device) {
        ZelLadonXnnHelper* const helper = make();
        EXPECT_TRUE(helper->init(device));
        if (device != "CPU") look(device);
        trace.takeLines();
        library.takeCalls();
        return helper;
    }
    // Looks for finished jobs until the helper is on `device`.
    void look(const std::string& device) {
        look([&] { return mHelper->currentDeviceType() == device; });
    }
    void look(const std::function<bool()>& done) {
        const uint64_t start = platform::monotonicMicroseconds();
        while (!done()) {
            ASSERT_LT(platform::monotonicMicroseconds() - start, kDeadlineUs);
            mHelper->switchEngine();
            platform::sleepMilliseconds(1);
        }
    }
    // What the helper has traced, without the times that engines took, their own lines, and functions' entries.
    Lines told() {
        Lines lines = trace.takeLines();
        std::erase_if(lines, [](const Line& line) {
            const auto has = [&](const char* part) { return line.text.find(part) != std::string::npos; };
            return has("initXnn, xnn [") || has("|| xnnEngine") || has("initXnn, strDevType") || has("::uninit") ||
                   has("getTestDataPath") || has("isChanged: Pointer is empty");
        });
        return lines;
    }
    // The calls that create networks and set them up.
    std::vector<std::string> creations() const {
        std::vector<std::string> calls = library.takeCalls();
        std::erase_if(calls, [](const std::string& call) {
            return call.find("xnnCreateNetByBuffers") == std::string::npos &&
                   call.find("xnnSetEnginePropertyForNetwork") == std::string::npos;
        });
        return calls;
    }

    // A frame whose bytes are all `shade`; its mask is twice that.
    bool run(uint8_t shade) { return run(Bytes(kFrameBytes, shade)); }
    bool run(const Bytes& frame) {
        mFrame = frame;
        return mHelper->runInference(kWidth, kHeight, mFrame.data(), kFrameBytes);
    }
    uint8_t mask() {
        mHelper->parseSegmentationOutput();
        EXPECT_TRUE(mHelper->frames().segmentationValid());
        return mHelper->frames().outMask()[0];
    }
    // Frames until the warm-up is over and there is a mask to repeat.
    void warmUp() {
        while (mHelper->frames().warmupFrames() > 0 || mHelper->frames().updateCount() == 0) {
            ASSERT_TRUE(run(50));
            mask();
        }
    }
    // Lets the job that is held go and looks until `done`, on another thread. A frame is run here before the engine of
    // that handle has ended.
    void runFrameWhileEnds(const std::string& handle, const std::function<bool()>& done) {
        library.takeCalls();
        library.set("waiting ends", handle);
        Networks::letJobsGo();
        std::thread looker([&] { look(done); });
        awaitCall(handle + " xnnDestory");
        runFrameBeforeEnd();
        looker.join();
    }
    // A frame that does not wait for the end that is held, which may go on then.
    void runFrameBeforeEnd() {
        std::future<bool> frame = std::async(std::launch::async, [this] { return run(60); });
        EXPECT_EQ(frame.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        library.set("waiting ends", "");
        EXPECT_TRUE(frame.get());
    }
    void awaitCall(const std::string& call) {
        const uint64_t start = platform::monotonicMicroseconds();
        while (testing::Value(library.takeCalls(), Not(Contains(call)))) {
            if (platform::monotonicMicroseconds() - start > kDeadlineUs) {
                ADD_FAILURE() << call;
                return;
            }
            platform::sleepMilliseconds(1);
        }
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

    Networks networks;
    const TestLibrary library;

    std::unique_ptr<ZelLadonXnnHelper> mHelper;

  private:
    Bytes mFrame;
    const int mOldVerbosity;
};

}  // namespace

TEST_F(XnnHelperTest, ConstructionTellsTheFolder) {
    const ZelLadonXnnHelper helper("some/folder");
    EXPECT_THAT(trace.lines(),
                ElementsAre(Line{2, "zelipc>>ZelLadonXnnHelper::ZelLadonXnnHelper xnn lib path: some/folder"}));
    EXPECT_FALSE(helper.inited());
    EXPECT_EQ(helper.loadMs(), 0);
}

TEST_F(XnnHelperTest, CpuStartsWithoutAJob) {
    ZelLadonXnnHelper* const helper = make();
    EXPECT_TRUE(helper->init("CPU"));
    EXPECT_THAT(told(), ElementsAre(wanted("CPU"), kInputSize));
    EXPECT_TRUE(helper->inited());
    EXPECT_EQ(helper->currentDeviceType(), "CPU");
    EXPECT_EQ(helper->backupDeviceType(), "");
    EXPECT_EQ(helper->networkName(), "TheSmallOne");
    EXPECT_TRUE(run(50));
    EXPECT_EQ(mask(), 100);
}

TEST_F(XnnHelperTest, NetworkIsMadeFromItsPairWithItsProperties) {
    ZelLadonXnnHelper* const helper = make();
    ASSERT_TRUE(helper->init("CPU"));
    EXPECT_THAT(creations(),
                ElementsAre(AllOf(HasSubstr("OpenVINO ladon_CPU CACHE_DIR std::filesystem::path"),
                                  testing::EndsWith("gpucachexnn")),
                            HasSubstr("OpenVINO ladon_CPU GPU_THROTTLE_HINT_LEVEL std::string LOW"),
                            HasSubstr("xnnCreateNetByBuffers OpenVINO ladon_CPU CPU [<net name=\"TheSmallOne\" "
                                      "version=\"11\">] [small weights]")));
}

TEST_F(XnnHelperTest, PerformanceOneTakesTheLargerNetwork) {
    for (const uint32_t performance : {1u, 2u}) {
        ZelLadonXnnHelper* const helper = make();
        helper->preInit(performance);
        ASSERT_TRUE(helper->init("CPU"));
        EXPECT_EQ(helper->networkName(), performance == 1 ? "TheLargeOne" : "TheSmallOne");
    }
}

TEST_F(XnnHelperTest, EngineTellsItsVersionAndItsTimes) {
    ZelLadonXnnHelper* const helper = make();
    setTickSteps(0, 17);
    ASSERT_TRUE(helper->init("CPU"));
    const Lines lines = trace.lines();
    const auto starts = [](const std::string& end) {
        return testing::Field(&Line::text,
                              AllOf(StartsWith("zelipc>>ZelLadonXnnHelper::initXnn, xnn [0x"), testing::EndsWith(end)));
    };
    EXPECT_THAT(lines, Contains(starts("] create model with device:CPU, gpu_throttle_level=LOW, "
                                       "version:2025.06.23-8ad6a1c(x64), initTime=17")));
    EXPECT_THAT(lines, Contains(starts("] create model with device:CPU, modelLoadTime=17")));
    EXPECT_EQ(helper->loadMs(), 17);
}

TEST_F(XnnHelperTest, LibrarysLogIsTraced) {
    ZelLadonXnnHelper* const helper = make();
    ASSERT_TRUE(helper->init("CPU"));
    ASSERT_TRUE(run(1));
    EXPECT_THAT(trace.lines(),
                Contains(testing::Field(&Line::text, AllOf(StartsWith("zelipc>>ZelLadonXnnHelper || xnnEngine [0x"),
                                                           testing::EndsWith("] - inferred")))));
}

TEST_F(XnnHelperTest, GpuServesFromTheCpuUntilItsEngineIsReady) {
    ZelLadonXnnHelper* const helper = make();
    Networks::holdJobs();
    EXPECT_TRUE(helper->init("GPU"));
    EXPECT_THAT(told(), ElementsAre(wanted("GPU"), dispatched("CPU", "GPU"), kInputSize));
    EXPECT_EQ(helper->currentDeviceType(), "CPU");
    EXPECT_EQ(helper->deviceType(), "GPU");
    EXPECT_EQ(helper->loadMs(), 0) << "the CPU only stands in";
    helper->switchEngine();
    EXPECT_TRUE(run(50));
    EXPECT_EQ(mask(), 100);
    Networks::letJobsGo();
    look("GPU");
    EXPECT_THAT(told(), ElementsAre(looked("GPU", "CPU", "GPU"), switched("CPU", "GPU"), serves("GPU")));
    EXPECT_NE(helper->loadMs(), 0);
    EXPECT_TRUE(run(60));
    EXPECT_EQ(mask(), 120);
}

TEST_F(XnnHelperTest, SecondInitForTheWantedDeviceDoesNothing) {
    ZelLadonXnnHelper* const helper = make();
    Networks::holdJobs();
    ASSERT_TRUE(helper->init("GPU"));
    told();
    EXPECT_TRUE(helper->init("GPU"));
    EXPECT_THAT(told(), ElementsAre(kInitedAlready));
}

TEST_F(XnnHelperTest, InitDuringAJobIsIgnored) {
    ZelLadonXnnHelper* const helper = make();
    Networks::holdJobs();
    ASSERT_TRUE(helper->init("GPU"));
    told();
    EXPECT_TRUE(helper->init("NPU"));
    EXPECT_THAT(told(), ElementsAre(wanted("NPU"), ignored("GPU"), kInputSize));
    EXPECT_EQ(helper->backupDeviceType(), "GPU");
    Networks::letJobsGo();
    look([&] { return trace.contains("switchEngin,"); });
    EXPECT_THAT(told(), ElementsAre(looked("NPU", "CPU", "GPU"))) << "kept until the next job";
    EXPECT_EQ(helper->currentDeviceType(), "CPU");
    EXPECT_TRUE(helper->init("GPU"));
    look("GPU");
}

TEST_F(XnnHelperTest, EngineOfAWishThatWentBackIsDeleted) {
    ZelLadonXnnHelper* const helper = make();
    Networks::holdJobs();
    ASSERT_TRUE(helper->init("GPU"));
    ASSERT_TRUE(helper->init("CPU"));
    told();
    Networks::letJobsGo();
    look([&] { return trace.contains("delete m_backupXnnEngine"); });
    EXPECT_THAT(told(), ElementsAre(looked("CPU", "CPU", "GPU"), kBackupDeleted));
    EXPECT_TRUE(run(50));
}

TEST_F(XnnHelperTest, NpuIsMadeOnAutoUnderItsOwnName) {
    makeOn("CPU")->init("NPU");
    look("NPU");
    EXPECT_THAT(creations(),
                ElementsAre(HasSubstr("ladon_NPU CACHE_DIR"), HasSubstr("ladon_NPU GPU_THROTTLE_HINT_LEVEL"),
                            HasSubstr("ladon_NPU MULTI_DEVICE_PRIORITIES std::string NPU,GPU"),
                            HasSubstr("xnnCreateNetByBuffers OpenVINO ladon_NPU AUTO [")));
}

TEST_F(XnnHelperTest, FailedJobLeavesTheCpuServingAndAnotherMayFollow) {
    ZelLadonXnnHelper* const helper = make();
    Networks::holdJobs();
    ASSERT_TRUE(helper->init("GPU"));
    told();
    Networks::lose(true);
    Networks::letJobsGo();
    look([&] { return trace.contains("zelipc >> ZelLadonXnnHelper::initXnn, "); });
    helper->switchEngine();
    EXPECT_THAT(told(), ElementsAre(testing::Field(&Line::level, 0)));
    EXPECT_TRUE(run(50));
    Networks::lose(false);
    ASSERT_TRUE(helper->init("NPU"));
    look("NPU");
}

TEST_F(XnnHelperTest, LeavingADeviceRebuildsOnTheCpuFirst) {
    ZelLadonXnnHelper* const helper = makeOn("GPU");
    Networks::holdJobs();
    EXPECT_TRUE(helper->init("NPU"));
    EXPECT_THAT(told(), ElementsAre(wanted("NPU"), dispatched("CPU", "NPU"), kInputSize));
    EXPECT_EQ(helper->currentDeviceType(), "CPU");
    EXPECT_TRUE(run(50));
    Networks::letJobsGo();
    look("NPU");
    EXPECT_TRUE(helper->init("CPU"));
    EXPECT_EQ(helper->currentDeviceType(), "CPU");
}

TEST_F(XnnHelperTest, MissingLibraryIsTold) {
    ZelLadonXnnHelper helper("no/such/folder");
    trace.takeLines();
    EXPECT_FALSE(helper.init("GPU"));
    const std::string file =
        std::string("no/such/folder") + platform::pathSeparator() + platform::libraryFileName("xnn.dll");
    EXPECT_THAT(told(),
                ElementsAre(wanted("GPU"), Line{0, "zelipc >> ZelLadonXnnHelper::initXnn, " + file + " not exists."},
                            kNoEngine));
    const Bytes frame(kFrameBytes, 1);
    EXPECT_FALSE(helper.runInference(kWidth, kHeight, frame.data(), kFrameBytes));
    EXPECT_THAT(trace.lines(), ElementsAre(kNotInited));
}

TEST_F(XnnHelperTest, NetworkThatCannotBeMadeIsToldWithTheLibrarysWords) {
    library.set("fails", "xnnCreateNetByBuffers");
    library.set("text", "no memory on the device");
    ZelLadonXnnHelper* const helper = make();
    EXPECT_FALSE(helper->init("CPU"));
    EXPECT_THAT(told(),
                ElementsAre(wanted("CPU"), Line{0, "zelipc >> ZelLadonXnnHelper::initXnn, no memory on the device"},
                            kNoEngine));
    library.set("fails", "");
    EXPECT_TRUE(helper->init("CPU"));
    EXPECT_TRUE(run(50));
}

TEST_F(XnnHelperTest, NetworkThatIsTooLargeIsRefused) {
    for (const auto& [dims, told] : {std::pair("1x4x361x5", "5 * 361"), std::pair("1x4x4x641", "641 * 4"),
                                     std::pair("1x5x4x5", "5 * 4"), std::pair("2x4x4x5", "5 * 4")}) {
        library.set("dims input", dims);
        ZelLadonXnnHelper* const helper = make();
        EXPECT_FALSE(helper->init("CPU"));
        EXPECT_THAT(trace.lines(), Contains(Line{0, std::string("zelipc>> ZelLadonXnnHelper::init, model input size "
                                                                "not equal to predefined, input:") +
                                                        told + ", predefined:640 * 360"}));
        EXPECT_FALSE(helper->inited());
    }
    library.set("dims input", "1x4x2");
    EXPECT_FALSE(make()->init("CPU"));
}

TEST_F(XnnHelperTest, EngineComesIntoPlaceAfterAnotherNetworkWasChosenMeanwhile) {
    ZelLadonXnnHelper* const helper = make();
    Networks::holdJobs();
    ASSERT_TRUE(helper->init("GPU"));
    helper->preInit(1);
    ASSERT_TRUE(helper->init("GPU"));
    Networks::letJobsGo();
    look("GPU");
    EXPECT_TRUE(run(50));
}

TEST_F(XnnHelperTest, JobHasAStackForTheExceptionFilterFromItsStart) {
    makeOn("GPU");
    EXPECT_GE(Networks::jobStack(), 24u * 1024);
}

TEST_F(XnnHelperTest, EndWaitsForTheJobAndEndsTheWatcher) {
    ZelLadonXnnHelper* const helper = make(std::chrono::milliseconds(1));
    Networks::holdJobs();
    ASSERT_TRUE(helper->init("GPU"));
    std::thread opener([] {
        platform::sleepMilliseconds(20);
        Networks::letJobsGo();
    });
    make();
    opener.join();
    EXPECT_THAT(library.takeCalls(), Contains(HasSubstr("ladon_GPU")));
}

TEST_F(XnnHelperTest, WatcherPutsTheEngineInPlace) {
    ZelLadonXnnHelper* const helper = make(std::chrono::milliseconds(1));
    ASSERT_TRUE(helper->init("GPU"));
    const uint64_t start = platform::monotonicMicroseconds();
    while (helper->currentDeviceType() != "GPU") {
        ASSERT_LT(platform::monotonicMicroseconds() - start, kDeadlineUs);
        platform::sleepMilliseconds(1);
    }
    EXPECT_TRUE(run(50));
}

TEST_F(XnnHelperTest, DecodersAfterASwitchReadWhatTheFramesInferenceGave) {
    ZelLadonXnnHelper* const helper = makeOn("CPU");
    Networks::holdJobs();
    ASSERT_TRUE(helper->init("GPU"));
    ASSERT_TRUE(run(50));
    Networks::letJobsGo();
    look("GPU");
    EXPECT_EQ(mask(), 100);
    ASSERT_TRUE(run(60));
    EXPECT_EQ(mask(), 120);
}

// To end an engine takes as long as several frames.
TEST_F(XnnHelperTest, FrameLeavesTheEngineBeforeToTheWatcher) {
    ZelLadonXnnHelper* const helper = makeOn("CPU");
    ASSERT_TRUE(run(50));
    ASSERT_TRUE(helper->init("GPU"));
    look("GPU");
    library.set("waiting ends", "2");
    runFrameBeforeEnd();
    helper->switchEngine();
    awaitCall("2 xnnDestory");
}

TEST_F(XnnHelperTest, FramesGoOnWhileTheEngineBeforeEnds) {
    ZelLadonXnnHelper* const helper = makeOn("CPU");
    Networks::holdJobs();
    ASSERT_TRUE(helper->init("GPU"));
    runFrameWhileEnds("2", [&] { return helper->currentDeviceType() == "GPU"; });
}

TEST_F(XnnHelperTest, FramesGoOnWhileAnEngineThatIsNotWantedEnds) {
    ZelLadonXnnHelper* const helper = makeOn("CPU");
    Networks::holdJobs();
    ASSERT_TRUE(helper->init("GPU"));
    ASSERT_TRUE(helper->init("CPU"));
    runFrameWhileEnds("4", [&] { return trace.contains("delete m_backupXnnEngine"); });
}

TEST_F(XnnHelperTest, InputIsTheFrameInPlanesAndTheLastMask) {
    makeOn("CPU")->frames().setAutoSkipVBG(false);
    Bytes frame;
    for (uint8_t pixel = 0; pixel < kPixels; ++pixel)
        for (const int start : {10, 40, 70}) frame.push_back(static_cast<uint8_t>(start + pixel));
    ASSERT_TRUE(run(frame));
    const float* values = nullptr;
    // Any output of the test library is its whole input, doubled.
    mHelper->parseLandmarksOutput(&values);
    ASSERT_TRUE(values);
    for (size_t pixel = 0; pixel < kPixels; ++pixel) {
        const auto shade = static_cast<float>(pixel);
        EXPECT_EQ(values[pixel], 2 * (10 + shade));
        EXPECT_EQ(values[kPixels + pixel], 2 * (40 + shade));
        EXPECT_EQ(values[2 * kPixels + pixel], 2 * (70 + shade));
        EXPECT_EQ(values[3 * kPixels + pixel], 0) << "no mask before the first";
    }
    mask();
    ASSERT_TRUE(run(frame));
    mHelper->parseLandmarksOutput(&values);
    EXPECT_EQ(values[3 * kPixels], 40) << "the mask of the frame before, doubled";
    mHelper->init("NPU");
    look("NPU");
    ASSERT_TRUE(mHelper->init("CPU"));
    ASSERT_TRUE(run(frame));
    mHelper->parseLandmarksOutput(&values);
    EXPECT_EQ(values[3 * kPixels], 0) << "a start begins with an empty mask";
}

TEST_F(XnnHelperTest, InputIsHandedOverBeforeTheTimeIsTaken) {
    makeOn("CPU");
    ASSERT_TRUE(run(50));
    EXPECT_THAT(library.takeCalls(),
                ElementsAre(HasSubstr("xnnGetLayerDims input count"), HasSubstr("xnnGetLayerDims input dims"),
                            HasSubstr("xnnSetLayerData input 1x4x4x5"), HasSubstr("xnnInfer")));
}

TEST_F(XnnHelperTest, StillFramesAreSkippedAfterTenInferences) {
    ZelLadonXnnHelper* const helper = makeOn("CPU");
    helper->uninit();
    for (int frame = 0; frame < 10; ++frame) {
        ASSERT_TRUE(run(50));
        EXPECT_NE(helper->frames().lastChanged(), 0) << frame;
        mask();
    }
    ASSERT_TRUE(run(50));
    mask();
    library.takeCalls();
    ASSERT_TRUE(run(50));
    EXPECT_EQ(helper->frames().lastChanged(), 0);
    EXPECT_THAT(library.takeCalls(), IsEmpty());
    EXPECT_THAT(helper->frames().prevMask(), Each(100));
    helper->uninit();
    EXPECT_EQ(helper->frames().lastChanged(), 1);
    ASSERT_TRUE(run(50));
    EXPECT_NE(helper->frames().lastChanged(), 0);
}

TEST_F(XnnHelperTest, FramesThatCannotBeAreRefused) {
    ZelLadonXnnHelper* const helper = makeOn("CPU");
    const Bytes frame(kFrameBytes, 1);
    EXPECT_FALSE(helper->runInference(kWidth, kHeight, nullptr, kFrameBytes));
    EXPECT_FALSE(helper->runInference(kWidth, kHeight, frame.data(), 0));
    EXPECT_FALSE(helper->runInference(kHeight, kWidth, frame.data(), kFrameBytes));
    const Line invalid{0, "zelipc>> ZelLadonXnnHelper::runInference param invalid."};
    EXPECT_THAT(told(), ElementsAre(invalid, invalid,
                                    Line{0,
                                         "zelipc>> ZelLadonXnnHelper model size not the same, tensor: w =5 "
                                         "h = 4, input sample: w = 4 h = 5"}));
}

TEST_F(XnnHelperTest, LibrarysExceptionLeavesRunInferenceAndTheDecoders) {
    ZelLadonXnnHelper* const helper = makeOn("CPU");
    library.set("fails", "xnnInfer");
    EXPECT_THROW(run(1), std::runtime_error);
    library.set("fails", "xnnGetLayerData");
    ASSERT_TRUE(run(1));
    EXPECT_THROW(mask(), std::runtime_error);
    const float* values = nullptr;
    EXPECT_THROW(helper->getGestureOutput(&values), std::runtime_error);
    EXPECT_EQ(values, nullptr);
    library.set("fails", "");
    EXPECT_TRUE(run(1));
    EXPECT_EQ(mask(), 2);
}

// The entries that a start calls, in their order.
TEST_F(XnnHelperTest, NumberThrownInAStartIsAFailedStart) {
    for (const char* entry : {"xnnCreateWithLibraryLoader", "xnnSelfVersion", "xnnHasException", "xnnSetLogCallback",
                              "xnnGetEngineMutableProperties", "xnnSetEnginePropertyForNetwork",
                              "xnnCreateNetByBuffers", "xnnGetLayerDims"}) {
        ZelLadonXnnHelper* const helper = make();
        library.set("throws", entry);
        EXPECT_FALSE(helper->init("CPU")) << entry;
        EXPECT_THAT(told(), AllOf(Contains(kNoText), Contains(kNoEngine))) << entry;
        EXPECT_FALSE(run(50)) << entry;
        library.set("throws", "");
        EXPECT_TRUE(helper->init("CPU")) << entry;
        EXPECT_TRUE(run(50)) << entry;
    }
}

TEST_F(XnnHelperTest, NumberThrownInAJobLeavesTheCpuServing) {
    for (const char* entry : {"xnnCreateNetByBuffers", "xnnGetLayerDims"}) {
        ZelLadonXnnHelper* const helper = makeOn("CPU");
        library.set("throws", entry);
        ASSERT_TRUE(helper->init("GPU"));
        look([&] { return trace.contains(kNoText.text); });
        library.set("throws", "");
        EXPECT_EQ(helper->currentDeviceType(), "CPU");
        EXPECT_TRUE(run(50)) << entry;
        EXPECT_EQ(mask(), 100) << entry;
    }
}

TEST_F(XnnHelperTest, NumberThrownAtAnEnginesEndIsToldAndNoMore) {
    ZelLadonXnnHelper* const helper = makeOn("GPU");
    library.set("throws", "xnnDestory");
    EXPECT_TRUE(helper->init("CPU"));
    EXPECT_THAT(told(), Contains(Line{0, "zelipc>> PluginEngine, xnnDestory threw: an exception without text"}));
    EXPECT_TRUE(run(50));
    mHelper.reset();
    library.set("throws", "");
}

// A library may not make the helper read or write beyond its buffers.
TEST_F(XnnHelperTest, InputThatChangesItsShapeIsRefused) {
    makeOn("CPU");
    library.set("dims input", "1x4x2000x3000");
    EXPECT_THROW(run(1), std::runtime_error);
}

TEST_F(XnnHelperTest, OutputsOfOtherShapesAreTold) {
    ZelLadonXnnHelper* const helper = makeOn("CPU");
    ASSERT_TRUE(run(1));
    library.set("dims gesture", "1x8");
    library.set("dims faces_and_landmarks", "1x1x9x16x1438");
    const float* values = nullptr;
    helper->getGestureOutput(&values);
    helper->parseLandmarksOutput(&values);
    EXPECT_EQ(values, nullptr);
    EXPECT_THAT(told(), ElementsAre(Line{0,
                                         "zelipc>> ZelLadonXnnHelper::getGestureOutput, gesture number not equal to "
                                         "preset number, actual:8, preset:9"},
                                    Line{0,
                                         "zelipc >> ZelLadonXnnHelper::parseLandmarksOutput, output tensor shape "
                                         "not equal to preset shape, actual: 1x9x16x1438, preset: 1x9x16x1439"}));
}

TEST_F(XnnHelperTest, TableIsGivenWithItsVerticesAndConfidence) {
    ZelLadonXnnHelper* const helper = makeOn("CPU");
    ASSERT_TRUE(run(4));
    const float* lut = nullptr;
    const float* vertices = nullptr;
    float confidence = -1;
    helper->parseLutOutput(&lut, &vertices, &confidence);
    ASSERT_TRUE(lut);
    ASSERT_TRUE(vertices);
    EXPECT_EQ(confidence, 8);
}

TEST_F(XnnHelperTest, TableOfAnotherShapeIsToldAndNothingWritten) {
    ZelLadonXnnHelper* const helper = makeOn("CPU");
    ASSERT_TRUE(run(4));
    const float* lut = nullptr;
    const float* vertices = nullptr;
    float confidence = -1;
    library.set("dims lut", "1x3x33x33x32");
    helper->parseLutOutput(&lut, &vertices, &confidence);
    library.set("dims lut", "1x3x33x33x33");
    library.set("dims lut_vertices", "1x3x32");
    helper->parseLutOutput(&lut, &vertices, &confidence);
    EXPECT_EQ(lut, nullptr);
    EXPECT_EQ(vertices, nullptr);
    EXPECT_EQ(confidence, -1);
    EXPECT_THAT(told(),
                ElementsAre(Line{0,
                                 "zelipc >> ZelLadonXnnHelper::parseLutOutput, output lut shape is not equal to "
                                 "preset shape, actual: 3x33x33x32, preset: 3x33x33x33"},
                            Line{0,
                                 "zelipc >> ZelLadonXnnHelper::parseLutOutput, output lut_vertices shape is not "
                                 "equal to preset shape, actual: 3x32, preset: 3x33"}));
}

class SlowDeviceTest : public XnnHelperTest {
  protected:
    // Two windows' worth of inferences of these milliseconds each; the second look is after ten seconds.
    void runWindow(std::initializer_list<unsigned long long> times) {
        for (const unsigned long long time : times) {
            inferenceTime = time * 1000;
            ASSERT_TRUE(run(1));
        }
        ticks += 10000;
        inferenceTime = 1000;
        ASSERT_TRUE(run(1));
    }
};

TEST_F(SlowDeviceTest, GpuFallsBackAboveTheLimitAtTheEndOfAWindow) {
    ZelLadonXnnHelper* const helper = makeOn("GPU");
    helper->frames().setAutoSkipVBG(false);
    stopClocks(150);
    runWindow({150, 150});
    EXPECT_EQ(helper->currentDeviceType(), "GPU") << "150.0 is not above the limit";
    EXPECT_THAT(told(), Not(Contains(kFallBack)));
    runWindow({200, 300});
    EXPECT_THAT(told(), AllOf(Contains(kFallBack), Contains(wanted("CPU"))));
    EXPECT_EQ(helper->currentDeviceType(), "CPU");
    EXPECT_EQ(helper->deviceType(), "CPU");
    EXPECT_EQ(mask(), 2) << "the slow frame is not lost";
}

TEST_F(SlowDeviceTest, OtherDevicesStay) {
    for (const char* device : {"CPU", "NPU"}) {
        ZelLadonXnnHelper* const helper = makeOn(device);
        helper->frames().setAutoSkipVBG(false);
        stopClocks(500);
        runWindow({500, 500});
        EXPECT_EQ(helper->currentDeviceType(), device);
        EXPECT_THAT(told(), Not(Contains(kFallBack)));
    }
}

TEST_F(SlowDeviceTest, WindowIsTold) {
    makeOn("CPU")->frames().setAutoSkipVBG(false);
    stopClocks(40);
    runWindow({40, 41});
    EXPECT_THAT(told(), Contains(Line{2,
                                      "zelipc>> ZelLadonXnnHelper infer_request.Infer() predict , elapsed=10000, "
                                      "fps=0.2, mTotalCount=2 times, total = 81 ms, average = 40 ms,  Skip / active "
                                      "is about 0, VBG update 0, skip VBG cost(ms)0"}));
}

// Frames go on while another thread changes its mind, and the watcher looks all the time.
TEST_F(XnnHelperTest, NoFrameFailsButDuringARebuild) {
    ZelLadonXnnHelper* const helper = make(std::chrono::milliseconds(1));
    ASSERT_TRUE(helper->init("CPU"));
    std::atomic<bool> done{false};
    std::atomic<int> rounds{0};
    std::thread wisher([&] {
        const char* const devices[] = {"GPU", "NPU", "CPU", "NPU", "GPU", "CPU"};
        for (int round = 0; round < 60; ++round, ++rounds) {
            helper->init(devices[round % std::size(devices)]);
            platform::sleepMilliseconds(static_cast<uint32_t>(round % 4));
        }
        done = true;
    });
    int served = 0;
    while (!done) {
        if (!run(static_cast<uint8_t>(served % 100))) continue;
        if (helper->frames().lastChanged() != 0) {
            EXPECT_EQ(mask(), served % 100 * 2);
        }
        const float* values = nullptr;
        helper->getGestureOutput(&values);
        ++served;
    }
    wisher.join();
    EXPECT_GT(served, 0);
    for (const Line& line : told()) {
        if (line.level == 0) {
            EXPECT_EQ(line.text, kNotInited.text);
        }
    }
}
