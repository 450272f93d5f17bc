#include "engines/vino/MaskNetworks.h"

#include <cstring>

#include "tests/support/IrText.h"

namespace mask_networks {

namespace {

using namespace ir_text;

// Ids: 0 factors, 1 axis, 2 product, 3 sum, 4 result, 5 the input; with a second input 6, and 7 its sum with the first.
std::string xmlOf(const Options& options) {
    const Dims picture{1, options.channels, options.height, options.width};
    const Dims factors{1, options.channels, 1, 1};
    Dims mask = picture;
    if (options.keepDims) {
        mask[static_cast<size_t>(options.axis)] = 1;
    } else {
        mask.erase(mask.begin() + options.axis);
    }
    const size_t factorBytes = static_cast<size_t>(options.channels) * sizeof(float);
    const std::string keep = options.keepDims ? "keep_dims=\"true\"" : "keep_dims=\"false\"";
    const bool two = options.inputs == 2;

    std::string layers =
        layer(0, "factors", "Const", constant("f32", factors, 0, factorBytes), "", port(0, "FP32", factors)) +
        layer(1, "axis", "Const", constant("i64", {1}, factorBytes, 8), "", port(0, "I64", {1})) +
        layer(5, "input_image", "Parameter", parameter(picture), "", port(0, "FP32", picture));
    std::string edges;
    if (two) {
        layers += layer(6, "input_second", "Parameter", parameter(picture), "", port(0, "FP32", picture)) +
                  layer(7, "both", "Add", "auto_broadcast=\"numpy\"",
                        port(0, "FP32", picture) + port(1, "FP32", picture), port(2, "FP32", picture));
        edges += edge(5, 0, 7, 0) + edge(6, 0, 7, 1) + edge(7, 2, 2, 0);
    } else {
        edges += edge(5, 0, 2, 0);
    }
    layers += layer(2, "product", "Multiply", "auto_broadcast=\"numpy\"",
                    port(0, "FP32", picture) + port(1, "FP32", factors), port(2, "FP32", picture)) +
              layer(3, options.outputName, "ReduceSum", keep, port(0, "FP32", picture) + port(1, "I64", {1}),
                    port(2, "FP32", mask)) +
              layer(4, options.outputName + "/sink_port_0", "Result", "", port(0, "FP32", mask), "");
    edges += edge(0, 0, 2, 1) + edge(2, 2, 3, 0) + edge(1, 0, 3, 1) + edge(3, 2, 4, 0);
    return network(options.name, layers, edges);
}

}  // namespace

Pair make(const Options& options) {
    std::vector<float> factors = options.factors;
    factors.resize(static_cast<size_t>(options.channels), 0.0f);
    const int64_t axis = options.axis;
    const size_t factorBytes = factors.size() * sizeof(float);
    auto weights = std::make_shared<std::vector<uint8_t>>(factorBytes + sizeof(axis));
    std::memcpy(weights->data(), factors.data(), factorBytes);
    std::memcpy(weights->data() + factorBytes, &axis, sizeof(axis));
    return {xmlOf(options), std::move(weights)};
}

InferenceEngine::CNNNetwork Pair::read(const InferenceEngine::Core& core) const {
    using namespace InferenceEngine;
    const TensorDesc desc(Precision::FP32, {weights->size()}, Layout::C);
    struct Kept {
        std::shared_ptr<const std::vector<uint8_t>> weights;
        TBlob<float>::Ptr blob;
    };
    const auto kept = std::make_shared<Kept>(
        Kept{weights, make_shared_blob<float>(desc, reinterpret_cast<const float*>(weights->data()))});
    return core.ReadNetwork(xml, Blob::CPtr(kept, kept->blob.get()));
}

}  // namespace mask_networks
