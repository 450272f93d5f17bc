#include <openvino/c/openvino.h>
#include <pmmintrin.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "plugins/xnn/PluginFixture.h"
#include "tests/support/SamplePhotograph.h"

namespace xnn_test {
namespace {

constexpr const char* kSmall = "LadonMedium_256144_Chan4_v124_06172025";
constexpr const char* kLarge = "LadonMedium_640360_Chan4_v124_06172025";

std::string fileOf(const std::string& name) {
    std::ifstream file(ZEL_MODELS_DIR "/" + name, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

struct Ladon {
    explicit Ladon(const std::string& name) : xml(fileOf(name + ".xml")), weights(fileOf(name + ".bin")) {}
    std::string xml;
    std::string weights;
};

// The sample photograph as three planes of bytes, before a mask that is empty.
std::vector<float> frame(const Dims& dims) {
    const size_t plane = dims[2] * dims[3];
    const std::vector<uint8_t> pixels =
        zeltest::samplePhotograph(static_cast<int32_t>(dims[3]), static_cast<int32_t>(dims[2]));
    std::vector<float> data(4 * plane);
    for (size_t i = 0; i < pixels.size(); ++i) data[i % 3 * plane + i / 3] = pixels[i];
    return data;
}

// The outputs of the same network without the library between, by the runtime's names.
std::map<std::string, std::vector<float>> inferBare(Ladon& ladon, const std::vector<float>& input,
                                                    const std::vector<std::string>& outputs) {
    ov_core_t* core = nullptr;
    ov_tensor_t* weights = nullptr;
    ov_model_t* model = nullptr;
    ov_compiled_model_t* compiled = nullptr;
    ov_infer_request_t* request = nullptr;
    ov_tensor_t* tensor = nullptr;
    void* memory = nullptr;
    int64_t bytes = static_cast<int64_t>(ladon.weights.size());
    EXPECT_EQ(ov_core_create(&core), 0);
    EXPECT_EQ(ov_tensor_create_from_host_ptr(U8, ov_shape_t{1, &bytes}, ladon.weights.data(), &weights), 0);
    EXPECT_EQ(ov_core_read_model_from_memory_buffer(core, ladon.xml.data(), ladon.xml.size(), weights, &model), 0);
    EXPECT_EQ(ov_core_compile_model(core, model, "CPU", 4, &compiled, "INFERENCE_PRECISION_HINT", "f32",
                                    "CPU_DENORMALS_OPTIMIZATION", "YES"),
              0);
    // The runtime leaves this thread with operands zeroed too, to which its kernels may lose whole numbers.
    _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_OFF);
    EXPECT_EQ(ov_compiled_model_create_infer_request(compiled, &request), 0);
    EXPECT_EQ(ov_infer_request_get_input_tensor(request, &tensor), 0);
    EXPECT_EQ(ov_tensor_data(tensor, &memory), 0);
    std::copy(input.begin(), input.end(), static_cast<float*>(memory));
    ov_tensor_free(tensor);
    EXPECT_EQ(ov_infer_request_infer(request), 0);
    std::map<std::string, std::vector<float>> results;
    for (const std::string& name : outputs) {
        size_t floats = 0;
        EXPECT_EQ(ov_infer_request_get_tensor(request, (name + "/sink_port_0").c_str(), &tensor), 0) << name;
        EXPECT_EQ(ov_tensor_get_size(tensor, &floats), 0);
        EXPECT_EQ(ov_tensor_data(tensor, &memory), 0);
        results[name].assign(static_cast<float*>(memory), static_cast<float*>(memory) + floats);
        ov_tensor_free(tensor);
    }
    ov_infer_request_free(request);
    ov_compiled_model_free(compiled);
    ov_model_free(model);
    ov_tensor_free(weights);
    ov_core_free(core);
    return results;
}

class XnnLadonTest : public PluginFixture {
  protected:
    // The buffers are the caller's again, and hold something else, before the network infers.
    void create(Ladon ladon) {
        Entry(xnnCreateNetByBuffers)(handle, "OpenVINO", "ladon_CPU", "CPU", ladon.xml.data(), ladon.xml.size(),
                                     ladon.weights.data(), ladon.weights.size());
        ASSERT_EQ(takeException(), "");
        std::fill(ladon.weights.begin(), ladon.weights.end(), '\xFF');
    }

    void expectLayers(uint64_t height, uint64_t width) {
        const std::map<std::string, Dims> expected{{"input", {1, 4, height, width}},
                                                   {"segmentation", {1, 1, height, width}},
                                                   {"motion", {1, 1, 1, 1}},
                                                   {"gesture", {1, 9}},
                                                   {"faces_and_landmarks", {1, 1, 9, 16, 1439}},
                                                   {"lut", {1, 3, 33, 33, 33}},
                                                   {"lut_vertices", {1, 3, 33}},
                                                   {"lut_confidence", {1, 1}}};
        for (const auto& [layer, dims] : expected) EXPECT_EQ(this->dims(layer.c_str()), dims) << layer;
        EXPECT_EQ(Entry(xnnGetOutputLayerNumber)(handle), 7);
    }

    // The library's outputs for a frame of the current network, and the bare runtime's.
    void expectOutputsOfTheBareRuntime(Ladon& ladon) {
        const std::vector<std::string> outputs{"segmentation", "motion",       "gesture",       "faces_and_landmarks",
                                               "lut",          "lut_vertices", "lut_confidence"};
        const Dims size = dims("input");
        const std::vector<float> input = frame(size);
        set("input", input, size);
        Entry(xnnInfer)(handle);
        ASSERT_EQ(takeException(), "");
        for (const auto& [layer, bare] : inferBare(ladon, input, outputs)) {
            EXPECT_THAT(get(layer.c_str()), testing::Pointwise(testing::FloatNear(1e-4f), bare)) << layer;
        }
        EXPECT_THAT(get("segmentation"), testing::Contains(testing::Gt(200.0f)));
    }
};

// In float32, that is: in the sixteen bits that some processors would rather take the outputs differ.
TEST_F(XnnLadonTest, SmallNetworkInfersAsTheBareRuntimeDoes) {
    Ladon small(kSmall);
    create(small);
    expectLayers(144, 256);
    expectOutputsOfTheBareRuntime(small);
}

TEST_F(XnnLadonTest, LargeNetworkInfersAsTheBareRuntimeDoes) {
    Ladon large(kLarge);
    create(large);
    expectLayers(360, 640);
    expectOutputsOfTheBareRuntime(large);
}

}  // namespace
}  // namespace xnn_test
