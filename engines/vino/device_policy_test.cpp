#include "engines/vino/DevicePolicy.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "engines/inference_engine/DeviceAlias.h"
#include "platform/include/folders.h"
#include "platform/include/machine.h"
#include "platform/include/module.h"
#include "tests/support/TraceCapture.h"

using InferenceEngine::Core;
using platform::PathKind;
using testing::ElementsAre;

namespace {

using Line = zeltest::TraceCapture::Line;

class FakeMachine : public platform::Machine {
  public:
    bool cpuCores(unsigned& physical, unsigned& logical) override {
        if (cores == 0) return false;
        physical = cores;
        logical = 2 * cores;
        return true;
    }
    bool cpuFrequency(unsigned& megahertz) override {
        if (frequency == 0) return false;
        megahertz = frequency;
        return true;
    }
    std::vector<platform::Adapter> adapters() override { return list; }

    unsigned cores = 4;
    unsigned frequency = 1600;
    std::vector<platform::Adapter> list;
};

class FakeFolders : public platform::Folders {
  public:
    std::string temporary() override { return ""; }
    std::string localData() override { return ""; }
    PathKind kindOf(const std::string& path) override {
        asked = path;
        if (fails) throw std::filesystem::filesystem_error("status", path, std::make_error_code(std::errc::io_error));
        return plugin;
    }

    PathKind plugin = PathKind::kFile;
    bool fails = false;
    std::string asked;
};

class DevicePolicyTest : public testing::Test {
  protected:
    DevicePolicyTest() {
        platform::replaceMachine(&machine);
        platform::replaceFolders(&folders);
    }
    ~DevicePolicyTest() override {
        platform::replaceMachine(nullptr);
        platform::replaceFolders(nullptr);
    }

    std::string threadsFor(unsigned frequency, unsigned cores) {
        machine.frequency = frequency;
        machine.cores = cores;
        Core core;
        applyCpuConfiguration(core, "ZelVinoHelper");
        return core.GetConfig("CPU", "INFERENCE_NUM_THREADS");
    }

    FakeMachine machine;
    FakeFolders folders;
    zeltest::TraceCapture trace;
};

const Line kNotFound{2, "zelipc CheckGPUSupported clDNNPlugin.dll not found"};
const Line kUnsupported{2, "zelipc CheckGPUSupported, unsupported."};

}  // namespace

TEST_F(DevicePolicyTest, AbsentPluginMeansNoGpu) {
    machine.list = {{"Intel UHD Graphics 770", 128, "31.0"}};
    folders.plugin = PathKind::kMissing;
    EXPECT_FALSE(CheckGPUSupported());
    EXPECT_THAT(trace.takeLines(), ElementsAre(kNotFound));
    EXPECT_EQ(folders.asked, platform::executableDirectory() + platform::pathSeparator() +
                                 platform::libraryFileName("clDNNPlugin.dll"));
}

TEST_F(DevicePolicyTest, DirectoryOfThePluginsNameCountsAsAbsent) {
    machine.list = {{"Intel UHD Graphics 770", 128, "31.0"}};
    for (const PathKind kind : {PathKind::kDirectory, PathKind::kForeignDirectory}) {
        folders.plugin = kind;
        EXPECT_FALSE(CheckGPUSupported());
        EXPECT_THAT(trace.takeLines(), ElementsAre(kNotFound));
    }
}

TEST_F(DevicePolicyTest, PluginThatCannotBeLookedAtCountsAsAbsent) {
    folders.fails = true;
    EXPECT_FALSE(CheckGPUSupported());
    EXPECT_THAT(trace.takeLines(), ElementsAre(kNotFound));
}

TEST_F(DevicePolicyTest, VendorWordMatchesInAnyCaseAndPlace) {
    for (const char* name : {"Intel UHD", "INTEL", "a pIntElligence b", "(intel)"}) {
        machine.list = {{name, 1, "v"}};
        EXPECT_TRUE(CheckGPUSupported()) << name;
    }
}

TEST_F(DevicePolicyTest, OtherAdaptersDoNotMatch) {
    for (const char* name : {"NVIDIA H200", "inte", "", "int el", "AMD Radeon"}) {
        machine.list = {{name, 1, "v"}};
        trace.takeLines();
        EXPECT_FALSE(CheckGPUSupported()) << name;
        EXPECT_THAT(trace.takeLines(), ElementsAre(kUnsupported)) << name;
    }
    machine.list.clear();
    EXPECT_FALSE(CheckGPUSupported());
    EXPECT_THAT(trace.takeLines(), ElementsAre(kUnsupported));
}

TEST_F(DevicePolicyTest, FirstMatchingAdapterIsToldInLowerCase) {
    machine.list = {{"NVIDIA RTX", 8192, "1"}, {"Intel UHD Graphics", 128, "31.0.101"}, {"Intel Arc", 6144, "32"}};
    EXPECT_TRUE(CheckGPUSupported());
    EXPECT_THAT(
        trace.takeLines(),
        ElementsAre(Line{2, "zelipc CheckGPUSupported use GPU, strGpu=intel uhd graphics, mem=128, ver=31.0.101"}));
}

TEST_F(DevicePolicyTest, AdapterWithoutMemoryOrVersionMatchesAllTheSame) {
    machine.list = {{"Intel", 0, ""}};
    EXPECT_TRUE(CheckGPUSupported());
    EXPECT_THAT(trace.takeLines(), ElementsAre(Line{2, "zelipc CheckGPUSupported use GPU, strGpu=intel, mem=0, ver="}));
}

#ifdef ZELHOST_TEST_HOOKS
TEST_F(DevicePolicyTest, VariableAnswersForTheWholeMachine) {
    folders.plugin = PathKind::kMissing;
    InferenceEngine::details::replaceVariableReader(
        [](const char* name) { return std::string(name == std::string("ZELHOST_DEVICE_PRESENT") ? "GPU" : ""); });
    EXPECT_TRUE(CheckGPUSupported());
    InferenceEngine::details::replaceVariableReader(nullptr);
    EXPECT_FALSE(CheckGPUSupported());
}
#endif

TEST_F(DevicePolicyTest, ListsOfDifferentLengthAreRefused) {
    const Line wrongSize{0, "zelipc CheckGPUSupported failed, wrong size"};
    EXPECT_FALSE(isGpuAmong({"Intel"}, {}, {"1"}));
    EXPECT_FALSE(isGpuAmong({"Intel"}, {1}, {}));
    EXPECT_FALSE(isGpuAmong({}, {1}, {"1"}));
    EXPECT_THAT(trace.takeLines(), ElementsAre(wrongSize, wrongSize, wrongSize));
}

TEST_F(DevicePolicyTest, StrongMachineIsLimitedToOneThread) {
    EXPECT_EQ(threadsFor(1600, 4), "1");
    EXPECT_EQ(threadsFor(4000, 64), "1");
    EXPECT_EQ(threadsFor(1599, 4), "");
    EXPECT_EQ(threadsFor(1600, 3), "");
    EXPECT_EQ(threadsFor(1599, 3), "");
}

TEST_F(DevicePolicyTest, UnknownMachineKeepsTheEnginesDefault) {
    EXPECT_EQ(threadsFor(0, 4), "");
    EXPECT_EQ(threadsFor(1600, 0), "");
}

TEST_F(DevicePolicyTest, CpuConfigurationTellsTheMachine) {
    Core core;
    applyCpuConfiguration(core, "ZelVinoHelper");
    applyCpuConfiguration(core, "ZelLadonVinoHelper");
    EXPECT_EQ(core.GetConfig("CPU", "NUM_STREAMS"), "AUTO");
    EXPECT_EQ(core.GetConfig("CPU", "ENABLE_CPU_PINNING"), "NO");
    EXPECT_THAT(trace.takeLines(),
                ElementsAre(Line{2, "zelipc>>ZelVinoHelper::init number of physical core: 4, frequency: 1600"},
                            Line{2, "zelipc>>ZelLadonVinoHelper::init number of physical core: 4, frequency: 1600"}));
}

TEST_F(DevicePolicyTest, ThreadLimitOnceSetStays) {
    Core core;
    applyCpuConfiguration(core, "ZelVinoHelper");
    machine.cores = 2;
    applyCpuConfiguration(core, "ZelVinoHelper");
    EXPECT_EQ(core.GetConfig("CPU", "INFERENCE_NUM_THREADS"), "1");
}

TEST_F(DevicePolicyTest, GpuConfigurationGoesToTheGpuOnly) {
    Core core;
    applyGpuConfiguration(core, "/somewhere/gpucache");
    EXPECT_EQ(core.GetConfig("GPU", "GPU_QUEUE_THROTTLE"), "LOW");
    EXPECT_EQ(core.GetConfig("GPU", "CACHE_DIR"), "/somewhere/gpucache");
    EXPECT_EQ(core.GetConfig("CPU", "CACHE_DIR"), "");
    applyGpuConfiguration(core, "");
    EXPECT_EQ(core.GetConfig("GPU", "CACHE_DIR"), "");
}
