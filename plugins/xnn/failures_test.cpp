#include <functional>
#include <thread>

#include "platform/test_support.h"
#include "plugins/xnn/PluginFixture.h"

namespace xnn_test {
namespace {

using test_networks::Pair;
using test_networks::threeOutputs;
using test_networks::weightedSum;
using testing::HasSubstr;

class XnnFailuresTest : public PluginFixture {
  protected:
    // What `call` leaves pending; the networks must be as before.
    template <class Call>
    std::string failureOf(const Call& call) {
        const int networks = Entry(xnnGetCreatedNetworkIdentifiersNumber)(handle);
        call();
        EXPECT_EQ(Entry(xnnGetCreatedNetworkIdentifiersNumber)(handle), networks);
        return takeException();
    }

    std::string creationFailure(const char* engine, const char* identifier, const char* device, const void* first,
                                uint64_t firstSize, const void* second, uint64_t secondSize) {
        return failureOf([&] {
            Entry(xnnCreateNetByBuffers)(handle, engine, identifier, device, first, firstSize, second, secondSize);
        });
    }

    std::string creationFailure(const Pair& pair) {
        return creationFailure("OpenVINO", "sum", "CPU", pair.xml.data(), pair.xml.size(), pair.weights.data(),
                               pair.weights.size());
    }

    std::string dataFailure(const char* layer, const float* data, const Dims& dims) {
        return failureOf([&] { Entry(xnnSetLayerData)(handle, layer, data, dims.data(), dims.size()); });
    }

    const Pair sum = weightedSum(10, "f32");
};

TEST_F(XnnFailuresTest, PendingTextStaysUntilItIsReset) {
    Entry(xnnInfer)(handle);
    EXPECT_TRUE(Entry(xnnHasException)(handle));
    create("sum", sum);
    EXPECT_TRUE(Entry(xnnHasException)(handle));
    EXPECT_EQ(takeException(), "xnnInfer: there is no current network");
    EXPECT_EQ(takeException(), "");
}

TEST_F(XnnFailuresTest, LaterFailureTakesTheEarlierOnesPlace) {
    Entry(xnnInfer)(handle);
    Entry(xnnSwitchNetwork)(handle, "none");
    EXPECT_EQ(takeException(), "xnnSwitchNetwork: there is no network none");
}

TEST_F(XnnFailuresTest, FailureStaysAtItsHandle) {
    void* const other = Entry(xnnCreate)();
    Entry(xnnInfer)(other);
    EXPECT_FALSE(Entry(xnnHasException)(handle));
    EXPECT_FALSE(Entry(xnnHasException)(nullptr));
    EXPECT_NE(xnn_test::takeException(other), "");
    Entry(xnnDestory)(other);
}

TEST_F(XnnFailuresTest, NullHandleIsToldOnTheThreadThatGaveIt) {
    Entry(xnnInfer)(nullptr);
    std::thread([] { EXPECT_FALSE(Entry(xnnHasException)(nullptr)); }).join();
    EXPECT_EQ(xnn_test::takeException(nullptr), "xnnInfer: the handle is null");
    EXPECT_EQ(Entry(xnnGetSupportEngineNumber)(nullptr), 0);
    EXPECT_EQ(xnn_test::takeException(nullptr), "xnnGetSupportEngineNumber: the handle is null");
    EXPECT_EQ(Entry(xnnGetLayerData)(nullptr, "input"), nullptr);
    EXPECT_EQ(xnn_test::takeException(nullptr), "xnnGetLayerData: the handle is null");
    Entry(xnnDestory)(nullptr);
    EXPECT_FALSE(Entry(xnnHasException)(nullptr));
}

TEST_F(XnnFailuresTest, CreationThatSucceedsClearsTheThreadsText) {
    Entry(xnnInfer)(nullptr);
    void* const other = Entry(xnnCreate)();
    ASSERT_NE(other, nullptr);
    EXPECT_FALSE(Entry(xnnHasException)(nullptr));
    Entry(xnnDestory)(other);
}

TEST_F(XnnFailuresTest, TextWithoutAFailureIsEmpty) {
    uint64_t length = 7;
    char text = '#';
    Entry(xnnGetExceptionStringLength)(handle, &length);
    Entry(xnnGetExceptionString)(handle, &text);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(text, '#');
    Entry(xnnGetExceptionStringLength)(handle, nullptr);
    Entry(xnnGetExceptionString)(handle, nullptr);
}

TEST_F(XnnFailuresTest, NamesOfACreationMustBeGiven) {
    const void* const xml = sum.xml.data();
    const uint64_t size = sum.xml.size();
    EXPECT_THAT(creationFailure(nullptr, "a", "CPU", xml, size, nullptr, 0), HasSubstr("the engine's name is null"));
    EXPECT_THAT(creationFailure("", "a", "CPU", xml, size, nullptr, 0), HasSubstr("the engine's name is empty"));
    EXPECT_THAT(creationFailure("Other", "a", "CPU", xml, size, nullptr, 0),
                HasSubstr("there is no engine Other; there is OpenVINO"));
    EXPECT_THAT(creationFailure("OpenVINO", nullptr, "CPU", xml, size, nullptr, 0),
                HasSubstr("the network's identifier is null"));
    EXPECT_THAT(creationFailure("OpenVINO", "", "CPU", xml, size, nullptr, 0),
                HasSubstr("the network's identifier is empty"));
    EXPECT_THAT(creationFailure("OpenVINO", "a", nullptr, xml, size, nullptr, 0), HasSubstr("the device is null"));
    EXPECT_THAT(creationFailure("OpenVINO", "a", "", xml, size, nullptr, 0), HasSubstr("the device is empty"));
    EXPECT_THAT(creationFailure("OpenVINO", "a", "NOSUCH", xml, size, nullptr, 0),
                HasSubstr("network a cannot be created on device NOSUCH: "));
}

TEST_F(XnnFailuresTest, BuffersMustHoldANetwork) {
    const auto buffers = [&](const void* first, uint64_t firstSize, const void* second, uint64_t secondSize) {
        return creationFailure("OpenVINO", "a", "CPU", first, firstSize, second, secondSize);
    };
    EXPECT_THAT(buffers(nullptr, 10, nullptr, 0), HasSubstr("the first buffer is null"));
    EXPECT_THAT(buffers("x", 0, nullptr, 0), HasSubstr("the first buffer has no bytes"));
    EXPECT_THAT(buffers("x", 1, nullptr, 10), HasSubstr("the second buffer is null"));
    EXPECT_THAT(buffers("x", 1, "y", 0), HasSubstr("the second buffer has no bytes"));
    EXPECT_THAT(buffers("no network", 10, nullptr, 0),
                HasSubstr("network a cannot be created on device CPU: the runtime cannot read it: "));
    EXPECT_THAT(buffers("<net name=\"a\" version=\"11\"></net>", 33, nullptr, 0),
                HasSubstr("network a cannot be created on device CPU: "));
}

TEST_F(XnnFailuresTest, TruncatedBuffersAreRefused) {
    Pair pair = sum;
    pair.weights.resize(pair.weights.size() - 1);
    EXPECT_THAT(creationFailure(pair), HasSubstr("the runtime cannot read it: "));
    pair = sum;
    pair.xml.resize(pair.xml.size() / 2);
    EXPECT_THAT(creationFailure(pair), HasSubstr("the runtime cannot read it: "));
    EXPECT_THAT(creationFailure("OpenVINO", "a", "CPU", sum.xml.data(), sum.xml.size(), nullptr, 0),
                HasSubstr("network a cannot be created on device CPU: "));
}

TEST_F(XnnFailuresTest, DimensionsThatAreNotFixedAreRefused) {
    Pair pair = sum;
    const std::string fixed = "shape=\"1,4,8,16\"";
    pair.xml.replace(pair.xml.find(fixed), fixed.size(), "shape=\"?,4,8,16\"");
    EXPECT_THAT(creationFailure(pair), HasSubstr("it has dimensions that are not fixed"));
}

TEST_F(XnnFailuresTest, FailedCreationLeavesTheCurrentNetworkAsItIs) {
    create("sum", sum);
    Pair pair = sum;
    pair.weights.pop_back();
    EXPECT_NE(creationFailure(pair), "");
    set("input_image", picture(4), kPicture);
    Entry(xnnInfer)(handle);
    EXPECT_EQ(get("output_mask"), sumOf(picture(4)));
}

TEST_F(XnnFailuresTest, RefusedDataNamesTheLayerAndBothSizes) {
    create("sum", sum);
    const std::vector<float> data = picture(1);
    EXPECT_EQ(dataFailure("input_image", data.data(), {1, 3, 8, 16}),
              "xnnSetLayerData: layer input_image wants 512 floats (1x4x8x16), but 384 are given (1x3x8x16)");
    EXPECT_THAT(dataFailure("input_image", data.data(), {}), HasSubstr("but 1 are given ()"));
    EXPECT_THAT(dataFailure("input_image", data.data(), {0, 512}), HasSubstr("but 0 are given (0x512)"));
    EXPECT_THAT(dataFailure("input_image", data.data(), {uint64_t{1} << 63, 1024}), HasSubstr("wants 512 floats"));
    EXPECT_THAT(dataFailure("input_image", nullptr, kPicture), HasSubstr("the data for layer input_image is null"));
    EXPECT_THAT(dataFailure("output_mask", data.data(), kPicture), HasSubstr("layer output_mask is an output"));
    EXPECT_THAT(failureOf([&] { Entry(xnnSetLayerData)(handle, "input_image", data.data(), nullptr, 4); }),
                HasSubstr("the dimensions for layer input_image are null"));
}

TEST_F(XnnFailuresTest, DimensionsThatMultiplyToTheRightNumberOnlyModuloTheWordAreRefused) {
    create("sum", sum);
    const std::vector<float> data = picture(1);
    EXPECT_THAT(dataFailure("input_image", data.data(), {(uint64_t{1} << 63) + 256, 2}),
                HasSubstr("wants 512 floats (1x4x8x16), but 18446744073709551615 are given"));
}

TEST_F(XnnFailuresTest, UnknownLayersAreNamedWithTheKnownOnes) {
    create("three", threeOutputs());
    const std::string expected =
        "network three has no layer none; its inputs are input, its outputs gesture, segmentation, motion";
    EXPECT_EQ(failureOf([&] { Entry(xnnGetLayerData)(handle, "none"); }), "xnnGetLayerData: " + expected);
    EXPECT_THAT(dataFailure("none", picture(1).data(), kPicture), HasSubstr(expected));
    EXPECT_THAT(failureOf([&] { dims("none"); }), HasSubstr(expected));
    EXPECT_THAT(failureOf([&] { twoStepText(Entry(xnnGetLayerPrecision), handle, "none"); }), HasSubstr(expected));
    EXPECT_THAT(failureOf([&] { Entry(xnnGetLayerData)(handle, nullptr); }), HasSubstr("the layer's name is null"));
    EXPECT_EQ(Entry(xnnGetLayerData)(handle, ""), nullptr);
    EXPECT_THAT(takeException(), HasSubstr("network three has no layer ;"));
}

TEST_F(XnnFailuresTest, IndicesAreBounded) {
    create("sum", sum);
    const std::vector<std::function<void(int)>> calls{
        [&](int i) { Entry(xnnGetSupportEngineLength)(handle, i); },
        [&](int i) { Entry(xnnGetSupportEngine)(handle, i, nullptr); },
        [&](int i) { Entry(xnnGetSupportDeviceLength)(handle, "OpenVINO", i); },
        [&](int i) { Entry(xnnGetSupportDevice)(handle, "OpenVINO", i, nullptr); },
        [&](int i) { Entry(xnnGetCreatedNetworkIdentifierLength)(handle, i); },
        [&](int i) { Entry(xnnGetCreatedNetworkIdentifier)(handle, i, nullptr); },
        [&](int i) { Entry(xnnGetInputLayerLength)(handle, i); },
        [&](int i) { Entry(xnnGetInputLayer)(handle, i, nullptr); },
        [&](int i) { Entry(xnnGetOutputLayerLength)(handle, i); },
        [&](int i) { Entry(xnnGetOutputLayer)(handle, i, nullptr); },
        [&](int i) { Entry(xnnGetDeviceSupportPropertiesByIndex)(handle, "OpenVINO", "CPU", i, nullptr, nullptr); },
        [&](int i) {
            Entry(xnnGetEngineMutableProperties)(handle, nullptr, i, nullptr, nullptr, nullptr, nullptr, "OpenVINO");
        },
    };
    for (const auto& call : calls) {
        for (const int index : {-2, 1000, INT32_MAX, INT32_MIN}) {
            EXPECT_THAT(failureOf([&] { call(index); }),
                        HasSubstr("the index " + std::to_string(index) + " is not below "));
        }
    }
}

TEST_F(XnnFailuresTest, BuffersForAnswersMustBeGiven) {
    create("sum", sum);
    EXPECT_THAT(failureOf([&] { Entry(xnnGetSupportEngine)(handle, 0, nullptr); }), HasSubstr("the buffer is null"));
    EXPECT_THAT(failureOf([&] { Entry(xnnSelfVersion)(handle, nullptr, nullptr); }),
                HasSubstr("length and text are both null"));
    EXPECT_THAT(failureOf([&] { Entry(xnnGetLayerDims)(handle, "input_image", nullptr, nullptr); }),
                HasSubstr("dims and count are both null"));
    EXPECT_THAT(failureOf([&] {
                    Entry(xnnGetEngineMutableProperties)(handle, nullptr, -1, nullptr, nullptr, nullptr, nullptr,
                                                         "OpenVINO");
                }),
                HasSubstr("count is null"));
    EXPECT_THAT(failureOf([&] { Entry(xnnGetPluginModelVersionLengthWithString)(handle, "x", nullptr); }),
                HasSubstr("length is null"));
}

TEST_F(XnnFailuresTest, PropertiesMustBeKnownAndOfTheirType) {
    const auto failure = [&](const char* name, const char* type, const void* value) {
        return failureOf([&] { Entry(xnnSetEnginePropertyForNetwork)(handle, "OpenVINO", "a", name, type, value); });
    };
    EXPECT_THAT(failure("NO_SUCH", "std::string", "x"), HasSubstr("there is no property NO_SUCH"));
    EXPECT_THAT(failure("CACHE_DIR", "std::string", "x"),
                HasSubstr("property CACHE_DIR has the type std::filesystem::path, not std::string"));
    EXPECT_THAT(failure("GPU_THROTTLE_HINT_LEVEL", "std::filesystem::path", L"x"),
                HasSubstr("property GPU_THROTTLE_HINT_LEVEL has the type std::string, not std::filesystem::path"));
    EXPECT_THAT(failure("CACHE_DIR", "std::filesystem::path", nullptr),
                HasSubstr("the value of the property CACHE_DIR is null"));
    EXPECT_THAT(failure(nullptr, "std::string", "x"), HasSubstr("the property's name is null"));
    EXPECT_THAT(failure("CACHE_DIR", nullptr, "x"), HasSubstr("the property's type is null"));
}

TEST_F(XnnFailuresTest, NetworksMustExist) {
    create("sum", sum);
    EXPECT_THAT(failureOf([&] { Entry(xnnSwitchNetwork)(handle, "none"); }), HasSubstr("there is no network none"));
    EXPECT_THAT(failureOf([&] { Entry(xnnRemoveNetwork)(handle, "none"); }), HasSubstr("there is no network none"));
    EXPECT_THAT(failureOf([&] { Entry(xnnRemoveNetwork)(handle, nullptr); }),
                HasSubstr("the network's identifier is null"));
    EXPECT_THAT(failureOf([&] { Entry(xnnGetNetworkDeviceLength)(handle, "none"); }),
                HasSubstr("there is no network none"));
    EXPECT_EQ(identifier(), "sum");
}

TEST_F(XnnFailuresTest, WithoutANetworkThereIsNothingToAsk) {
    const std::vector<std::function<void()>> calls{
        [&] { Entry(xnnInfer)(handle); },
        [&] { Entry(xnnGetLayerData)(handle, "input"); },
        [&] { Entry(xnnGetInputLayerNumber)(handle); },
        [&] { Entry(xnnGetOutputLayerNumber)(handle); },
        [&] { Entry(xnnGetCurrentEngineLength)(handle); },
        [&] { Entry(xnnGetCurrentIdentifierLength)(handle); },
        [&] { Entry(xnnGetCurrentNetworkDeviceLength)(handle); },
    };
    for (const auto& call : calls) EXPECT_THAT(failureOf(call), HasSubstr("there is no current network"));
}

TEST_F(XnnFailuresTest, ModelsMustExist) {
    const platform::test::TemporaryFolder folder;
    const std::string empty = folder.write("empty.xml", "");
    const std::string none = folder.path("none.xml");
    const std::string nested = folder.path();
    EXPECT_THAT(failureOf([&] { Entry(xnnCreateNetByBuiltin)(handle, "OpenVINO", "a", "CPU", "ladon"); }),
                HasSubstr("there is no model ladon: the library carries none"));
    EXPECT_THAT(failureOf([&] { Entry(xnnGetSupportBuiltinModelLength)(handle, 0); }),
                HasSubstr("there is no built-in model at the index 0"));
    EXPECT_THAT(failureOf([&] { Entry(xnnGetSupportBuiltinModelID)(handle, 0, nullptr); }),
                HasSubstr("there is no built-in model at the index 0"));
    EXPECT_THAT(failureOf([&] { Entry(xnnUnregisterInnerID)(handle, "a"); }),
                HasSubstr("the inner id a is not registered"));
    for (const std::string& file : {none, nested}) {
        EXPECT_THAT(
            failureOf([&] { Entry(xnnCreateNetByFiles)(handle, "OpenVINO", "a", "CPU", file.c_str(), nullptr); }),
            HasSubstr("there is no file " + file));
        EXPECT_THAT(failureOf([&] { Entry(xnnRegisterModelAsInnerIDwithString)(handle, "a", file.c_str(), nullptr); }),
                    HasSubstr("there is no file " + file));
    }
    EXPECT_THAT(failureOf([&] { Entry(xnnCreateNetByFiles)(handle, "OpenVINO", "a", "CPU", empty.c_str(), nullptr); }),
                HasSubstr("is empty or cannot be read"));
    EXPECT_THAT(failureOf([&] { Entry(xnnCreateNetByFiles)(handle, "OpenVINO", "a", "CPU", nullptr, nullptr); }),
                HasSubstr("the path is null"));
    uint64_t length = 0;
    const std::string text = folder.write("text.xml", "no network");
    EXPECT_THAT(failureOf([&] { Entry(xnnGetPluginModelVersionLengthWithString)(handle, text.c_str(), &length); }),
                HasSubstr("describes no network"));
}

TEST_F(XnnFailuresTest, InnerIdIsRegisteredOnce) {
    const platform::test::TemporaryFolder folder;
    const std::string xml = folder.write("sum.xml", sum.xml);
    const auto registerModel = [&] { Entry(xnnRegisterModelAsInnerIDwithString)(handle, "sum", xml.c_str(), nullptr); };
    registerModel();
    EXPECT_THAT(failureOf(registerModel), HasSubstr("the inner id sum is registered already"));
}

}  // namespace
}  // namespace xnn_test
