#include <gmock/gmock.h>

#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>

#include "engines/inference_engine/DeviceAlias.h"
#include "host/HostFixture.h"
#include "platform/include/clock.h"
#include "platform/include/folders.h"
#include "platform/include/machine.h"

namespace {

using ipc::CommandCode;
using ipc::EventCode;

constexpr const char* kSmallCpuNetwork = "Large_256144_Chan4_D5_V33_03012022U8";
constexpr const char* kLargeCpuNetwork = "Large_640360_Chan4_D5_V33_03032022U8";
constexpr const char* kSmallGpuNetwork = "Large_256144_Chan4_D5_V33_03032022";

std::string nameOf(const ipc::Event& event) {
    const char* text = reinterpret_cast<const char*>(event.text);
    return std::string(text, strnlen(text, sizeof event.text));
}

// A machine whose adapters the test chooses; the GPU plug-in lies beside the executable.
class ChosenMachine : public platform::Machine, public platform::Folders {
  public:
    bool cpuCores(unsigned& physical, unsigned& logical) override { return physical = 2, logical = 2, true; }
    bool cpuFrequency(unsigned& megahertz) override { return megahertz = 1000, true; }
    std::vector<platform::Adapter> adapters() override { return mAdapters; }
    std::string temporary() override { return mFolders.temporary(); }
    std::string localData() override { return mFolders.localData(); }
    platform::PathKind kindOf(const std::string& path) override {
        return path.find("clDNNPlugin") != std::string::npos ? platform::PathKind::kFile : mFolders.kindOf(path);
    }

    std::vector<platform::Adapter> mAdapters;

  private:
    platform::Folders& mFolders = platform::folders();
};

class HostEngineTest : public HostTest {
  protected:
    void SetUp() override {
        platform::replaceMachine(&mMachine);
        platform::replaceFolders(&mMachine);
        HostTest::SetUp();
        serve();
    }
    void TearDown() override {
        HostTest::TearDown();
        platform::replaceFolders(nullptr);
        platform::replaceMachine(nullptr);
    }

    // The codes of all events that a SetModelType caused, heart beats left out; a slow start survives them.
    std::vector<uint32_t> eventsOf(uint32_t type, uint32_t capacity) {
        mClient->command(CommandCode::SetModelType, type, capacity);
        mClient->command(CommandCode::InitClient);
        std::vector<uint32_t> codes;
        mNames.clear();
        mTypes.clear();
        while (const auto event = mClient->event()) {
            if (event->code == static_cast<uint32_t>(EventCode::InitClientReply)) break;
            if (event->code == static_cast<uint32_t>(EventCode::HeartBeat)) {
                mClient->showLife();
                continue;
            }
            if (event->code == static_cast<uint32_t>(EventCode::ModelName)) mNames.push_back(nameOf(*event));
            if (event->code == static_cast<uint32_t>(EventCode::ModelType)) mTypes.push_back(event->modelType);
            codes.push_back(event->code);
        }
        return codes;
    }

    ChosenMachine mMachine;
    std::vector<std::string> mNames;
    std::vector<uint32_t> mTypes;
};

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(HostEngineTest, RefusedTypesYieldNoEvent) {
    for (const uint32_t type : {4u, 11u, 0xFFFFFFFFu}) EXPECT_THAT(eventsOf(type, 0), IsEmpty());
    EXPECT_TRUE(traced(2, "zelipc>>ZelMLHost::setModelType, oldType = 0, newType = 11, devCapacity = 0"));
    EXPECT_TRUE(traced(2, "zelipc>>ZelMLHost::setModelType, modelType invalid, remain old modelType:0"));
}

TEST_F(HostEngineTest, IdleYieldsNoEvent) {
    EXPECT_THAT(eventsOf(0, 0), IsEmpty());
    EXPECT_TRUE(traced(2, "zelipc>>ZelMLHost::setModelType, modelType = 0, set to idle model type"));
}

TEST_F(HostEngineTest, TypesThatStartNothingFailWithTheOldType) {
    for (const uint32_t type : {1u, 5u, 6u, 7u, 8u, 9u, 10u}) {
        mTrace.takeLines();
        EXPECT_THAT(eventsOf(type, 0), ElementsAre(4u));
        EXPECT_THAT(mTypes, ElementsAre(0u));
        EXPECT_TRUE(traced(0, "zelipc>>ZelMLHost::initMLengine, failed to initMLengine")) << type;
    }
}

TEST_F(HostEngineTest, CpuStartNamesTheNetworkAndThenTheType) {
    EXPECT_THAT(eventsOf(3, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre(kSmallCpuNetwork));
    EXPECT_THAT(mTypes, ElementsAre(3u));
}

TEST_F(HostEngineTest, SameTypeAndCapacityRestartNothing) {
    eventsOf(3, 0);
    mTrace.takeLines();
    EXPECT_THAT(eventsOf(3, 0), ElementsAre(4u));
    EXPECT_FALSE(mTrace.contains("initMLengine"));
}

TEST_F(HostEngineTest, CapacityAloneRestarts) {
    eventsOf(3, 0);
    EXPECT_THAT(eventsOf(3, 1), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre(kLargeCpuNetwork));
}

TEST_F(HostEngineTest, FailedStartSendsTheStaleName) {
    eventsOf(3, 0);
    EXPECT_THAT(eventsOf(5, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre(kSmallCpuNetwork));
    EXPECT_THAT(mTypes, ElementsAre(3u));
}

TEST_F(HostEngineTest, ModuleTypeFailsWithoutTheName) {
    eventsOf(3, 0);
    EXPECT_THAT(eventsOf(1, 0), ElementsAre(4u));
}

TEST_F(HostEngineTest, TypeTwoKeepsItsNumberWithoutGpu) {
    EXPECT_THAT(eventsOf(2, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre(kSmallCpuNetwork));
    EXPECT_THAT(mTypes, ElementsAre(2u));
}

TEST_F(HostEngineTest, IdleThenSameTypeRestarts) {
    eventsOf(3, 0);
    eventsOf(0, 0);
    EXPECT_THAT(eventsOf(3, 0), ElementsAre(3u, 4u));
}

TEST_F(HostEngineTest, LinesOfAStartComeInOrder) {
    eventsOf(3, 0);
    std::vector<std::string> heads;
    for (const auto& line : mTrace.lines())
        for (const char* head :
             {" zelipc>> ZelMLHost::onIpcCommand, SetModelType received, type = 3, devCapacity = 0",
              "zelipc>>ZelMLHost::setModelType, oldType = 0, newType = 3, devCapacity = 0", "zelipc>> load bin size: ",
              "zelipc>>ZelVinoHelper::init LoadNetwork time :", "zelipc::initMLengine end [this="})
            if (line.text.rfind(head, 0) == 0) heads.push_back(head);
    // The helper reads the small CPU pair once when it is made and once when it is started.
    EXPECT_THAT(heads,
                ElementsAre(" zelipc>> ZelMLHost::onIpcCommand, SetModelType received, type = 3, devCapacity = 0",
                            "zelipc>>ZelMLHost::setModelType, oldType = 0, newType = 3, devCapacity = 0",
                            "zelipc>> load bin size: ", "zelipc>> load bin size: ",
                            "zelipc>>ZelVinoHelper::init LoadNetwork time :", "zelipc::initMLengine end [this="));
}

// Variables of the engine's testing aids, in place of the environment.
std::map<std::string, std::string>& engineVariables() {
    static std::map<std::string, std::string> variables;
    return variables;
}

// Where background loads stand still, at the first variable they ask for, until it is opened.
class LoadGate {
  public:
    // For every thread but the one that serves.
    void close(std::thread::id serving) {
        const std::lock_guard<std::mutex> lock(mMutex);
        mServing = serving;
        mOpen = false;
    }
    void open() {
        const std::lock_guard<std::mutex> lock(mMutex);
        mOpen = true;
        mOpened.notify_all();
    }
    void pass() {
        std::unique_lock<std::mutex> lock(mMutex);
        mOpened.wait(lock, [this] { return mOpen || std::this_thread::get_id() == mServing; });
    }

  private:
    std::mutex mMutex;
    std::condition_variable mOpened;
    std::thread::id mServing;
    bool mOpen = true;
};

LoadGate& backgroundLoads() {
    static LoadGate gate;
    return gate;
}

// Two loads may ask at once.
std::string engineVariable(const char* name) {
    backgroundLoads().pass();
    const auto found = engineVariables().find(name);
    return found == engineVariables().end() ? std::string() : found->second;
}

// A machine with a GPU: the processor under its name, with real inference.
class HostGpuTest : public HostEngineTest {
  protected:
    void SetUp() override {
        engineVariables() = {{"ZELHOST_DEVICE_ALIAS", "GPU=CPU"}};
        InferenceEngine::details::replaceVariableReader(engineVariable);
        mMachine.mAdapters = {{"Intel Arc", 8192, "1.2.3"}};
        HostEngineTest::SetUp();
    }
    void TearDown() override {
        backgroundLoads().open();
        HostEngineTest::TearDown();
        InferenceEngine::details::replaceVariableReader(nullptr);
    }

    // Sends frames, each of which must be answered, until a line with `text` was traced.
    void streamUntil(const std::string& text) {
        const uint32_t start = platform::tickCount();
        while (!mTrace.contains(text)) {
            ASSERT_LT(platform::tickCount() - start, zeltest::kDeadlineMs) << text;
            mClient->frame(256, 144, mFrame);
            ASSERT_TRUE(mClient->mask());
        }
    }

    const std::vector<uint8_t> mFrame = std::vector<uint8_t>(256 * 144 * 3, 90);
};

TEST_F(HostGpuTest, SplitStartServesAtOnceAndTheGpuTakesOverWithoutDroppingAFrame) {
    backgroundLoads().close(mMain.get_id());
    EXPECT_THAT(eventsOf(2, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mNames, ElementsAre(kSmallGpuNetwork));
    EXPECT_THAT(mTypes, ElementsAre(2u));
    EXPECT_TRUE(traced(2, "zelipc>>ZelMLHost::initMLengine. thread detach failed"));
    mClient->frame(256, 144, mFrame);
    EXPECT_TRUE(mClient->mask());
    EXPECT_FALSE(mTrace.contains("zelipc>>loadgpu finished"));
    backgroundLoads().open();
    streamUntil("zelipc>>loadgpu finished, cache is ready.");
    mClient->frame(256, 144, mFrame);
    EXPECT_TRUE(mClient->mask());
}

TEST_F(HostGpuTest, FailingLoadLeavesTheCpuServing) {
    engineVariables()["ZELHOST_DEVICE_FAIL"] = "GPU";
    EXPECT_THAT(eventsOf(2, 0), ElementsAre(3u, 4u));
    EXPECT_THAT(mTypes, ElementsAre(2u));
    streamUntil("zelipc>>ZelMLHost::initMLengine, background load failed: ");
    mClient->frame(256, 144, mFrame);
    EXPECT_TRUE(mClient->mask());
}

TEST_F(HostGpuTest, DeviceThatIsNotThereLeavesTheCpuServing) {
    engineVariables().clear();
    EXPECT_THAT(eventsOf(2, 0), ElementsAre(3u, 4u));
    streamUntil("zelipc>>ZelMLHost::initMLengine, background load failed: ");
}

TEST_F(HostGpuTest, SecondSplitStartDetachesTheFirstLoad) {
    eventsOf(2, 0);
    eventsOf(2, 1);
    EXPECT_TRUE(mTrace.contains("zelipc>>ZelMLHost::initMLengine. old thread detached [this="));
}

TEST_F(HostGpuTest, TypeChangeDuringTheLoadFreesNothingInUse) {
    engineVariables()["ZELHOST_DEVICE_DELAY_MS"] = "GPU=50";
    for (int round = 0; round < 3; ++round) {
        eventsOf(2, 0);
        eventsOf(3, 0);
        EXPECT_THAT(mTypes, ElementsAre(3u));
    }
    mClient->frame(256, 144, mFrame);
    EXPECT_TRUE(mClient->mask());
}

}  // namespace
