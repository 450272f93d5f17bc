#include <filesystem>
#include <map>

#include "platform/test_support.h"
#include "plugins/xnn/PluginFixture.h"

namespace xnn_test {
namespace {

using test_networks::weightedSum;
using testing::Contains;
using testing::HasSubstr;

class XnnEngineTest : public PluginFixture {
  protected:
    ~XnnEngineTest() override { setVariable("ZELHOST_DEVICE_ALIAS", ""); }

    void setString(const char* identifier, const char* name, const char* value) {
        Entry(xnnSetEnginePropertyForNetwork)(handle, "OpenVINO", identifier, name, "std::string", value);
    }

    std::map<std::string, std::string> mutableProperties() {
        int count = 0;
        const auto ask = Entry(xnnGetEngineMutableProperties);
        ask(handle, &count, -1, nullptr, nullptr, nullptr, nullptr, "OpenVINO");
        std::map<std::string, std::string> result;
        for (int i = 0; i < count; ++i) {
            int nameLength = 0;
            int typeLength = 0;
            ask(handle, nullptr, i, &nameLength, nullptr, &typeLength, nullptr, "OpenVINO");
            std::string name(static_cast<size_t>(nameLength), '?');
            std::string type(static_cast<size_t>(typeLength), '?');
            ask(handle, nullptr, i, nullptr, name.data(), nullptr, type.data(), "OpenVINO");
            result[name] = type;
        }
        return result;
    }
};

TEST_F(XnnEngineTest, VersionIsTheInterfacesAndThatOfTheRuntimeBeneath) {
    EXPECT_EQ(twoStepText(Entry(xnnSelfVersion), handle), "2025.06.23-8ad6a1c(x64)");
    EXPECT_THAT(twoStepText(Entry(xnnVersion), handle), testing::StartsWith("OpenVINO 20"));
}

TEST_F(XnnEngineTest, TheOnlyEngineIsOpenVino) {
    ASSERT_EQ(Entry(xnnGetSupportEngineNumber)(handle), 1);
    EXPECT_EQ(textOf(Entry(xnnGetSupportEngineLength), Entry(xnnGetSupportEngine), handle, 0), "OpenVINO");
}

TEST_F(XnnEngineTest, ProcessorIsAmongTheDevices) {
    std::vector<std::string> devices;
    for (int i = 0; i < Entry(xnnGetSupportDeviceNumber)(handle, "OpenVINO"); ++i) {
        devices.push_back(textOf(Entry(xnnGetSupportDeviceLength), Entry(xnnGetSupportDevice), handle, "OpenVINO", i));
    }
    EXPECT_THAT(devices, Contains("CPU"));
}

TEST_F(XnnEngineTest, MutablePropertiesHaveTheirTypes) {
    const std::map<std::string, std::string> expected{{"CACHE_DIR", "std::filesystem::path"},
                                                      {"GPU_THROTTLE_HINT_LEVEL", "std::string"},
                                                      {"MULTI_DEVICE_PRIORITIES", "std::string"}};
    EXPECT_EQ(mutableProperties(), expected);
}

TEST_F(XnnEngineTest, CacheFolderIsUsedByTheCreationThatFollows) {
    namespace fs = std::filesystem;
    const platform::test::TemporaryFolder folder;
    const fs::path cache = fs::path(folder.path()) / u8"cach\u00E9";
    const auto filesOfCache = [&] { return std::distance(fs::directory_iterator(cache), fs::directory_iterator()); };
    Entry(xnnSetEnginePropertyForNetwork)(handle, "OpenVINO", "first", "CACHE_DIR", "std::filesystem::path",
                                          widePath(folder.path("cach\xC3\xA9")).c_str());
    create("other", weightedSum(10, "f32"));
    EXPECT_FALSE(fs::exists(cache));
    create("first", weightedSum(10, "f32"));
    EXPECT_EQ(takeException(), "");
    ASSERT_TRUE(fs::exists(cache));
    EXPECT_EQ(filesOfCache(), 1);
    create("first", weightedSum(10, "f16"));
    EXPECT_EQ(filesOfCache(), 1) << "the property was not used up";
    // The runtime makes them read-only, and Windows does not remove such files.
    for (const auto& file : fs::directory_iterator(cache)) fs::permissions(file, fs::perms::owner_all);
}

TEST_F(XnnEngineTest, PropertyThatTheDeviceDoesNotKnowIsDropped) {
    setString("sum", "GPU_THROTTLE_HINT_LEVEL", "LOW");
    create("sum", weightedSum(10, "f32"));
    EXPECT_EQ(takeException(), "");
    EXPECT_EQ(identifier(), "sum");
}

TEST_F(XnnEngineTest, AbsentDeviceFailsWithTheRuntimesWords) {
    create("sum", weightedSum(10, "f32"), "GPU");
    const std::string text = takeException();
    EXPECT_THAT(text, HasSubstr("xnnCreateNetByBuffers: network sum cannot be created on device GPU: "));
    EXPECT_GT(text.size(), std::string("xnnCreateNetByBuffers: network sum cannot be created on device GPU: ").size());
    EXPECT_EQ(Entry(xnnGetCreatedNetworkIdentifiersNumber)(handle), 0);
}

TEST_F(XnnEngineTest, PrioritiesOfAbsentDevicesFailToo) {
    setString("sum", "MULTI_DEVICE_PRIORITIES", "NPU,GPU");
    create("sum", weightedSum(10, "f32"), "AUTO");
    EXPECT_THAT(takeException(), HasSubstr("network sum cannot be created on device AUTO: "));
}

TEST_F(XnnEngineTest, AliasTakesTheDevicesPlaceButNotItsName) {
    setVariable("ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU");
    for (const char* device : {"GPU", "NPU"}) {
        create("sum", weightedSum(10, "f32"), device);
        EXPECT_EQ(takeException(), "");
        EXPECT_EQ(textOf(Entry(xnnGetCurrentNetworkDeviceLength), Entry(xnnGetCurrentNetworkDevice), handle), device);
        set("input_image", picture(1), kPicture);
        Entry(xnnInfer)(handle);
        EXPECT_EQ(get("output_mask"), sumOf(picture(1)));
    }
}

TEST_F(XnnEngineTest, AliasReachesThePrioritiesOfAuto) {
    setVariable("ZELHOST_DEVICE_ALIAS", "GPU=CPU,NPU=CPU");
    setString("ladon_NPU", "MULTI_DEVICE_PRIORITIES", "NPU,GPU");
    setString("ladon_NPU", "GPU_THROTTLE_HINT_LEVEL", "LOW");
    create("ladon_NPU", weightedSum(10, "f32"), "AUTO");
    EXPECT_EQ(takeException(), "");
    set("input_image", picture(1), kPicture);
    Entry(xnnInfer)(handle);
    EXPECT_EQ(get("output_mask"), sumOf(picture(1)));
}

TEST_F(XnnEngineTest, AutoChoosesByItself) {
    create("sum", weightedSum(10, "f32"), "AUTO");
    EXPECT_EQ(takeException(), "");
    set("input_image", picture(1), kPicture);
    Entry(xnnInfer)(handle);
    EXPECT_EQ(get("output_mask"), sumOf(picture(1)));
}

TEST_F(XnnEngineTest, DevicePropertiesAreListedAndTold) {
    std::vector<std::string> names;
    const auto byIndex = Entry(xnnGetDeviceSupportPropertiesByIndex);
    for (int i = 0; i < Entry(xnnGetDeviceSupportPropertiesNumber)(handle, "OpenVINO", "CPU"); ++i) {
        int length = 0;
        byIndex(handle, "OpenVINO", "CPU", i, &length, nullptr);
        std::string name(static_cast<size_t>(length), '?');
        byIndex(handle, "OpenVINO", "CPU", i, nullptr, name.data());
        names.push_back(name);
    }
    EXPECT_THAT(names, Contains("FULL_DEVICE_NAME"));
    EXPECT_THAT(names, Contains("DEVICE_TYPE"));

    const auto type = Entry(xnnGetDevicePropertyTypeID);
    EXPECT_EQ(type(handle, "OpenVINO", "CPU", "FULL_DEVICE_NAME"), XNN_PROPERTY_STRING);
    EXPECT_EQ(type(handle, "OpenVINO", "CPU", "DEVICE_TYPE"), XNN_PROPERTY_GENERAL);
    EXPECT_NE(twoStepText(Entry(xnnGetDevicePropertyTypeString), handle, "OpenVINO", "CPU", "FULL_DEVICE_NAME"), "");
    EXPECT_EQ(twoStepText(Entry(xnnGetDevicePropertyTypeGeneral), handle, "OpenVINO", "CPU", "DEVICE_TYPE"),
              "integrated");
    EXPECT_EQ(takeException(), "");
}

TEST_F(XnnEngineTest, DevicePropertyIsAskedForInItsOwnTypeAndItsLengthFirst) {
    char text[8];
    Entry(xnnGetDevicePropertyTypeGeneral)(handle, "OpenVINO", "CPU", "DEVICE_TYPE", nullptr, text);
    EXPECT_THAT(takeException(), HasSubstr("the length must be asked for first"));
    Entry(xnnGetDevicePropertyTypeString)(handle, "OpenVINO", "CPU", "DEVICE_TYPE", nullptr, text);
    EXPECT_THAT(takeException(), HasSubstr("property DEVICE_TYPE has the type 3, not 1"));
    EXPECT_EQ(Entry(xnnGetDevicePropertyTypeID)(handle, "OpenVINO", "CPU", "NO_SUCH"), 0);
    EXPECT_THAT(takeException(), HasSubstr("device CPU has no property NO_SUCH"));
    int count = 0;
    float value = 0;
    const auto map = Entry(xnnGetDevicePropertyTypeUnorderedMap_String_Float);
    map(handle, "OpenVINO", "CPU", "DEVICE_TYPE", &count, -1, nullptr, nullptr, nullptr);
    EXPECT_THAT(takeException(), HasSubstr("property DEVICE_TYPE has the type 3, not 2"));
    map(handle, "OpenVINO", "CPU", "DEVICE_GOPS", nullptr, 0, nullptr, nullptr, &value);
    EXPECT_THAT(takeException(), HasSubstr("the number of entries must be asked for first"));
    map(handle, "OpenVINO", "CPU", "DEVICE_GOPS", &count, -1, nullptr, nullptr, nullptr);
    EXPECT_THAT(takeException(), HasSubstr("device CPU does not tell its property DEVICE_GOPS: "));
}

}  // namespace
}  // namespace xnn_test
