#include "host/ReplacedNetworks.h"

#include <list>
#include <map>

#include "platform/include/resource.h"

namespace {

std::map<int, platform::Resource>& blocks() {
    static std::map<int, platform::Resource> blocks;
    return blocks;
}

platform::Resource findBlock(int id) {
    const auto found = blocks().find(id);
    return found == blocks().end() ? platform::Resource{} : found->second;
}

}  // namespace

ReplacedNetworks::ReplacedNetworks() {
    platform::replaceResources(findBlock);
}

ReplacedNetworks::~ReplacedNetworks() {
    platform::replaceResources(nullptr);
    blocks().clear();
}

void ReplacedNetworks::put(int xmlId, int weightsId, const mask_networks::Pair& pair) {
    static std::list<mask_networks::Pair> kept;
    kept.push_back(pair);
    blocks()[xmlId] = {kept.back().xml.data(), kept.back().xml.size(), nullptr};
    blocks()[weightsId] = {kept.back().weights->data(), kept.back().weights->size(), nullptr};
}
