#include "plugins/qorml/EmbeddedNetworks.h"

// Laid out by EmbeddedNetworks.S.in.
extern "C" {
extern const char qorml_small_xml[], qorml_small_xml_end[], qorml_small_bin[], qorml_small_bin_end[];
extern const char qorml_large_xml[], qorml_large_xml_end[], qorml_large_bin[], qorml_large_bin_end[];
}

namespace qorml {

namespace {

size_t bytesBetween(const char* begin, const char* end) {
    return static_cast<size_t>(end - begin);
}

}  // namespace

EmbeddedNetwork smallNetwork() {
    return {qorml_small_xml,
            bytesBetween(qorml_small_xml, qorml_small_xml_end),
            qorml_small_bin,
            bytesBetween(qorml_small_bin, qorml_small_bin_end),
            {256, 144}};
}

EmbeddedNetwork largeNetwork() {
    return {qorml_large_xml,
            bytesBetween(qorml_large_xml, qorml_large_xml_end),
            qorml_large_bin,
            bytesBetween(qorml_large_bin, qorml_large_bin_end),
            {640, 360}};
}

}  // namespace qorml
