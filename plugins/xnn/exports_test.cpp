#include "plugins/xnn/PluginFixture.h"

namespace xnn_test {
namespace {

// What a program looks for by name, spelled as it does.
constexpr const char* kNames[] = {"xnnCreate",
                                  "xnnCreateWithLibraryLoader",
                                  "xnnDestory",
                                  "xnnRegisterModelAsInnerIDwithString",
                                  "xnnRegisterModelAsInnerIDwithWString",
                                  "xnnUnregisterInnerID",
                                  "xnnGetSupportEngineNumber",
                                  "xnnGetSupportEngineLength",
                                  "xnnGetSupportEngine",
                                  "xnnSelfVersion",
                                  "xnnVersion",
                                  "xnnGetSupportDeviceNumber",
                                  "xnnGetSupportDeviceLength",
                                  "xnnGetSupportDevice",
                                  "xnnCreateNetByBuiltin",
                                  "xnnCreateNetByFiles",
                                  "xnnCreateNetByFilesWithWstring",
                                  "xnnCreateNetByBuffers",
                                  "xnnRemoveNetwork",
                                  "xnnGetSupportBuiltinModelNumber",
                                  "xnnGetSupportBuiltinModelLength",
                                  "xnnGetSupportBuiltinModelID",
                                  "xnnSwitchNetwork",
                                  "xnnGetCreatedNetworkIdentifiersNumber",
                                  "xnnGetCreatedNetworkIdentifierLength",
                                  "xnnGetCreatedNetworkIdentifier",
                                  "xnnGetNetworkEngineLength",
                                  "xnnGetNetworkEngine",
                                  "xnnGetNetworkDeviceLength",
                                  "xnnGetNetworkDevice",
                                  "xnnGetCurrentEngineLength",
                                  "xnnGetCurrentEngine",
                                  "xnnGetCurrentIdentifierLength",
                                  "xnnGetCurrentIdentifier",
                                  "xnnGetCurrentNetworkDeviceLength",
                                  "xnnGetCurrentNetworkDevice",
                                  "xnnSetLayerData",
                                  "xnnGetLayerData",
                                  "xnnGetInputLayerNumber",
                                  "xnnGetInputLayerLength",
                                  "xnnGetInputLayer",
                                  "xnnGetOutputLayerNumber",
                                  "xnnGetOutputLayerLength",
                                  "xnnGetOutputLayer",
                                  "xnnGetLayerDims",
                                  "xnnInfer",
                                  "xnnHasException",
                                  "xnnGetExceptionStringLength",
                                  "xnnGetExceptionString",
                                  "xnnResetExceptionString",
                                  "xnnGetEngineMutableProperties",
                                  "xnnGetDeviceSupportPropertiesNumber",
                                  "xnnGetDeviceSupportPropertiesByIndex",
                                  "xnnGetDevicePropertyTypeID",
                                  "xnnGetDevicePropertyTypeString",
                                  "xnnGetDevicePropertyTypeUnorderedMap_String_Float",
                                  "xnnGetDevicePropertyTypeGeneral",
                                  "xnnSetEnginePropertyForNetwork",
                                  "xnnGetLayerPrecision",
                                  "xnnSetLogCallback",
                                  "xnnGetPluginModelVersionLengthWithString",
                                  "xnnGetPluginModelVersionWithString",
                                  "xnnGetPluginModelVersionLengthWithWstring",
                                  "xnnGetPluginModelVersionWithWstring"};

}  // namespace

TEST(XnnExportsTest, EveryNameIsThere) {
    EXPECT_EQ(std::size(kNames), 64u);
    for (const char* name : kNames) EXPECT_NE(symbol(name), nullptr) << name;
    EXPECT_EQ(symbol("xnnDestroy"), nullptr);
}

}  // namespace xnn_test
