#pragma once

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

// The pieces of a network's XML, for tests that write small networks of their own.
namespace ir_text {

using Dims = std::vector<int>;

inline std::string port(int id, const std::string& precision, const Dims& dims) {
    std::ostringstream xml;
    xml << "<port id=\"" << id << "\" precision=\"" << precision << "\">";
    for (const int dim : dims) xml << "<dim>" << dim << "</dim>";
    xml << "</port>";
    return xml.str();
}

inline std::string layer(int id, const std::string& name, const std::string& type, const std::string& data,
                         const std::string& inputs, const std::string& outputs) {
    std::ostringstream xml;
    xml << "<layer id=\"" << id << "\" name=\"" << name << "\" type=\"" << type << "\" version=\"opset1\">";
    if (!data.empty()) xml << "<data " << data << "/>";
    if (!inputs.empty()) xml << "<input>" << inputs << "</input>";
    if (!outputs.empty()) xml << "<output>" << outputs << "</output>";
    xml << "</layer>\n";
    return xml.str();
}

inline std::string edge(int fromLayer, int fromPort, int toLayer, int toPort) {
    std::ostringstream xml;
    xml << "<edge from-layer=\"" << fromLayer << "\" from-port=\"" << fromPort << "\" to-layer=\"" << toLayer
        << "\" to-port=\"" << toPort << "\"/>\n";
    return xml.str();
}

inline std::string shapeText(const Dims& dims) {
    std::string text;
    for (const int dim : dims) text += (text.empty() ? "" : ",") + std::to_string(dim);
    return text;
}

inline std::string parameter(const Dims& dims) {
    return "shape=\"" + shapeText(dims) + "\" element_type=\"f32\"";
}

inline std::string constant(const std::string& type, const Dims& dims, size_t offset, size_t size) {
    return "element_type=\"" + type + "\" shape=\"" + shapeText(dims) + "\" offset=\"" + std::to_string(offset) +
           "\" size=\"" + std::to_string(size) + "\"";
}

inline std::string network(const std::string& name, const std::string& layers, const std::string& edges) {
    return "<?xml version=\"1.0\"?>\n<net name=\"" + name + "\" version=\"10\">\n<layers>\n" + layers +
           "</layers>\n<edges>\n" + edges + "</edges>\n</net>\n";
}

}  // namespace ir_text
