#include <gtest/gtest.h>
#include <openvino/c/openvino.h>

#include <algorithm>
#include <cstdint>

#include "engines/inference_engine/InferenceEngine.h"
#include "engines/inference_engine/TestNetworks.h"
#include "tests/support/AllocationCount.h"

namespace {

using zeltest::allocationsDownTo;
using zeltest::allocationsOf;

class FrameAllocationsTest : public testing::Test {
  protected:
    const test_networks::Pair pair = test_networks::weightedSum(10, "f32");
    const std::string input = "input_image";
    const std::string output = "output_mask";

    InferenceEngine::InferRequest request() {
        using namespace InferenceEngine;
        Core core;
        const TensorDesc desc(Precision::FP32, {pair.weights.size()}, Layout::C);
        const auto weights = make_shared_blob<float>(desc, reinterpret_cast<const float*>(pair.weights.data()));
        return core.LoadNetwork(core.ReadNetwork(pair.xml, weights), "CPU", {{"CPU_THREADS_NUM", "1"}})
            .CreateInferRequest();
    }
};

}  // namespace

TEST_F(FrameAllocationsTest, AllocationsAreCounted) {
    EXPECT_EQ(allocationsOf([] { delete new volatile int(1); }), 1u);
}

TEST_F(FrameAllocationsTest, BlobsAreFoundWithoutAllocation) {
    InferenceEngine::InferRequest engine = request();
    EXPECT_EQ(allocationsOf([&] {
                  engine.GetBlob(input)->buffer().as<float*>()[0] = 1;
                  ASSERT_EQ(engine.GetBlob(output)->size(), 128u);
              }),
              0u);
}

TEST_F(FrameAllocationsTest, FrameAllocatesNoMoreThanTheBareRuntime) {
    InferenceEngine::InferRequest engine = request();

    ov_core_t* core = nullptr;
    ov_tensor_t* weights = nullptr;
    ov_model_t* model = nullptr;
    ov_compiled_model_t* compiled = nullptr;
    ov_infer_request_t* bare = nullptr;
    int64_t bytes = static_cast<int64_t>(pair.weights.size());
    ASSERT_EQ(ov_core_create(&core), 0);
    ASSERT_EQ(ov_tensor_create_from_host_ptr(U8, ov_shape_t{1, &bytes}, const_cast<unsigned char*>(pair.weights.data()),
                                             &weights),
              0);
    ASSERT_EQ(ov_core_read_model_from_memory_buffer(core, pair.xml.c_str(), pair.xml.size(), weights, &model), 0);
    ASSERT_EQ(ov_core_compile_model(core, model, "CPU", 2, &compiled, "INFERENCE_NUM_THREADS", "1"), 0);
    ASSERT_EQ(ov_compiled_model_create_infer_request(compiled, &bare), 0);

    const size_t ofBare = allocationsOf([&] { ASSERT_EQ(ov_infer_request_infer(bare), 0); });
    const auto frame = [&] {
        engine.GetBlob(input)->buffer().as<float*>()[0] = 1;
        engine.Infer();
        ASSERT_EQ(engine.GetBlob(output)->size(), 128u);
    };
    RecordProperty("bare", static_cast<int>(ofBare));
    EXPECT_LE(allocationsDownTo(ofBare, frame), ofBare);
    const size_t ofBareAsync = allocationsOf([&] {
        ASSERT_EQ(ov_infer_request_start_async(bare), 0);
        ASSERT_EQ(ov_infer_request_wait(bare), 0);
    });
    const auto asynchronous = [&] {
        engine.StartAsync();
        ASSERT_EQ(engine.Wait(60000), InferenceEngine::OK);
    };
    EXPECT_LE(allocationsDownTo(ofBareAsync, asynchronous), ofBareAsync);

    ov_infer_request_free(bare);
    ov_compiled_model_free(compiled);
    ov_model_free(model);
    ov_tensor_free(weights);
    ov_core_free(core);
}
