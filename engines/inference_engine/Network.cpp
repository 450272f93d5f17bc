#include "engines/inference_engine/Network.h"

#include "engines/inference_engine/NetworkXml.h"

namespace InferenceEngine::details {
namespace {

using Port = Owned<ov_output_const_port_t>;

Layout layoutOfRank(size_t rank) {
    switch (rank) {
        case 0:
            return Layout::SCALAR;
        case 1:
            return Layout::C;
        case 2:
            return Layout::NC;
        case 3:
            return Layout::CHW;
        case 4:
            return Layout::NCHW;
        case 5:
            return Layout::NCDHW;
        default:
            return Layout::ANY;
    }
}

Owned<ov_tensor_t> wrapWeights(const Blob& weights) {
    int64_t bytes = static_cast<int64_t>(weights.size());
    ov_shape_t shape{1, &bytes};
    Owned<ov_tensor_t> tensor;
    // The C interface has no constant tensors; the reader does not write.
    void* memory = const_cast<void*>(weights.cbuffer().as<const void*>());
    check(ov_tensor_create_from_host_ptr(ov_element_type_e::U8, shape, memory, out(tensor)),
          [&] { return "ReadNetwork cannot wrap " + std::to_string(bytes) + " bytes of weights"; });
    return tensor;
}

ov_element_type_e elementType(const ov_output_const_port_t* port) {
    ov_element_type_e type = ov_element_type_e::DYNAMIC;
    check(ov_port_get_element_type(port, &type), [] { return "ReadNetwork cannot tell an element type"; });
    return type;
}

std::string tensorName(const ov_output_const_port_t* port) {
    Owned<char> name;
    const ov_status_e status = ov_port_get_any_name(port, out(name));
    return status == ov_status_e::OK ? name.get() : "";
}

SizeVector dimensions(const ov_output_const_port_t* port, const std::string& end) {
    ov_shape_t shape{};
    check(ov_const_port_get_shape(port, &shape),
          [&] { return "ReadNetwork needs fixed dimensions at \"" + end + '"'; });
    SizeVector dims(shape.dims, shape.dims + shape.rank);
    ov_shape_free(&shape);
    return dims;
}

Port inputPort(const ov_model_t* model, size_t index) {
    Port port;
    check(ov_model_const_input_by_index(model, index, out(port)), [] { return "ReadNetwork cannot find an input"; });
    return port;
}

Port outputPort(const ov_model_t* model, size_t index) {
    Port port;
    check(ov_model_const_output_by_index(model, index, out(port)), [] { return "ReadNetwork cannot find an output"; });
    return port;
}

size_t inputCount(const ov_model_t* model) {
    size_t count = 0;
    check(ov_model_inputs_size(model, &count), [] { return "ReadNetwork cannot count the inputs"; });
    return count;
}

size_t outputCount(const ov_model_t* model) {
    size_t count = 0;
    check(ov_model_outputs_size(model, &count), [] { return "ReadNetwork cannot count the outputs"; });
    return count;
}

void takeFp32At(const ov_preprocess_prepostprocessor_t* steps, size_t input) {
    const auto describe = [] { return "ReadNetwork cannot make an input FP32"; };
    Owned<ov_preprocess_input_info_t> info;
    Owned<ov_preprocess_input_tensor_info_t> tensor;
    check(ov_preprocess_prepostprocessor_get_input_info_by_index(steps, input, out(info)), describe);
    check(ov_preprocess_input_info_get_tensor_info(info.get(), out(tensor)), describe);
    check(ov_preprocess_input_tensor_info_set_element_type(tensor.get(), ov_element_type_e::F32), describe);
}

void giveFp32At(const ov_preprocess_prepostprocessor_t* steps, size_t output) {
    const auto describe = [] { return "ReadNetwork cannot make an output FP32"; };
    Owned<ov_preprocess_output_info_t> info;
    Owned<ov_preprocess_output_tensor_info_t> tensor;
    check(ov_preprocess_prepostprocessor_get_output_info_by_index(steps, output, out(info)), describe);
    check(ov_preprocess_output_info_get_tensor_info(info.get(), out(tensor)), describe);
    check(ov_preprocess_output_set_element_type(tensor.get(), ov_element_type_e::F32), describe);
}

std::vector<size_t> notFp32(const ov_model_t* model, size_t count, Port (*portAt)(const ov_model_t*, size_t)) {
    std::vector<size_t> found;
    for (size_t i = 0; i < count; ++i) {
        if (elementType(portAt(model, i).get()) != ov_element_type_e::F32) found.push_back(i);
    }
    return found;
}

// A network that is FP32 at every end stays as it is, which saves the rewriting.
void makeEndsFp32(Owned<ov_model_t>& model) {
    const std::vector<size_t> inputs = notFp32(model.get(), inputCount(model.get()), inputPort);
    const std::vector<size_t> outputs = notFp32(model.get(), outputCount(model.get()), outputPort);
    if (inputs.empty() && outputs.empty()) return;
    Owned<ov_preprocess_prepostprocessor_t> steps;
    check(ov_preprocess_prepostprocessor_create(model.get(), out(steps)),
          [] { return "ReadNetwork cannot add steps"; });
    for (const size_t input : inputs) takeFp32At(steps.get(), input);
    for (const size_t output : outputs) giveFp32At(steps.get(), output);
    Owned<ov_model_t> built;
    check(ov_preprocess_prepostprocessor_build(steps.get(), out(built)), [] { return "ReadNetwork cannot add steps"; });
    model = std::move(built);
}

}  // namespace

NetworkImpl::NetworkImpl(const ov_core_t* core, std::string xml, Blob::CPtr weights)
    : mXml(std::move(xml)), mWeights(std::move(weights)), mModel(readModel(core)) {
    describeEnds();
}

Owned<ov_model_t> NetworkImpl::readModel(const ov_core_t* core) const {
    const Owned<ov_tensor_t> weights = mWeights ? wrapWeights(*mWeights) : nullptr;
    Owned<ov_model_t> model;
    check(ov_core_read_model_from_memory_buffer(core, mXml.c_str(), mXml.size(), weights.get(), out(model)), [&] {
        return "ReadNetwork failed for the network \"" + scanNetworkEnds(mXml).name + "\", " +
               std::to_string(mXml.size()) + " bytes of XML and " + std::to_string(mWeights ? mWeights->size() : 0) +
               " bytes of weights";
    });
    makeEndsFp32(model);
    return model;
}

void NetworkImpl::describeEnds() {
    const NetworkEnds ends = scanNetworkEnds(mXml);
    const ov_model_t* model = mModel.get();
    mName = ends.name;
    if (ends.inputs.size() != inputCount(model) || ends.outputs.size() != outputCount(model)) {
        raise(NETWORK_NOT_READ, "ReadNetwork found other inputs or outputs in \"" + mName + "\" than its XML lists");
    }
    for (size_t i = 0; i < ends.inputs.size(); ++i) {
        const std::string& name = ends.inputs[i];
        SizeVector dims = dimensions(inputPort(model, i).get(), name);
        const Layout layout = layoutOfRank(dims.size());
        mInputs.push_back({name, TensorDesc(Precision::FP32, std::move(dims), layout)});
        mInputsInfo[name] = std::make_shared<InputInfo>(std::make_shared<Data>(name, mInputs.back().desc));
    }
    for (size_t i = 0; i < ends.outputs.size(); ++i) {
        const Port port = outputPort(model, i);
        const std::string name = shortOutputName(ends.outputs[i], tensorName(port.get()));
        SizeVector dims = dimensions(port.get(), name);
        const Layout layout = layoutOfRank(dims.size());
        mOutputs.push_back({name, TensorDesc(Precision::FP32, std::move(dims), layout)});
        mOutputsInfo[name] = std::make_shared<Data>(name, mOutputs.back().desc);
    }
    if (mInputsInfo.size() != mInputs.size() || mOutputsInfo.size() != mOutputs.size()) {
        raise(NETWORK_NOT_READ, "ReadNetwork found one name twice among the inputs or outputs of \"" + mName + '"');
    }
}

ModelUse::ModelUse(NetworkImpl& network, const ov_core_t* core) : mNetwork(network) {
    if (mNetwork.mModelInUse.test_and_set(std::memory_order_acquire)) mCopy = mNetwork.readModel(core);
}

ModelUse::~ModelUse() {
    if (!mCopy) mNetwork.mModelInUse.clear(std::memory_order_release);
}

}  // namespace InferenceEngine::details
