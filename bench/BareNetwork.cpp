#include "bench/BareNetwork.h"

#include <pmmintrin.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include "platform/include/resource.h"

namespace zelbench {

namespace {

void check(ov_status_e status, const char* step) {
    if (status != OK) throw std::runtime_error(std::string(step) + " failed: " + ov_get_error_info(status));
}

}  // namespace

BareNetwork::BareNetwork(int xmlId, int binId, int reads, Settings settings) {
    check(ov_core_create(&mCore), "ov_core_create");
    for (int count = 0; count < reads; ++count) read(xmlId, binId);
    makeInputFp32();
    compile(settings);
    check(ov_compiled_model_create_infer_request(mCompiled, &mRequest), "create_infer_request");
    check(ov_infer_request_get_input_tensor_by_index(mRequest, 0, &mInputTensor), "get_input_tensor");
    check(ov_tensor_data(mInputTensor, reinterpret_cast<void**>(&mInput)), "ov_tensor_data");
    check(ov_tensor_get_byte_size(mInputTensor, &mInputBytes), "ov_tensor_get_byte_size");
    ov_shape_t shape{};
    check(ov_tensor_get_shape(mInputTensor, &shape), "ov_tensor_get_shape");
    mHeight = static_cast<uint32_t>(shape.dims[2]);
    mWidth = static_cast<uint32_t>(shape.dims[3]);
    ov_shape_free(&shape);
}

void BareNetwork::read(int xmlId, int binId) {
    const platform::Resource xml = platform::findResource(xmlId);
    const platform::Resource bin = platform::findResource(binId);
    if (!xml.data || !bin.data) throw std::runtime_error("the executable has no network " + std::to_string(xmlId));
    const int64_t bytes = static_cast<int64_t>(bin.size);
    ov_shape_t shape{};
    check(ov_shape_create(1, &bytes, &shape), "ov_shape_create");
    ov_tensor_t* weights = nullptr;
    check(ov_tensor_create_from_host_ptr(U8, shape, const_cast<void*>(bin.data), &weights), "ov_tensor_create");
    if (mModel) ov_model_free(mModel);
    check(ov_core_read_model_from_memory_buffer(mCore, static_cast<const char*>(xml.data), xml.size, weights, &mModel),
          "read_model");
    ov_tensor_free(weights);
    ov_shape_free(&shape);
}

// As a host gives its pictures.
void BareNetwork::makeInputFp32() {
    ov_preprocess_prepostprocessor_t* steps = nullptr;
    ov_preprocess_input_info_t* input = nullptr;
    ov_preprocess_input_tensor_info_t* tensor = nullptr;
    ov_model_t* built = nullptr;
    check(ov_preprocess_prepostprocessor_create(mModel, &steps), "prepostprocessor_create");
    check(ov_preprocess_prepostprocessor_get_input_info(steps, &input), "get_input_info");
    check(ov_preprocess_input_info_get_tensor_info(input, &tensor), "get_tensor_info");
    check(ov_preprocess_input_tensor_info_set_element_type(tensor, F32), "set_element_type");
    check(ov_preprocess_prepostprocessor_build(steps, &built), "prepostprocessor_build");
    ov_preprocess_input_tensor_info_free(tensor);
    ov_preprocess_input_info_free(input);
    ov_preprocess_prepostprocessor_free(steps);
    ov_model_free(mModel);
    mModel = built;
}

void BareNetwork::compile(Settings settings) {
    const ov_status_e status =
        settings == Settings::kModel
            ? ov_core_compile_model(mCore, mModel, "CPU", 10, &mCompiled, "NUM_STREAMS", "AUTO",
                                    "PERFORMANCE_HINT_NUM_REQUESTS", "1", "ENABLE_CPU_PINNING", "NO",
                                    "INFERENCE_PRECISION_HINT", "f32", "CPU_DENORMALS_OPTIMIZATION", "YES")
            : ov_core_compile_model(mCore, mModel, "CPU", 4, &mCompiled, "INFERENCE_PRECISION_HINT", "f32",
                                    "CPU_DENORMALS_OPTIMIZATION", "YES");
    check(status, "ov_core_compile_model");
    // As in the host: the runtime leaves this thread with operands zeroed too, to which its kernels may lose whole
    // numbers.
    _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_OFF);
}

float* BareNetwork::output(size_t values) const {
    size_t count = 0;
    check(ov_compiled_model_outputs_size(mCompiled, &count), "outputs_size");
    for (size_t number = 0; number < count; ++number) {
        ov_tensor_t* tensor = nullptr;
        size_t size = 0;
        void* data = nullptr;
        check(ov_infer_request_get_output_tensor_by_index(mRequest, number, &tensor), "get_output_tensor");
        check(ov_tensor_get_size(tensor, &size), "ov_tensor_get_size");
        check(ov_tensor_data(tensor, &data), "ov_tensor_data");
        ov_tensor_free(tensor);
        if (size == values) return static_cast<float*>(data);
    }
    throw std::runtime_error("the network has no output of " + std::to_string(values) + " values");
}

float* BareNetwork::output(const std::string& name) const {
    ov_tensor_t* tensor = nullptr;
    void* data = nullptr;
    check(ov_infer_request_get_tensor(mRequest, (name + "/sink_port_0").c_str(), &tensor), "get_tensor");
    check(ov_tensor_data(tensor, &data), "ov_tensor_data");
    ov_tensor_free(tensor);
    return static_cast<float*>(data);
}

BareNetwork::~BareNetwork() {
    for (ov_tensor_t* tensor : mKept) ov_tensor_free(tensor);
    ov_tensor_free(mInputTensor);
    ov_infer_request_free(mRequest);
    ov_compiled_model_free(mCompiled);
    ov_model_free(mModel);
    ov_core_free(mCore);
}

void BareNetwork::infer() {
    check(ov_infer_request_infer(mRequest), "infer");
}

void BareNetwork::keepInput() {
    ov_shape_t shape{};
    check(ov_tensor_get_shape(mInputTensor, &shape), "ov_tensor_get_shape");
    mKept.push_back(nullptr);
    check(ov_tensor_create(F32, shape, &mKept.back()), "ov_tensor_create");
    ov_shape_free(&shape);
    void* data = nullptr;
    check(ov_tensor_data(mKept.back(), &data), "ov_tensor_data");
    std::memcpy(data, mInput, mInputBytes);
}

void BareNetwork::inferKept(uint64_t number) {
    check(ov_infer_request_set_input_tensor_by_index(mRequest, 0, mKept[number % mKept.size()]), "set_input_tensor");
    infer();
}

}  // namespace zelbench
