#include "plugins/xnn/Network.h"

#include <xmmintrin.h>

#include <chrono>
#include <cstring>
#include <limits>

namespace xnn {
namespace {

using Clock = std::chrono::steady_clock;
using TensorAt = ov_status_e (*)(const ov_infer_request_t*, size_t, ov_tensor_t**);

// While it lives, this thread makes no denormal numbers. The runtime's own setting reaches the thread that compiles,
// where it would stay, and workers, but an inference also computes on the thread that asks for it. Operands are left
// alone: on processors without AVX-512 the runtime's kernels move whole numbers through instructions for floats, which
// would take small ones for zero.
class FlushDenormals {
  public:
    FlushDenormals() : mBefore(_mm_getcsr()) { _mm_setcsr(mBefore | kFlushResults); }
    ~FlushDenormals() { _mm_setcsr(mBefore); }
    FlushDenormals(const FlushDenormals&) = delete;
    FlushDenormals& operator=(const FlushDenormals&) = delete;

  private:
    static constexpr unsigned kFlushResults = 0x8000;

    const unsigned mBefore;
};

std::string milliseconds(Clock::time_point from, Clock::time_point to) {
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(to - from).count()) + " ms";
}

// Saturates where the product has no 64-bit number.
uint64_t product(const uint64_t* dims, uint64_t count) {
    uint64_t result = 1;
    for (uint64_t i = 0; i < count; ++i) {
        if (dims[i] != 0 && result > std::numeric_limits<uint64_t>::max() / dims[i]) {
            return std::numeric_limits<uint64_t>::max();
        }
        result *= dims[i];
    }
    return result;
}

// "1x4x144x256", of many only the first.
std::string dimsText(const uint64_t* dims, uint64_t count) {
    constexpr uint64_t kMost = 16;
    std::string text;
    for (uint64_t i = 0; i < count && i < kMost; ++i) text += (i == 0 ? "" : "x") + std::to_string(dims[i]);
    return count > kMost ? text + "..." : text;
}

std::vector<uint64_t> dimsOf(const ov_tensor_t* tensor) {
    ov_shape_t shape{};
    check(ov_tensor_get_shape(tensor, &shape), "the dimensions of a layer cannot be told");
    const std::unique_ptr<ov_shape_t, ov_status_e (*)(ov_shape_t*)> owner(&shape, ov_shape_free);
    return {shape.dims, shape.dims + shape.rank};
}

std::vector<Layer> layersOf(const ov_infer_request_t* request, const std::vector<Model::End>& ends, bool inputs) {
    const TensorAt tensors =
        inputs ? ov_infer_request_get_input_tensor_by_index : ov_infer_request_get_output_tensor_by_index;
    std::vector<Layer> layers;
    for (size_t i = 0; i < ends.size(); ++i) {
        Layer layer{ends[i].listed, ends[i].full, inputs, {}, 0, nullptr, nullptr};
        layer.tensor = create<ov_tensor_t>("a layer has no memory", tensors, request, i);
        layer.dims = dimsOf(layer.tensor.get());
        layer.floats = product(layer.dims.data(), layer.dims.size());
        void* memory = nullptr;
        check(ov_tensor_data(layer.tensor.get(), &memory), "a layer has no memory");
        layer.data = static_cast<float*>(memory);
        layers.push_back(std::move(layer));
    }
    return layers;
}

const Layer* findLayer(const std::vector<Layer>& layers, std::string_view name, std::string Layer::*by) {
    for (const Layer& layer : layers) {
        if (layer.*by == name) return &layer;
    }
    return nullptr;
}

std::string listOf(const std::vector<Layer>& layers) {
    std::string text;
    for (const Layer& layer : layers) text += (text.empty() ? "" : ", ") + layer.name;
    return text;
}

}  // namespace

Network::Network(const Core& core, const NetworkRequest& request, LogThread& log)
    : mEngine(request.engine), mIdentifier(request.identifier), mDevice(request.device) {
    const CompilePlan plan = planCompile(core, mDevice, request.settings, log);
    const Clock::time_point begin = Clock::now();
    const Model model(core, request.bytes);
    const Clock::time_point isRead = Clock::now();
    compile(core, model, plan);
    const Clock::time_point isCompiled = Clock::now();
    const std::string device = plan.device == mDevice ? mDevice : mDevice + " (" + plan.device + ")";
    log.write("network " + mIdentifier + " created on device " + device + ": read in " + milliseconds(begin, isRead) +
              ", compiled in " + milliseconds(isRead, isCompiled));
}

void Network::compile(const Core& core, const Model& model, const CompilePlan& plan) {
    std::vector<ov_property_t> properties;
    for (const auto& [key, value] : plan.settings) properties.push_back({key.c_str(), value.c_str()});
    const FlushDenormals flush;  // puts back what the runtime leaves changed on this thread
    mCompiled = create<ov_compiled_model_t>("the runtime cannot compile it", ov_core_compile_model_props, core.get(),
                                            model.get(), plan.device.c_str(), properties.size(), properties.data());
    mRequest = create<ov_infer_request_t>("the runtime cannot prepare an inference",
                                          ov_compiled_model_create_infer_request, mCompiled.get());
    mInputs = layersOf(mRequest.get(), model.inputs(), true);
    mOutputs = layersOf(mRequest.get(), model.outputs(), false);
}

const Layer& Network::layer(std::string_view name) const {
    for (std::string Layer::*by : {&Layer::name, &Layer::fullName}) {
        if (const Layer* found = findLayer(mInputs, name, by)) return *found;
        if (const Layer* found = findLayer(mOutputs, name, by)) return *found;
    }
    fail("network " + mIdentifier + " has no layer " + std::string(name) + "; its inputs are " + listOf(mInputs) +
         ", its outputs " + listOf(mOutputs));
}

void Network::setData(const Layer& layer, const float* data, const uint64_t* dims, uint64_t count) const {
    if (!layer.isInput) fail("layer " + layer.name + " is an output");
    if (data == nullptr) fail("the data for layer " + layer.name + " is null");
    if (dims == nullptr && count != 0) fail("the dimensions for layer " + layer.name + " are null");
    if (product(dims, count) != layer.floats) {
        fail("layer " + layer.name + " wants " + std::to_string(layer.floats) + " floats (" +
             dimsText(layer.dims.data(), layer.dims.size()) + "), but " + std::to_string(product(dims, count)) +
             " are given (" + dimsText(dims, count) + ")");
    }
    std::memcpy(layer.data, data, layer.floats * sizeof(float));
}

void Network::infer() const {
    const FlushDenormals flush;
    check(ov_infer_request_infer(mRequest.get()), "the inference failed");
}

}  // namespace xnn
