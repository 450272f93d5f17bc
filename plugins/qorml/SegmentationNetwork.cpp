#include "plugins/qorml/SegmentationNetwork.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace qorml {

namespace {

using Model = std::unique_ptr<ov_model_t, Released<ov_model_free>>;
using Text = std::unique_ptr<char, Released<ov_free>>;

constexpr size_t kPictureStep = 4;
constexpr size_t kColourOffsets[] = {2, 1, 0};  // red, green and blue in a pixel
constexpr float kWhite = 255.0f;

void check(ov_status_e status, const char* step) {
    if (status == ov_status_e::OK) return;
    const Text words(const_cast<char*>(ov_get_last_err_msg()));
    throw std::runtime_error(std::string("cannot ") + step + ": " + (words ? words.get() : ov_get_error_info(status)));
}

// Takes what a C call creates through its last argument.
template <class Owner, class Create>
Owner created(const char* step, const Create& create) {
    typename Owner::pointer object = nullptr;
    const ov_status_e status = create(&object);
    Owner owner(object);
    check(status, step);
    return owner;
}

Model readModel(const ov_core_t* core, const EmbeddedNetwork& network) {
    auto bytes = static_cast<int64_t>(network.weightsBytes);
    const ov_shape_t shape{1, &bytes};
    // The C interface has no constant tensors; the reader does not write.
    void* const weights = const_cast<char*>(network.weights);
    const auto tensor = created<Tensor>("wrap the weights", [&](ov_tensor_t** made) {
        return ov_tensor_create_from_host_ptr(ov_element_type_e::U8, shape, weights, made);
    });
    return created<Model>("read the network", [&](ov_model_t** made) {
        return ov_core_read_model_from_memory_buffer(core, network.xml, network.xmlBytes, tensor.get(), made);
    });
}

// A processor that can would compute in bfloat16, which is too coarse for the masks' edges. One thread is enough for a
// camera, and leaves the others to the client.
CompiledModel compile(const ov_core_t* core, const ov_model_t* model) {
    return created<CompiledModel>("compile the network", [&](ov_compiled_model_t** made) {
        return ov_core_compile_model(core, model, "CPU", 4, made, "INFERENCE_PRECISION_HINT", "f32",
                                     "INFERENCE_NUM_THREADS", "1");
    });
}

// The memory of a tensor of 1 x planes x size floats.
float* floatsOf(const ov_tensor_t* tensor, size_t planes, Size size) {
    ov_shape_t shape{};
    check(ov_tensor_get_shape(tensor, &shape), "ask for a shape");
    const int64_t wanted[] = {1, static_cast<int64_t>(planes), static_cast<int64_t>(size.height),
                              static_cast<int64_t>(size.width)};
    const bool fits = std::equal(shape.dims, shape.dims + shape.rank, std::begin(wanted), std::end(wanted));
    ov_shape_free(&shape);
    ov_element_type_e type = ov_element_type_e::DYNAMIC;
    check(ov_tensor_get_element_type(tensor, &type), "ask for an element type");
    if (!fits || type != ov_element_type_e::F32)
        throw std::runtime_error("the network has another shape than its name");
    void* memory = nullptr;
    check(ov_tensor_data(tensor, &memory), "reach a tensor's memory");
    return static_cast<float*>(memory);
}

// Also for what is no number.
uint8_t maskByte(float share) {
    return share > 0 ? static_cast<uint8_t>(std::min(share, 1.0f) * kWhite) : 0;
}

}  // namespace

Core startRuntime() {
    return created<Core>("start the runtime", [](ov_core_t** made) { return ov_core_create(made); });
}

SegmentationNetwork::SegmentationNetwork(const ov_core_t* core, const EmbeddedNetwork& network)
    : mSize(network.size), mMask(network.size.pixels()) {
    const Model model = readModel(core, network);
    mCompiled = compile(core, model.get());
    mRequest = created<InferRequest>("make a request", [&](ov_infer_request_t** made) {
        return ov_compiled_model_create_infer_request(mCompiled.get(), made);
    });
    mInputTensor = created<Tensor>("reach the input", [&](ov_tensor_t** made) {
        return ov_infer_request_get_input_tensor_by_index(mRequest.get(), 0, made);
    });
    mOutputTensor = created<Tensor>("reach the output", [&](ov_tensor_t** made) {
        return ov_infer_request_get_output_tensor_by_index(mRequest.get(), 0, made);
    });
    mInput = floatsOf(mInputTensor.get(), 4, mSize);
    mOutput = floatsOf(mOutputTensor.get(), 1, mSize);
}

void SegmentationNetwork::segment(const uint8_t* picture, Size size, uint8_t* mask) {
    if (!(size == mPictureSize)) beginSize(size);
    fillInput(picture);
    if (const ov_status_e status = ov_infer_request_infer(mRequest.get()); status != ov_status_e::OK) {
        mPictureSize = {};
        check(status, "infer");
    }
    decodeMask();
    mMaskToPicture->toBytes(mMask.data(), mask);
}

void SegmentationNetwork::beginSize(Size size) {
    mPictureSize = {};
    mPictureToInput.emplace(size, mSize);
    mMaskToPicture.emplace(mSize, size);
    std::fill(mMask.begin(), mMask.end(), uint8_t{0});
    mPictureSize = size;
}

void SegmentationNetwork::fillInput(const uint8_t* picture) {
    float* plane = mInput;
    for (const size_t offset : kColourOffsets) {
        mPictureToInput->toFloats(picture + offset, kPictureStep, plane);
        plane += mSize.pixels();
    }
    std::copy(mMask.begin(), mMask.end(), plane);
}

void SegmentationNetwork::decodeMask() {
    std::transform(mOutput, mOutput + mSize.pixels(), mMask.begin(), maskByte);
}

}  // namespace qorml
