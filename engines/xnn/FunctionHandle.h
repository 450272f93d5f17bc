#pragma once

#include <memory>

#include "plugins/xnn/xnn.h"

namespace xnn::inference {

// An entry point that is looked up but never called.
using UncalledEntry = void (*)();

// An inference library and its entry points, each under its own name. The library is let go with the last owner of
// the table. Plain data; filled in before it is shared.
struct FunctionHandle {
    std::shared_ptr<void> library;

    UncalledEntry xnnCreate = nullptr;
    decltype(&::xnnCreateWithLibraryLoader) xnnCreateWithLibraryLoader = nullptr;
    decltype(&::xnnDestory) xnnDestory = nullptr;
    UncalledEntry xnnRegisterModelAsInnerIDwithString = nullptr;
    UncalledEntry xnnRegisterModelAsInnerIDwithWString = nullptr;
    UncalledEntry xnnUnregisterInnerID = nullptr;
    decltype(&::xnnGetSupportEngineNumber) xnnGetSupportEngineNumber = nullptr;
    decltype(&::xnnGetSupportEngineLength) xnnGetSupportEngineLength = nullptr;
    decltype(&::xnnGetSupportEngine) xnnGetSupportEngine = nullptr;
    decltype(&::xnnSelfVersion) xnnSelfVersion = nullptr;
    UncalledEntry xnnVersion = nullptr;
    UncalledEntry xnnGetSupportDeviceNumber = nullptr;
    UncalledEntry xnnGetSupportDeviceLength = nullptr;
    UncalledEntry xnnGetSupportDevice = nullptr;
    UncalledEntry xnnCreateNetByBuiltin = nullptr;
    UncalledEntry xnnCreateNetByFiles = nullptr;
    UncalledEntry xnnCreateNetByFilesWithWstring = nullptr;
    decltype(&::xnnCreateNetByBuffers) xnnCreateNetByBuffers = nullptr;
    UncalledEntry xnnRemoveNetwork = nullptr;
    UncalledEntry xnnGetSupportBuiltinModelNumber = nullptr;
    UncalledEntry xnnGetSupportBuiltinModelLength = nullptr;
    UncalledEntry xnnGetSupportBuiltinModelID = nullptr;
    UncalledEntry xnnSwitchNetwork = nullptr;
    UncalledEntry xnnGetCreatedNetworkIdentifiersNumber = nullptr;
    UncalledEntry xnnGetCreatedNetworkIdentifierLength = nullptr;
    UncalledEntry xnnGetCreatedNetworkIdentifier = nullptr;
    UncalledEntry xnnGetNetworkEngineLength = nullptr;
    UncalledEntry xnnGetNetworkEngine = nullptr;
    UncalledEntry xnnGetNetworkDeviceLength = nullptr;
    UncalledEntry xnnGetNetworkDevice = nullptr;
    UncalledEntry xnnGetCurrentEngineLength = nullptr;
    UncalledEntry xnnGetCurrentEngine = nullptr;
    UncalledEntry xnnGetCurrentIdentifierLength = nullptr;
    UncalledEntry xnnGetCurrentIdentifier = nullptr;
    UncalledEntry xnnGetCurrentNetworkDeviceLength = nullptr;
    UncalledEntry xnnGetCurrentNetworkDevice = nullptr;
    decltype(&::xnnSetLayerData) xnnSetLayerData = nullptr;
    decltype(&::xnnGetLayerData) xnnGetLayerData = nullptr;
    UncalledEntry xnnGetInputLayerNumber = nullptr;
    UncalledEntry xnnGetInputLayerLength = nullptr;
    UncalledEntry xnnGetInputLayer = nullptr;
    UncalledEntry xnnGetOutputLayerNumber = nullptr;
    UncalledEntry xnnGetOutputLayerLength = nullptr;
    UncalledEntry xnnGetOutputLayer = nullptr;
    decltype(&::xnnGetLayerDims) xnnGetLayerDims = nullptr;
    decltype(&::xnnInfer) xnnInfer = nullptr;
    decltype(&::xnnHasException) xnnHasException = nullptr;
    decltype(&::xnnGetExceptionStringLength) xnnGetExceptionStringLength = nullptr;
    decltype(&::xnnGetExceptionString) xnnGetExceptionString = nullptr;
    decltype(&::xnnResetExceptionString) xnnResetExceptionString = nullptr;
    decltype(&::xnnGetEngineMutableProperties) xnnGetEngineMutableProperties = nullptr;
    UncalledEntry xnnGetDeviceSupportPropertiesNumber = nullptr;
    UncalledEntry xnnGetDeviceSupportPropertiesByIndex = nullptr;
    UncalledEntry xnnGetDevicePropertyTypeID = nullptr;
    UncalledEntry xnnGetDevicePropertyTypeString = nullptr;
    UncalledEntry xnnGetDevicePropertyTypeUnorderedMap_String_Float = nullptr;
    UncalledEntry xnnGetDevicePropertyTypeGeneral = nullptr;
    decltype(&::xnnSetEnginePropertyForNetwork) xnnSetEnginePropertyForNetwork = nullptr;
    UncalledEntry xnnGetLayerPrecision = nullptr;                // null in older libraries
    decltype(&::xnnSetLogCallback) xnnSetLogCallback = nullptr;  // the same
};

}  // namespace xnn::inference
