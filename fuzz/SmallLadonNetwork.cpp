#include "engines/vino/LadonNetworks.h"
#include "fuzz/ServedModel.h"
#include "platform/posix/resource_table.h"

// A Ladon network of 16x8 pixels in the place of the product's for the CPU.
namespace {

const mask_networks::Pair& network() {
    static const mask_networks::Pair pair = ladon_networks::make({});
    return pair;
}

}  // namespace

const uint32_t fuzz::kServedType = 7;

extern "C" const ZelResource zel_resource_table[] = {
    {214, 1033, network().xml.data(), network().xml.size()},
    {213, 1033, network().weights->data(), network().weights->size()},
};
extern "C" const int zel_resource_count = 2;
