#include <xmmintrin.h>

#include <algorithm>

#include "platform/test_support.h"
#include "plugins/xnn/PluginFixture.h"

namespace xnn_test {
namespace {

using test_networks::threeOutputs;
using test_networks::weightedSum;
using testing::Each;
using testing::ElementsAre;

class XnnNetworkTest : public PluginFixture {
  protected:
    std::vector<std::string> identifiers() {
        std::vector<std::string> result;
        for (int i = 0; i < Entry(xnnGetCreatedNetworkIdentifiersNumber)(handle); ++i) {
            result.push_back(
                textOf(Entry(xnnGetCreatedNetworkIdentifierLength), Entry(xnnGetCreatedNetworkIdentifier), handle, i));
        }
        return result;
    }

    // Infers a picture on the current network, which is a weighted sum.
    std::vector<float> inferSum(float first) {
        set("input_image", picture(first), kPicture);
        Entry(xnnInfer)(handle);
        return get("output_mask");
    }

    void writeSum(const platform::test::TemporaryFolder& folder, const std::string& name) {
        const test_networks::Pair pair = weightedSum(10, "f32");
        folder.write(name + ".xml", pair.xml);
        folder.write(name + ".bin", std::string(pair.weights.begin(), pair.weights.end()));
    }
};

TEST_F(XnnNetworkTest, InfersWhatTheNetworkComputes) {
    create("sum", weightedSum(10, "f32"));
    EXPECT_EQ(takeException(), "");
    EXPECT_EQ(inferSum(1), sumOf(picture(1)));
    EXPECT_EQ(inferSum(7), sumOf(picture(7)));
}

TEST_F(XnnNetworkTest, DenormalNumbersCountAsZeroAndTheThreadStaysAsItWas) {
    const unsigned before = _mm_getcsr();
    create("sum", weightedSum(10, "f32"));
    set("input_image", std::vector<float>(512, 1e-40f), kPicture);
    Entry(xnnInfer)(handle);
    EXPECT_THAT(get("output_mask"), Each(0.0f));
    EXPECT_EQ(_mm_getcsr() & 0xFFC0u, before & 0xFFC0u);
}

TEST_F(XnnNetworkTest, EndsOfAHalfPrecisionNetworkAreFloat32) {
    create("half", weightedSum(10, "f16"));
    EXPECT_EQ(twoStepText(Entry(xnnGetLayerPrecision), handle, "input_image"), "FP32");
    EXPECT_EQ(twoStepText(Entry(xnnGetLayerPrecision), handle, "output_mask"), "FP32");
    EXPECT_EQ(inferSum(0), sumOf(picture(0)));
}

TEST_F(XnnNetworkTest, InputStaysForTheNextInference) {
    create("sum", weightedSum(10, "f32"));
    const std::vector<float> first = inferSum(3);
    Entry(xnnInfer)(handle);
    EXPECT_EQ(get("output_mask"), first);
    EXPECT_EQ(get("input_image"), picture(3));
}

TEST_F(XnnNetworkTest, BuffersAreReadDuringTheCreationOnly) {
    test_networks::Pair pair = weightedSum(10, "f32");
    create("sum", pair);
    std::fill(pair.weights.begin(), pair.weights.end(), 0xFF);
    pair.xml.assign(pair.xml.size(), '#');
    EXPECT_EQ(inferSum(1), sumOf(picture(1)));
}

TEST_F(XnnNetworkTest, DimensionsMayBeWrittenOtherwiseWithTheSameProduct) {
    create("sum", weightedSum(10, "f32"));
    set("input_image", picture(2), {512});
    Entry(xnnInfer)(handle);
    EXPECT_EQ(get("output_mask"), sumOf(picture(2)));
}

TEST_F(XnnNetworkTest, LayersAreListedInTheNetworksOrder) {
    create("three", threeOutputs());
    ASSERT_EQ(Entry(xnnGetInputLayerNumber)(handle), 1);
    EXPECT_EQ(textOf(Entry(xnnGetInputLayerLength), Entry(xnnGetInputLayer), handle, 0), "input");
    std::vector<std::string> outputs;
    for (int i = 0; i < Entry(xnnGetOutputLayerNumber)(handle); ++i) {
        outputs.push_back(textOf(Entry(xnnGetOutputLayerLength), Entry(xnnGetOutputLayer), handle, i));
    }
    EXPECT_THAT(outputs, ElementsAre("gesture", "segmentation", "motion"));
    EXPECT_EQ(dims("gesture"), Dims({16}));
    EXPECT_EQ(dims("motion"), Dims({8, 16}));
    EXPECT_EQ(dims("segmentation"), kPicture);
}

TEST_F(XnnNetworkTest, OutputAnswersToItsFullNameToo) {
    create("three", threeOutputs());
    EXPECT_NE(Entry(xnnGetLayerData)(handle, "motion"), nullptr);
    EXPECT_EQ(Entry(xnnGetLayerData)(handle, "motion/sink_port_0"), Entry(xnnGetLayerData)(handle, "motion"));
    EXPECT_EQ(dims("motion/sink_port_0"), dims("motion"));
}

TEST_F(XnnNetworkTest, LastCreatedNetworkIsTheCurrentOne) {
    create("first", weightedSum(10, "f32"));
    EXPECT_EQ(identifier(), "first");
    create("second", threeOutputs());
    EXPECT_EQ(identifier(), "second");
    EXPECT_THAT(identifiers(), ElementsAre("first", "second"));
}

TEST_F(XnnNetworkTest, SwitchedNetworksKeepTheirLayers) {
    create("first", weightedSum(10, "f32"));
    const std::vector<float> ofFirst = inferSum(1);
    create("second", weightedSum(11, "f32"));
    const std::vector<float> ofSecond = inferSum(100);
    Entry(xnnSwitchNetwork)(handle, "first");
    EXPECT_EQ(identifier(), "first");
    EXPECT_EQ(get("output_mask"), ofFirst);
    EXPECT_EQ(get("input_image"), picture(1));
    Entry(xnnSwitchNetwork)(handle, "second");
    EXPECT_EQ(get("output_mask"), ofSecond);
}

TEST_F(XnnNetworkTest, NetworkOfTheSameIdentifierIsReplacedInPlace) {
    create("first", weightedSum(10, "f32"));
    create("second", weightedSum(10, "f32"));
    create("first", threeOutputs());
    EXPECT_THAT(identifiers(), ElementsAre("first", "second"));
    EXPECT_EQ(identifier(), "first");
    EXPECT_EQ(dims("gesture"), Dims({16}));
}

TEST_F(XnnNetworkTest, RemovedNetworkIsGoneAndTheOtherStays) {
    create("first", weightedSum(10, "f32"));
    create("second", weightedSum(10, "f32"));
    Entry(xnnRemoveNetwork)(handle, "first");
    EXPECT_THAT(identifiers(), ElementsAre("second"));
    EXPECT_EQ(identifier(), "second");
    EXPECT_EQ(inferSum(1), sumOf(picture(1)));
}

TEST_F(XnnNetworkTest, AfterTheCurrentNetworkHasGoneThereIsNone) {
    create("first", weightedSum(10, "f32"));
    create("second", weightedSum(10, "f32"));
    Entry(xnnRemoveNetwork)(handle, "second");
    Entry(xnnInfer)(handle);
    EXPECT_EQ(takeException(), "xnnInfer: there is no current network");
    Entry(xnnSwitchNetwork)(handle, "first");
    EXPECT_EQ(inferSum(1), sumOf(picture(1)));
}

TEST_F(XnnNetworkTest, EngineAndDeviceAreToldAsTheyWereGiven) {
    create("first", weightedSum(10, "f32"));
    EXPECT_EQ(textOf(Entry(xnnGetNetworkEngineLength), Entry(xnnGetNetworkEngine), handle, "first"), "OpenVINO");
    EXPECT_EQ(textOf(Entry(xnnGetNetworkDeviceLength), Entry(xnnGetNetworkDevice), handle, "first"), "CPU");
    EXPECT_EQ(textOf(Entry(xnnGetCurrentEngineLength), Entry(xnnGetCurrentEngine), handle), "OpenVINO");
    EXPECT_EQ(textOf(Entry(xnnGetCurrentNetworkDeviceLength), Entry(xnnGetCurrentNetworkDevice), handle), "CPU");
}

TEST_F(XnnNetworkTest, IsMadeFromFilesOfNarrowAndWidePaths) {
    const platform::test::TemporaryFolder folder;
    writeSum(folder, "netz\xC3\xA4");
    const std::string xml = folder.path("netz\xC3\xA4.xml");
    const std::string bin = folder.path("netz\xC3\xA4.bin");
    Entry(xnnCreateNetByFiles)(handle, "OpenVINO", "narrow", "CPU", xml.c_str(), bin.c_str());
    EXPECT_EQ(takeException(), "");
    EXPECT_EQ(inferSum(1), sumOf(picture(1)));
    Entry(xnnCreateNetByFilesWithWstring)(handle, "OpenVINO", "wide", "CPU", widePath(xml).c_str(),
                                          widePath(bin).c_str());
    EXPECT_EQ(takeException(), "");
    EXPECT_EQ(identifier(), "wide");
    EXPECT_EQ(inferSum(2), sumOf(picture(2)));
}

TEST_F(XnnNetworkTest, IsMadeFromARegisteredInnerId) {
    const platform::test::TemporaryFolder folder;
    writeSum(folder, "sum");
    const std::string xml = folder.path("sum.xml");
    const std::string bin = folder.path("sum.bin");
    Entry(xnnRegisterModelAsInnerIDwithString)(handle, "narrow", xml.c_str(), bin.c_str());
    Entry(xnnRegisterModelAsInnerIDwithWString)(handle, "wide", widePath(xml).c_str(), widePath(bin).c_str());
    EXPECT_EQ(Entry(xnnGetSupportBuiltinModelNumber)(handle), 0);
    for (const char* id : {"narrow", "wide"}) {
        Entry(xnnCreateNetByBuiltin)(handle, "OpenVINO", id, "CPU", id);
        EXPECT_EQ(takeException(), "");
        EXPECT_EQ(inferSum(1), sumOf(picture(1)));
    }
    Entry(xnnUnregisterInnerID)(handle, "wide");
    EXPECT_EQ(inferSum(2), sumOf(picture(2)));
    Entry(xnnCreateNetByBuiltin)(handle, "OpenVINO", "again", "CPU", "wide");
    EXPECT_THAT(takeException(), testing::HasSubstr("there is no model wide"));
}

TEST_F(XnnNetworkTest, FormatVersionOfAModelFileIsTold) {
    const platform::test::TemporaryFolder folder;
    writeSum(folder, "sum");
    const std::string xml = folder.path("sum.xml");
    uint64_t length = 0;
    char text[8] = {};
    Entry(xnnGetPluginModelVersionLengthWithString)(handle, xml.c_str(), &length);
    Entry(xnnGetPluginModelVersionWithString)(handle, xml.c_str(), text);
    EXPECT_EQ(std::string(text, length), "10");
    length = 0;
    std::fill_n(text, sizeof text, '\0');
    Entry(xnnGetPluginModelVersionLengthWithWstring)(handle, widePath(xml).c_str(), &length);
    Entry(xnnGetPluginModelVersionWithWstring)(handle, widePath(xml).c_str(), text);
    EXPECT_EQ(std::string(text, length), "10");
}

// The buffer was made for the first text, so a longer one must not come.
TEST_F(XnnNetworkTest, VersionOfAFileThatChangedMeanwhileIsTheMeasuredOne) {
    const platform::test::TemporaryFolder folder;
    const std::string xml = folder.write("sum.xml", "<net version=\"10\"></net>");
    uint64_t length = 0;
    Entry(xnnGetPluginModelVersionLengthWithString)(handle, xml.c_str(), &length);
    ASSERT_EQ(length, 2u);
    folder.write("sum.xml", "<net version=\"123456789\"></net>");
    char text[10] = "#########";
    Entry(xnnGetPluginModelVersionWithString)(handle, xml.c_str(), text);
    EXPECT_STREQ(text, "10#######");
    Entry(xnnGetPluginModelVersionWithString)(handle, folder.path("other").c_str(), text);
    EXPECT_THAT(takeException(), testing::HasSubstr("the length must be asked for first"));
}

}  // namespace
}  // namespace xnn_test
