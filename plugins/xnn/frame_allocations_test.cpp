#include <openvino/c/openvino.h>

#include "plugins/xnn/PluginFixture.h"
#include "tests/support/AllocationCount.h"

namespace xnn_test {
namespace {

using zeltest::allocationsDownTo;
using zeltest::allocationsOf;

class XnnFrameAllocationsTest : public PluginFixture {
  protected:
    void setAndGet() {
        Entry(xnnSetLayerData)(handle, "input_image", input.data(), kPicture.data(), kPicture.size());
        ASSERT_NE(Entry(xnnGetLayerData)(handle, "output_mask"), nullptr);
    }

    const test_networks::Pair pair = test_networks::weightedSum(10, "f32");
    const std::vector<float> input = picture(1);
};

TEST_F(XnnFrameAllocationsTest, AllocationsOfTheLibraryAreCounted) {
    EXPECT_GT(allocationsOf([&] { Entry(xnnInfer)(handle); }), 0u);  // it fails, with a text
    takeException();
}

TEST_F(XnnFrameAllocationsTest, LayersAreSetAndFoundWithoutAllocation) {
    create("sum", pair);
    EXPECT_EQ(allocationsOf([&] { setAndGet(); }), 0u);
}

TEST_F(XnnFrameAllocationsTest, FrameAllocatesNoMoreThanTheBareRuntime) {
    create("sum", pair);
    ov_core_t* core = nullptr;
    ov_tensor_t* weights = nullptr;
    ov_model_t* model = nullptr;
    ov_compiled_model_t* compiled = nullptr;
    ov_infer_request_t* bare = nullptr;
    int64_t bytes = static_cast<int64_t>(pair.weights.size());
    ASSERT_EQ(ov_core_create(&core), 0);
    ASSERT_EQ(ov_tensor_create(U8, ov_shape_t{1, &bytes}, &weights), 0);
    void* memory = nullptr;
    ASSERT_EQ(ov_tensor_data(weights, &memory), 0);
    std::copy(pair.weights.begin(), pair.weights.end(), static_cast<unsigned char*>(memory));
    ASSERT_EQ(ov_core_read_model_from_memory_buffer(core, pair.xml.data(), pair.xml.size(), weights, &model), 0);
    ASSERT_EQ(ov_core_compile_model(core, model, "CPU", 2, &compiled, "INFERENCE_PRECISION_HINT", "f32"), 0);
    ASSERT_EQ(ov_compiled_model_create_infer_request(compiled, &bare), 0);

    const size_t ofBare = allocationsOf([&] { ASSERT_EQ(ov_infer_request_infer(bare), 0); });
    const auto frame = [&] {
        setAndGet();
        Entry(xnnInfer)(handle);
    };
    EXPECT_LE(allocationsDownTo(ofBare, frame), ofBare);

    ov_infer_request_free(bare);
    ov_compiled_model_free(compiled);
    ov_model_free(model);
    ov_tensor_free(weights);
    ov_core_free(core);
}

}  // namespace
}  // namespace xnn_test
