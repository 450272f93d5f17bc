#include "engines/inference_engine/InferenceEngine.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include "engines/inference_engine/DeviceAlias.h"
#include "engines/inference_engine/TestNetworks.h"
#include "platform/filter_stack.h"
#include "platform/include/clock.h"
#include "platform/include/exception_filter.h"

using namespace InferenceEngine;
using details::InferenceEngineException;
using test_networks::Pair;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

std::map<std::string, std::string> variables;

std::string readVariable(const char* name) {
    const auto found = variables.find(name);
    return found == variables.end() ? std::string() : found->second;
}

// Weights as the helpers wrap them: FP32 by the description, counted in bytes.
Blob::Ptr wrapWeights(const std::vector<unsigned char>& weights) {
    const TensorDesc desc(Precision::FP32, {weights.size()}, Layout::C);
    return make_shared_blob<float>(desc, reinterpret_cast<const float*>(weights.data()));
}

template <class Action>
InferenceEngineException failureOf(Action action) {
    try {
        action();
    } catch (const InferenceEngineException& e) {
        return e;
    }
    ADD_FAILURE() << "did not fail";
    return InferenceEngineException("none", OK);
}

class InferenceEngineTest : public testing::Test {
  protected:
    InferenceEngineTest() {
        variables.clear();
        details::replaceVariableReader(readVariable);
    }
    ~InferenceEngineTest() override { details::replaceVariableReader(nullptr); }

    CNNNetwork read(const Pair& pair) { return core.ReadNetwork(pair.xml, wrapWeights(pair.weights)); }
    InferRequest requestOn(const std::string& device) {
        return core.LoadNetwork(read(sum), device).CreateInferRequest();
    }

    // Runs one frame in which channel c holds `base` + c and checks the mask: the sum of (c + 1) * (base + c).
    static void expectInference(InferRequest request, float base) {
        float* input = request.GetBlob("input_image")->buffer().as<float*>();
        for (int channel = 0; channel < 4; ++channel)
            std::fill_n(input + channel * 8 * 16, 8 * 16, base + static_cast<float>(channel));
        request.Infer();
        const float* mask = request.GetBlob("output_mask")->cbuffer().as<const float*>();
        for (int i = 0; i < 8 * 16; ++i) ASSERT_EQ(mask[i], 10 * base + 20) << i;
    }

    const Pair sum = test_networks::weightedSum(10, "f32");
    const Pair three = test_networks::threeOutputs();
    Core core;
};

struct Kind {
    int version;
    const char* type;
};

class IrKindTest : public InferenceEngineTest, public testing::WithParamInterface<Kind> {
  protected:
    const Pair pair = test_networks::weightedSum(GetParam().version, GetParam().type);
};

INSTANTIATE_TEST_SUITE_P(Kinds, IrKindTest,
                         testing::Values(Kind{10, "f32"}, Kind{10, "f16"}, Kind{11, "f32"}, Kind{11, "f16"}),
                         [](const auto& info) { return info.param.type + std::to_string(info.param.version); });

}  // namespace

TEST_P(IrKindTest, NetworkInfersUnderItsShortNames) {
    expectInference(core.LoadNetwork(read(pair), "CPU").CreateInferRequest(), 3);
}

// On a thread that has not loaded the network: the runtime's own setting does not reach it.
TEST_F(InferenceEngineTest, DenormalNumbersAreZeroDuringAnInferenceAndOnlyThen) {
    InferRequest request = requestOn("CPU");
    std::thread([&request] {
        const volatile float small = 1e-39f;
        std::fill_n(request.GetBlob("input_image")->buffer().as<float*>(), 4 * 8 * 16, small);
        request.Infer();
        const float* mask = request.GetBlob("output_mask")->cbuffer().as<const float*>();
        EXPECT_THAT(std::vector<float>(mask, mask + 8 * 16), testing::Each(0.0f));
        EXPECT_GT(small * 0.5f, 0.0f);
    }).join();
}

TEST_P(IrKindTest, EndsAreFp32InTheNetworksOrder) {
    const CNNNetwork network = read(pair);
    EXPECT_EQ(network.getName(), "WeightedSum");
    const InputsDataMap inputs = network.getInputsInfo();
    ASSERT_EQ(inputs.size(), 1u);
    EXPECT_EQ(inputs.begin()->first, "input_image");
    EXPECT_EQ(inputs.begin()->second->getPrecision(), Precision::FP32);
    EXPECT_EQ(inputs.begin()->second->getLayout(), Layout::NCHW);
    EXPECT_THAT(inputs.begin()->second->getTensorDesc().getDims(), ElementsAre(1, 4, 8, 16));
    const OutputsDataMap outputs = network.getOutputsInfo();
    ASSERT_EQ(outputs.size(), 1u);
    EXPECT_EQ(outputs.begin()->first, "output_mask");
    EXPECT_EQ(outputs.begin()->second->getPrecision(), Precision::FP32);
    EXPECT_THAT(outputs.begin()->second->getDims(), ElementsAre(1, 1, 8, 16));
}

TEST_F(InferenceEngineTest, OutputsGoByNameWhateverTheirOrder) {
    const CNNNetwork network = read(three);
    EXPECT_THAT(network.getOutputsInfo().at("gesture")->getDims(), ElementsAre(16));
    EXPECT_THAT(network.getOutputsInfo().at("motion")->getDims(), ElementsAre(8, 16));
    EXPECT_THAT(network.getOutputsInfo().at("segmentation")->getDims(), ElementsAre(1, 4, 8, 16));

    InferRequest request = core.LoadNetwork(network, "CPU").CreateInferRequest();
    const Blob::Ptr input = request.GetBlob("input");
    std::fill_n(input->buffer().as<float*>(), input->size(), 2.0f);
    request.Infer();
    EXPECT_EQ(request.GetBlob("gesture")->cbuffer().as<const float*>()[15], 2 * 4 * 8);
    EXPECT_EQ(request.GetBlob("motion")->cbuffer().as<const float*>()[127], 2 * 4);
    EXPECT_EQ(request.GetBlob("segmentation")->cbuffer().as<const float*>()[511], 3);
    EXPECT_EQ(request.GetBlob("motion")->byteSize(), 8 * 16 * sizeof(float));
}

TEST_F(InferenceEngineTest, OnlyWhatHoldsAlreadyMayBeSet) {
    const CNNNetwork network = read(sum);
    const InputInfo::Ptr input = network.getInputsInfo().begin()->second;
    input->setPrecision(Precision::FP32);
    input->setLayout(Layout::NCHW);
    input->getPreProcess().setColorFormat(ColorFormat::BGR);
    EXPECT_EQ(network.getInputsInfo().begin()->second->getPreProcess().getColorFormat(), 2u);
    EXPECT_EQ(failureOf([&] { input->setPrecision(Precision::FP16); }).getStatus(), PARAMETER_MISMATCH);
    EXPECT_EQ(failureOf([&] { input->setLayout(Layout::NHWC); }).getStatus(), PARAMETER_MISMATCH);
    const DataPtr output = network.getOutputsInfo().begin()->second;
    output->setPrecision(Precision::FP32);
    EXPECT_THAT(failureOf([&] { output->setPrecision(Precision::U8); }).what(), HasSubstr("output_mask"));
}

TEST_F(InferenceEngineTest, BatchSizeMayBeConfirmedButNotChanged) {
    CNNNetwork network = read(sum);
    EXPECT_EQ(network.getBatchSize(), 1u);
    network.setBatchSize(network.getBatchSize());
    EXPECT_EQ(failureOf([&] { network.setBatchSize(2); }).getStatus(), NOT_IMPLEMENTED);
    EXPECT_EQ(network.getBatchSize(), 1u);
}

TEST_F(InferenceEngineTest, WeightsAreCountedInBytesAndNotCopied) {
    Pair pair = sum;
    const Blob::Ptr weights = wrapWeights(pair.weights);
    EXPECT_EQ(weights->size(), pair.weights.size());
    const CNNNetwork network = core.ReadNetwork(pair.xml, weights);
    // Were there a copy, it would have been made by now.
    const float factors[] = {2, 3, 4, 5};
    std::memcpy(pair.weights.data(), factors, sizeof factors);
    InferRequest request = core.LoadNetwork(network, "CPU").CreateInferRequest();
    const Blob::Ptr input = request.GetBlob("input_image");
    std::fill_n(input->buffer().as<float*>(), input->size(), 1.0f);
    request.Infer();
    EXPECT_EQ(request.GetBlob("output_mask")->cbuffer().as<const float*>()[0], 14);
}

TEST_F(InferenceEngineTest, BlobOverConstantMemoryIsNotWritten) {
    const Blob::Ptr blob = wrapWeights(sum.weights);
    EXPECT_EQ(blob->cbuffer().as<const unsigned char*>(), sum.weights.data());
    EXPECT_EQ(failureOf([&] { blob->buffer(); }).getStatus(), NOT_ALLOCATED);
}

TEST_F(InferenceEngineTest, UnreadableNetworkIsReported) {
    EXPECT_THAT(failureOf([&] { core.ReadNetwork("no network", nullptr); }).what(), HasSubstr("ReadNetwork failed"));
    const std::string cut = sum.xml.substr(0, sum.xml.size() / 2);
    EXPECT_THAT(failureOf([&] { core.ReadNetwork(cut, wrapWeights(sum.weights)); }).what(),
                HasSubstr("\"WeightedSum\""));
    const std::vector<unsigned char> fewWeights(sum.weights.begin(), sum.weights.begin() + 8);
    EXPECT_THAT(failureOf([&] { core.ReadNetwork(sum.xml, wrapWeights(fewWeights)); }).what(),
                HasSubstr("8 bytes of weights"));
}

TEST_F(InferenceEngineTest, FailedLoadNamesNetworkAndDevice) {
    const auto expectFailure = [&] {
        const std::string text = failureOf([&] { requestOn("NOSUCH"); }).what();
        EXPECT_THAT(text, StartsWith("LoadNetwork failed for the network \"WeightedSum\" on the device NOSUCH: "));
        EXPECT_THAT(text, Not(HasSubstr("\n")));
    };
    expectFailure();
    core.SetConfig({{"CPU_THREADS_NUM", "1"}}, "NOSUCH");
    expectFailure();
}

TEST_F(InferenceEngineTest, EmptyHandlesAreRefused) {
    EXPECT_EQ(failureOf([] { CNNNetwork().getName(); }).getStatus(), NOT_ALLOCATED);
    EXPECT_EQ(failureOf([] { ExecutableNetwork().CreateInferRequest(); }).getStatus(), NOT_ALLOCATED);
    EXPECT_EQ(failureOf([] { InferRequest().Infer(); }).getStatus(), NOT_ALLOCATED);
    EXPECT_EQ(failureOf([&] { core.LoadNetwork(CNNNetwork(), "CPU"); }).getStatus(), NOT_ALLOCATED);
}

TEST_F(InferenceEngineTest, BlobsAreTheEnginesOwnAndStay) {
    InferRequest request = requestOn("CPU");
    const void* input = request.GetBlob("input_image")->cbuffer().as<const void*>();
    const void* mask = request.GetBlob("output_mask")->cbuffer().as<const void*>();
    for (float base = 0; base < 50; ++base) {
        expectInference(request, base);
        ASSERT_EQ(request.GetBlob("input_image")->cbuffer().as<const void*>(), input);
        ASSERT_EQ(request.GetBlob("output_mask")->cbuffer().as<const void*>(), mask);
    }
    const InferenceEngineException failure = failureOf([&] { request.GetBlob("output_mask/sink_port_0"); });
    EXPECT_EQ(failure.getStatus(), NOT_FOUND);
    EXPECT_THAT(failure.what(), HasSubstr("output_mask/sink_port_0"));
}

TEST_F(InferenceEngineTest, RequestKeepsWhatItNeeds) {
    InferRequest request;
    {
        Core own;
        request = own.LoadNetwork(own.ReadNetwork(sum.xml, wrapWeights(sum.weights)), "CPU").CreateInferRequest();
    }
    expectInference(request, 1);
}

TEST_F(InferenceEngineTest, RequestsOfOneLoadAreIndependent) {
    ExecutableNetwork executable = core.LoadNetwork(read(sum), "CPU");
    InferRequest first = executable.CreateInferRequest();
    InferRequest second = executable.CreateInferRequest();
    expectInference(first, 1);
    expectInference(second, 2);
    EXPECT_EQ(first.GetBlob("output_mask")->cbuffer().as<const float*>()[0], 30);
}

TEST_F(InferenceEngineTest, WaitTellsHowAStartedInferenceStands) {
    InferRequest request = requestOn("CPU");
    EXPECT_EQ(request.Wait(0), INFER_NOT_STARTED);
    request.StartAsync();
    EXPECT_EQ(request.Wait(InferRequest::RESULT_READY), OK);
    EXPECT_EQ(request.Wait(0), OK);
    for (float base = 0; base < 20; ++base) {
        request.StartAsync();
        EXPECT_EQ(request.Wait(60000), OK);
        expectInference(request, base);
    }
}

TEST_F(InferenceEngineTest, RequestIsUsableAfterACancel) {
    InferRequest request = requestOn("CPU");
    request.Cancel();
    for (int i = 0; i < 20; ++i) {
        request.StartAsync();
        request.Cancel();
        const StatusCode status = request.Wait(InferRequest::RESULT_READY);
        ASSERT_TRUE(status == OK || status == INFER_CANCELLED) << status;
    }
    expectInference(request, 5);
}

TEST_F(InferenceEngineTest, StatusCodesKeepTheirNumbers) {
    EXPECT_EQ(OK, 0);
    EXPECT_EQ(REQUEST_BUSY, -8);
    EXPECT_EQ(RESULT_NOT_READY, -9);
    EXPECT_EQ(INFER_NOT_STARTED, -11);
    EXPECT_EQ(INFER_CANCELLED, -13);
}

TEST_F(InferenceEngineTest, AliasedDeviceRunsUnderItsName) {
    variables["ZELHOST_DEVICE_ALIAS"] = "NOSUCH=CPU";
    expectInference(requestOn("NOSUCH"), 6);
    variables.clear();
    EXPECT_THAT(failureOf([&] { requestOn("NOSUCH"); }).what(), HasSubstr("NOSUCH"));
}

TEST_F(InferenceEngineTest, SettingReachesTheRuntimeUnderItsDeviceOnly) {
    variables["ZELHOST_DEVICE_ALIAS"] = "GPU=CPU";
    core.SetConfig({{"CPU_THREADS_NUM", "not a number"}}, "GPU");
    expectInference(requestOn("CPU"), 7);
    EXPECT_THAT(failureOf([&] { requestOn("GPU"); }).what(), HasSubstr("INFERENCE_NUM_THREADS"));
    core.SetConfig({{"CPU_THREADS_NUM", "1"}}, "GPU");
    expectInference(requestOn("GPU"), 8);
}

TEST_F(InferenceEngineTest, StoredSettingIsToldByTodaysKey) {
    EXPECT_EQ(core.GetConfig("CPU", "INFERENCE_NUM_THREADS"), "");
    core.SetConfig({{"CPU_THREADS_NUM", "1"}}, "CPU");
    EXPECT_EQ(core.GetConfig("CPU", "INFERENCE_NUM_THREADS"), "1");
    EXPECT_EQ(core.GetConfig("GPU", "INFERENCE_NUM_THREADS"), "");
    EXPECT_EQ(Core().GetConfig("CPU", "INFERENCE_NUM_THREADS"), "");
}

TEST_F(InferenceEngineTest, SettingsOfALoadComeOnTop) {
    core.SetConfig({{"CPU_THREADS_NUM", "not a number"}}, "CPU");
    expectInference(core.LoadNetwork(read(sum), "CPU", {{"CPU_THREADS_NUM", "1"}}).CreateInferRequest(), 9);
    EXPECT_THAT(failureOf([&] { requestOn("CPU"); }).what(), HasSubstr("INFERENCE_NUM_THREADS"));
}

TEST_F(InferenceEngineTest, UnknownSettingIsDroppedWithOneLine) {
    core.SetConfig({{"CPU_THROUGHPUT_STREAMS", "CPU_THROUGHPUT_AUTO"}}, "CPU");
    core.SetConfig({{"CPU_BIND_THREAD", "NUMA"}}, "CPU");
    core.SetConfig({{"CPU_THREADS_NUM", "1"}}, "CPU");
    static int repeat = 0;
    const std::string unknown = "DYN_BATCH_ENABLED_" + std::to_string(++repeat);
    core.SetConfig({{unknown, "YES"}}, "CPU");
    testing::internal::CaptureStderr();
    expectInference(requestOn("CPU"), 1);
    expectInference(requestOn("CPU"), 2);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "zelhost: device CPU does not know the setting " + unknown + ", which is dropped\n");
}

TEST_F(InferenceEngineTest, OneNetworkLoadsOnTwoThreadsAtOnce) {
    const Pair half = test_networks::weightedSum(10, "f16");
    const CNNNetwork network = read(half);
    const auto loadAndInfer = [&](float base) {
        expectInference(core.LoadNetwork(network, "CPU").CreateInferRequest(), base);
    };
    for (int i = 0; i < 20; ++i) {
        std::thread other(loadAndInfer, 1.0f);
        loadAndInfer(2.0f);
        other.join();
    }
}

TEST_F(InferenceEngineTest, SettingsMayChangeDuringALoad) {
    std::thread other([&] {
        for (int i = 0; i < 100; ++i) core.SetConfig({{"CPU_THREADS_NUM", i % 2 == 0 ? "1" : "2"}}, "CPU");
    });
    for (float base = 0; base < 5; ++base) expectInference(requestOn("CPU"), base);
    other.join();
}

#ifdef ZELHOST_TEST_HOOKS
// The runtime puts a small stack for handlers in the place of the thread's own.
TEST_F(InferenceEngineTest, LoadLeavesTheThreadItsStackForTheExceptionFilter) {
    const auto load = [this] {
        platform::prepareThreadForFilter();
        const size_t before = platform::test::stackForFilter();
        EXPECT_GE(before, 24u * 1024);
        core.LoadNetwork(read(sum), "CPU");
        EXPECT_EQ(platform::test::stackForFilter(), before);
    };
    for (int thread = 0; thread < 2; ++thread) std::thread(load).join();
}

TEST_F(InferenceEngineTest, LoadFailsWhenTold) {
    variables["ZELHOST_DEVICE_FAIL"] = "CPU";
    const std::string text = failureOf([&] { requestOn("CPU"); }).what();
    EXPECT_EQ(text, "LoadNetwork failed for the network \"WeightedSum\" on the device CPU: told to fail");
}

TEST_F(InferenceEngineTest, LoadTakesAsLongAsTold) {
    variables["ZELHOST_DEVICE_DELAY_MS"] = "CPU=30";
    const uint64_t start = platform::monotonicMicroseconds();
    expectInference(requestOn("CPU"), 1);
    EXPECT_GE(platform::monotonicMicroseconds() - start, 30000u);
}

TEST_F(InferenceEngineTest, InferenceTakesAsLongAsTold) {
    variables["ZELHOST_DEVICE_INFER_DELAY_MS"] = "CPU=30";
    const InferRequest request = requestOn("CPU");
    const uint64_t start = platform::monotonicMicroseconds();
    expectInference(request, 1);
    EXPECT_GE(platform::monotonicMicroseconds() - start, 30000u);
}

TEST_F(InferenceEngineTest, RunningRequestIsBusy) {
    variables["ZELHOST_DEVICE_INFER_DELAY_MS"] = "CPU=2000";
    InferRequest request = requestOn("CPU");
    request.StartAsync();
    EXPECT_EQ(request.Wait(1), RESULT_NOT_READY);
    EXPECT_EQ(failureOf([&] { request.StartAsync(); }).getStatus(), REQUEST_BUSY);
    EXPECT_EQ(failureOf([&] { request.Infer(); }).getStatus(), REQUEST_BUSY);
    EXPECT_EQ(failureOf([&] { request.GetBlob("output_mask"); }).getStatus(), REQUEST_BUSY);
    EXPECT_EQ(request.Wait(InferRequest::RESULT_READY), OK);
    EXPECT_NE(request.GetBlob("output_mask"), nullptr);
}
#endif
