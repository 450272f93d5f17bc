#include "engines/vino/MaskNetworks.h"
#include "fuzz/ServedModel.h"
#include "platform/posix/resource_table.h"

// The network of a fuzz target in the place of the product's for the CPU: 16x8 pixels, so that it runs for every frame.
namespace {

const mask_networks::Pair& network() {
    static const mask_networks::Pair pair = mask_networks::make({});
    return pair;
}

}  // namespace

const uint32_t fuzz::kServedType = 3;

extern "C" const ZelResource zel_resource_table[] = {
    {140, 1033, network().xml.data(), network().xml.size()},
    {150, 1033, network().weights->data(), network().weights->size()},
};
extern "C" const int zel_resource_count = 2;
