#include "engines/inference_engine/TestNetworks.h"

#include <cstdint>
#include <cstring>

namespace test_networks {
namespace {

using Dims = std::vector<int>;

const Dims kPicture{1, 4, 8, 16};

struct Port {
    std::string precision;
    Dims dims;
};

std::string portXml(size_t id, const Port& port) {
    std::string xml = "<port id=\"" + std::to_string(id) + "\" precision=\"" + port.precision + "\">";
    for (const int dim : port.dims) xml += "<dim>" + std::to_string(dim) + "</dim>";
    return xml + "</port>\n";
}

// Ports are numbered through, inputs first.
std::string layer(int id, const std::string& name, const std::string& type, const std::string& data,
                  const std::vector<Port>& inputs, const std::vector<Port>& outputs) {
    std::string xml = "<layer id=\"" + std::to_string(id) + "\" name=\"" + name + "\" type=\"" + type +
                      "\" version=\"opset1\">\n<data " + data + "/>\n";
    size_t number = 0;
    if (!inputs.empty()) {
        xml += "<input>\n";
        for (const Port& port : inputs) xml += portXml(number++, port);
        xml += "</input>\n";
    }
    if (!outputs.empty()) {
        xml += "<output>\n";
        for (const Port& port : outputs) xml += portXml(number++, port);
        xml += "</output>\n";
    }
    return xml + "</layer>\n";
}

std::string edge(int fromLayer, int fromPort, int toLayer, int toPort) {
    return "<edge from-layer=\"" + std::to_string(fromLayer) + "\" from-port=\"" + std::to_string(fromPort) +
           "\" to-layer=\"" + std::to_string(toLayer) + "\" to-port=\"" + std::to_string(toPort) + "\"/>\n";
}

std::string network(const std::string& name, int version, const std::string& layers, const std::string& edges) {
    return "<?xml version=\"1.0\"?>\n<net name=\"" + name + "\" version=\"" + std::to_string(version) +
           "\">\n<layers>\n" + layers + "</layers>\n<edges>\n" + edges + "</edges>\n</net>\n";
}

template <class T>
void append(std::vector<unsigned char>& weights, const std::vector<T>& values) {
    const size_t at = weights.size();
    weights.resize(at + values.size() * sizeof(T));
    std::memcpy(weights.data() + at, values.data(), values.size() * sizeof(T));
}

}  // namespace

Pair weightedSum(int version, const std::string& type) {
    const bool half = type == "f16";
    const std::string precision = half ? "FP16" : "FP32";
    const Port picture{precision, kPicture};
    const Port factors{precision, {1, 4, 1, 1}};
    const Port axes{"I64", {1}};
    const Port mask{precision, {1, 1, 8, 16}};
    const size_t factorBytes = half ? 8 : 16;

    Pair pair;
    pair.xml = network(
        "WeightedSum", version,
        layer(0, "input_image", "Parameter", "shape=\"1,4,8,16\" element_type=\"" + type + "\" ", {}, {picture}) +
            layer(1, "factors", "Const",
                  "element_type=\"" + type + "\" shape=\"1,4,1,1\" offset=\"0\" size=\"" + std::to_string(factorBytes) +
                      "\" ",
                  {}, {factors}) +
            layer(2, "product", "Multiply", "auto_broadcast=\"numpy\" ", {picture, factors}, {picture}) +
            layer(3, "axes", "Const",
                  "element_type=\"i64\" shape=\"1\" offset=\"" + std::to_string(factorBytes) + "\" size=\"8\" ", {},
                  {axes}) +
            layer(4, "output_mask", "ReduceSum", "keep_dims=\"true\" ", {picture, axes}, {mask}) +
            layer(5, "output_mask/sink_port_0", "Result", "", {mask}, {}),
        edge(0, 0, 2, 0) + edge(1, 0, 2, 1) + edge(2, 2, 4, 0) + edge(3, 0, 4, 1) + edge(4, 2, 5, 0));
    if (half) {
        append<uint16_t>(pair.weights, {0x3C00, 0x4000, 0x4200, 0x4400});
    } else {
        append<float>(pair.weights, {1, 2, 3, 4});
    }
    append<int64_t>(pair.weights, {1});
    return pair;
}

Pair threeOutputs() {
    const Port picture{"FP32", kPicture};
    const Port one{"FP32", {}};
    const Port twoAxes{"I64", {2}};
    const Port threeAxes{"I64", {3}};
    const Port plane{"FP32", {8, 16}};
    const Port row{"FP32", {16}};

    Pair pair;
    pair.xml = network(
        "ThreeOutputs", 11,
        layer(0, "gesture/sink_port_0", "Result", "", {row}, {}) +
            layer(1, "segmentation/sink_port_0", "Result", "", {picture}, {}) +
            layer(2, "motion/sink_port_0", "Result", "", {plane}, {}) +
            layer(3, "one", "Const", "element_type=\"f32\" shape=\"\" offset=\"0\" size=\"4\" ", {}, {one}) +
            layer(4, "segmentation", "Add", "auto_broadcast=\"numpy\" ", {picture, one}, {picture}) +
            layer(5, "two_axes", "Const", "element_type=\"i64\" shape=\"2\" offset=\"4\" size=\"16\" ", {}, {twoAxes}) +
            layer(6, "motion", "ReduceSum", "keep_dims=\"false\" ", {picture, twoAxes}, {plane}) +
            layer(7, "three_axes", "Const", "element_type=\"i64\" shape=\"3\" offset=\"4\" size=\"24\" ", {},
                  {threeAxes}) +
            layer(8, "gesture", "ReduceSum", "keep_dims=\"false\" ", {picture, threeAxes}, {row}) +
            layer(9, "input", "Parameter", "shape=\"1,4,8,16\" element_type=\"f32\" ", {}, {picture}),
        edge(9, 0, 4, 0) + edge(3, 0, 4, 1) + edge(4, 2, 1, 0) + edge(9, 0, 6, 0) + edge(5, 0, 6, 1) +
            edge(6, 2, 2, 0) + edge(9, 0, 8, 0) + edge(7, 0, 8, 1) + edge(8, 2, 0, 0));
    append<float>(pair.weights, {1});
    append<int64_t>(pair.weights, {0, 1, 2});
    return pair;
}

}  // namespace test_networks
