#include "plugins/xnn/Model.h"

#include <cstring>

#include "plugins/xnn/LayerNames.h"

namespace xnn {
namespace {

using Port = Owned<ov_output_const_port_t>;
using PortAt = ov_status_e (*)(const ov_model_t*, size_t, ov_output_const_port_t**);
using Steps = Owned<ov_preprocess_prepostprocessor_t>;

Port portAt(const ov_model_t* model, PortAt ports, size_t index) {
    return create<ov_output_const_port_t>("an input or output cannot be told", ports, model, index);
}

// The runtime shares the memory of this copy for as long as it needs it.
Owned<ov_tensor_t> copyWeights(std::string_view weights) {
    int64_t size = static_cast<int64_t>(weights.size());
    Owned<ov_tensor_t> tensor =
        create<ov_tensor_t>("no memory for the weights", ov_tensor_create, ov_element_type_e::U8, ov_shape_t{1, &size});
    void* memory = nullptr;
    check(ov_tensor_data(tensor.get(), &memory), "no memory for the weights");
    std::memcpy(memory, weights.data(), weights.size());
    return tensor;
}

Owned<ov_model_t> read(const Core& core, const ModelBytes& bytes) {
    const Owned<ov_tensor_t> weights = bytes.weights.empty() ? nullptr : copyWeights(bytes.weights);
    return create<ov_model_t>("the runtime cannot read it", ov_core_read_model_from_memory_buffer, core.get(),
                              bytes.description.data(), bytes.description.size(), weights.get());
}

bool isFloat(const ov_model_t* model, PortAt ports, size_t index) {
    ov_element_type_e type = ov_element_type_e::DYNAMIC;
    check(ov_port_get_element_type(portAt(model, ports, index).get(), &type), "an element type cannot be told");
    return type == ov_element_type_e::F32;
}

void makeInputFloat(const Steps& steps, size_t index) {
    constexpr const char* kWhat = "an input cannot be made float32";
    const auto info = create<ov_preprocess_input_info_t>(kWhat, ov_preprocess_prepostprocessor_get_input_info_by_index,
                                                         steps.get(), index);
    const auto tensor =
        create<ov_preprocess_input_tensor_info_t>(kWhat, ov_preprocess_input_info_get_tensor_info, info.get());
    check(ov_preprocess_input_tensor_info_set_element_type(tensor.get(), ov_element_type_e::F32), kWhat);
}

void makeOutputFloat(const Steps& steps, size_t index) {
    constexpr const char* kWhat = "an output cannot be made float32";
    const auto info = create<ov_preprocess_output_info_t>(
        kWhat, ov_preprocess_prepostprocessor_get_output_info_by_index, steps.get(), index);
    const auto tensor =
        create<ov_preprocess_output_tensor_info_t>(kWhat, ov_preprocess_output_info_get_tensor_info, info.get());
    check(ov_preprocess_output_set_element_type(tensor.get(), ov_element_type_e::F32), kWhat);
}

// What the steps do for each input or output of another type; true when there is any.
bool convertEnds(const ov_model_t* model, PortAt ports, size_t count, const Steps& steps,
                 void (*convert)(const Steps&, size_t)) {
    bool any = false;
    for (size_t i = 0; i < count; ++i) {
        if (isFloat(model, ports, i)) continue;
        convert(steps, i);
        any = true;
    }
    return any;
}

// A network that is float32 at every end stays as it is, which saves the rewriting.
void makeEndsFloat(Owned<ov_model_t>& model, size_t inputs, size_t outputs) {
    constexpr const char* kWhat = "its ends cannot be made float32";
    const Steps steps =
        create<ov_preprocess_prepostprocessor_t>(kWhat, ov_preprocess_prepostprocessor_create, model.get());
    const bool anyInput = convertEnds(model.get(), ov_model_const_input_by_index, inputs, steps, makeInputFloat);
    const bool anyOutput = convertEnds(model.get(), ov_model_const_output_by_index, outputs, steps, makeOutputFloat);
    if (anyInput || anyOutput) {
        model = create<ov_model_t>(kWhat, ov_preprocess_prepostprocessor_build, steps.get());
    }
}

std::string tensorName(const ov_output_const_port_t* port) {
    char* name = nullptr;
    const ov_status_e status = ov_port_get_any_name(port, &name);
    const Owned<char> owner(name);
    return status == ov_status_e::OK ? name : "";
}

// The names that the description tells, else, where it is of another kind, the runtime's.
std::vector<Model::End> namesOf(const ov_model_t* model, PortAt ports, size_t count,
                                const std::vector<std::string>& told) {
    std::vector<Model::End> ends;
    for (size_t i = 0; i < count; ++i) {
        const std::string full = told.size() == count ? told[i] : tensorName(portAt(model, ports, i).get());
        if (full.empty()) fail("an input or output has no name");
        ends.push_back({listedName(full), full});
    }
    return ends;
}

}  // namespace

Model::Model(const Core& core, const ModelBytes& bytes) : mModel(read(core, bytes)) {
    if (ov_model_is_dynamic(get())) fail("it has dimensions that are not fixed");
    size_t inputs = 0;
    size_t outputs = 0;
    check(ov_model_inputs_size(get(), &inputs), "its inputs cannot be counted");
    check(ov_model_outputs_size(get(), &outputs), "its outputs cannot be counted");
    if (outputs == 0) fail("it has no outputs");
    makeEndsFloat(mModel, inputs, outputs);
    const Description description = readDescription(bytes.description);
    mInputs = namesOf(get(), ov_model_const_input_by_index, inputs, description.inputs);
    mOutputs = namesOf(get(), ov_model_const_output_by_index, outputs, description.outputs);
}

}  // namespace xnn
