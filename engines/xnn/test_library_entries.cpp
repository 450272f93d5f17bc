// The entries of the test library that are looked up but never called, so that only their names count.
#define LOOKED_UP(name) extern "C" void name()

LOOKED_UP(xnnCreate) {}
LOOKED_UP(xnnRegisterModelAsInnerIDwithString) {}
LOOKED_UP(xnnRegisterModelAsInnerIDwithWString) {}
LOOKED_UP(xnnUnregisterInnerID) {}
LOOKED_UP(xnnVersion) {}
LOOKED_UP(xnnGetSupportDeviceNumber) {}
LOOKED_UP(xnnGetSupportDeviceLength) {}
LOOKED_UP(xnnGetSupportDevice) {}
LOOKED_UP(xnnCreateNetByBuiltin) {}
#ifndef WITHOUT_xnnCreateNetByFiles
LOOKED_UP(xnnCreateNetByFiles) {}
#endif
LOOKED_UP(xnnCreateNetByFilesWithWstring) {}
LOOKED_UP(xnnRemoveNetwork) {}
LOOKED_UP(xnnGetSupportBuiltinModelNumber) {}
LOOKED_UP(xnnGetSupportBuiltinModelLength) {}
LOOKED_UP(xnnGetSupportBuiltinModelID) {}
LOOKED_UP(xnnSwitchNetwork) {}
LOOKED_UP(xnnGetCreatedNetworkIdentifiersNumber) {}
LOOKED_UP(xnnGetCreatedNetworkIdentifierLength) {}
LOOKED_UP(xnnGetCreatedNetworkIdentifier) {}
LOOKED_UP(xnnGetNetworkEngineLength) {}
LOOKED_UP(xnnGetNetworkEngine) {}
LOOKED_UP(xnnGetNetworkDeviceLength) {}
LOOKED_UP(xnnGetNetworkDevice) {}
LOOKED_UP(xnnGetCurrentEngineLength) {}
LOOKED_UP(xnnGetCurrentEngine) {}
LOOKED_UP(xnnGetCurrentIdentifierLength) {}
LOOKED_UP(xnnGetCurrentIdentifier) {}
LOOKED_UP(xnnGetCurrentNetworkDeviceLength) {}
LOOKED_UP(xnnGetCurrentNetworkDevice) {}
LOOKED_UP(xnnGetInputLayerNumber) {}
LOOKED_UP(xnnGetInputLayerLength) {}
LOOKED_UP(xnnGetInputLayer) {}
LOOKED_UP(xnnGetOutputLayerNumber) {}
LOOKED_UP(xnnGetOutputLayerLength) {}
LOOKED_UP(xnnGetOutputLayer) {}
LOOKED_UP(xnnGetDeviceSupportPropertiesNumber) {}
LOOKED_UP(xnnGetDeviceSupportPropertiesByIndex) {}
LOOKED_UP(xnnGetDevicePropertyTypeID) {}
LOOKED_UP(xnnGetDevicePropertyTypeString) {}
LOOKED_UP(xnnGetDevicePropertyTypeUnorderedMap_String_Float) {}
LOOKED_UP(xnnGetDevicePropertyTypeGeneral) {}
#ifndef WITHOUT_xnnGetLayerPrecision
LOOKED_UP(xnnGetLayerPrecision) {}
#endif
LOOKED_UP(xnnGetPluginModelVersionLengthWithString) {}
#ifndef WITHOUT_xnnGetPluginModelVersionWithString
LOOKED_UP(xnnGetPluginModelVersionWithString) {}
#endif
LOOKED_UP(xnnGetPluginModelVersionLengthWithWstring) {}
LOOKED_UP(xnnGetPluginModelVersionWithWstring) {}
