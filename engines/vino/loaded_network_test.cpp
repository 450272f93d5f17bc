#include "engines/vino/LoadedNetwork.h"

#include <algorithm>

#include "engines/vino/EngineFixture.h"
#include "engines/vino/MaskNetworks.h"

using InferenceEngine::SizeVector;
using InferenceEngine::details::InferenceEngineException;
using testing::ElementsAre;
using Line = zeltest::TraceCapture::Line;

namespace {

class LoadedNetworkTest : public EngineFixture {
  protected:
    LoadedNetwork make(const mask_networks::Options& options = {}) {
        return LoadedNetwork(mask_networks::make(options).read(core));
    }

    InferenceEngine::Core core;
};

}  // namespace

TEST_F(LoadedNetworkTest, StepsGiveAPictureAndItsMask) {
    LoadedNetwork loaded = make();
    ASSERT_TRUE(loaded.takeInput(InferenceEngine::BGR));
    loaded.takeOutputs();
    EXPECT_EQ(loaded.inputDims(), (SizeVector{1, 4, 8, 16}));
    EXPECT_EQ(loaded.input().getPreProcess().getColorFormat(), InferenceEngine::BGR);
    EXPECT_EQ(loaded.outputDims("output_mask"), (SizeVector{1, 1, 8, 16}));
    EXPECT_EQ(loaded.outputDims("another"), SizeVector{});
    loaded.compile(core, "CPU");
    loaded.makeRequest();
    const InferenceEngine::Blob::Ptr input = loaded.inputBlob();
    ASSERT_EQ(input->size(), 4u * 8 * 16);
    auto* values = input->buffer().as<float*>();
    std::fill(values, values + input->size(), 128.0f);
    loaded.request.Infer();
    EXPECT_EQ(loaded.request.GetBlob("output_mask")->cbuffer().as<const float*>()[127], 0.5f);
}

TEST_F(LoadedNetworkTest, TwoInputsAreNotTaken) {
    mask_networks::Options options;
    options.inputs = 2;
    EXPECT_FALSE(make(options).takeInput(InferenceEngine::BGR));
}

TEST_F(LoadedNetworkTest, InputOfAnotherRankRaises) {
    mask_networks::Pair pair = mask_networks::make({});
    const std::string four = "1,4,8,16";
    pair.xml.replace(pair.xml.find(four), four.size(), "4,8,16");
    LoadedNetwork loaded(pair.read(core));
    try {
        loaded.takeInput(InferenceEngine::BGR);
        FAIL() << "taken";
    } catch (const InferenceEngineException& error) {
        EXPECT_EQ(error.getStatus(), InferenceEngine::PARAMETER_MISMATCH);
    }
}

TEST_F(LoadedNetworkTest, CompilingTellsTheTimeAndOnTheGpuTheCache) {
    LoadedNetwork loaded = make();
    setTickSteps(1000, 17);
    EXPECT_EQ(compileTraced(core, loaded, "CPU"), 17u);
    const Line time{2, "zelipc>>ZelVinoHelper::init LoadNetwork time :17"};
    EXPECT_THAT(trace.takeLines(), ElementsAre(time));
    EXPECT_EQ(compileTraced(core, loaded, "GPU"), 17u);
    EXPECT_THAT(trace.lines(), ElementsAre(Line{2, "zelipc>>loadgpu finished, cache is ready."}, time));
}

TEST_F(LoadedNetworkTest, FailedCompilingIsNotTold) {
    setVariable("ZELHOST_DEVICE_FAIL", "GPU");
    LoadedNetwork loaded = make();
    EXPECT_THROW(compileTraced(core, loaded, "GPU"), InferenceEngineException);
    EXPECT_TRUE(trace.lines().empty());
}

TEST_F(LoadedNetworkTest, InputsAndOutputsArePreparedWithTheirLines) {
    mask_networks::Options options;
    options.inputs = 2;
    LoadedNetwork two = make(options);
    two.compile(core, "CPU");
    EXPECT_FALSE(prepareInput(two));
    EXPECT_THAT(trace.takeLines(), ElementsAre(Line{0, "zelipc>> ZelVinoHelper::init mInputInfo.size() != 1"}));

    LoadedNetwork one = make();
    one.compile(core, "CPU");
    EXPECT_TRUE(prepareInput(one));
    prepareOutputs(one);
    EXPECT_THAT(trace.lines(), ElementsAre(Line{2, "zelipc>> ZelVinoHelper::init mNetwork.getBatchSize() = 1"}));
    EXPECT_EQ(one.outputDims("output_mask"), (SizeVector{1, 1, 8, 16}));
}

TEST(ShapeTextTest, JoinsDimensions) {
    EXPECT_EQ(shapeText({}), "");
    EXPECT_EQ(shapeText({7}), "7");
    EXPECT_EQ(shapeText({1, 4, 144, 256}), "1x4x144x256");
}
