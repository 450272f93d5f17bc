#include "engines/vino/ModelStore.h"

#include <utility>

#include "platform/include/folders.h"
#include "platform/include/module.h"
#include "util/include/CmTrace.h"

using namespace InferenceEngine;

namespace {

platform::Resource findModelResource(int id) {
    const platform::Resource resource = platform::findResource(id);
    if (resource.data == nullptr) {
        throw details::InferenceEngineException(
            "this executable carries no network resource with the id " + std::to_string(id), NETWORK_NOT_READ);
    }
    return resource;
}

bool isDirectory(const std::string& path) {
    return platform::folders().kindOf(path) == platform::PathKind::kDirectory;
}

std::string testDataPath(const std::string& name) {
    std::string candidate = platform::folders().temporary();
    if (!candidate.empty()) {
        candidate += name;
        if (isDirectory(candidate)) return candidate;
    }
    const std::string localData = platform::folders().localData();
    return localData.empty() ? candidate : localData + platform::pathSeparator() + name;
}

}  // namespace

ModelResource::ModelResource(int id) : mResource(findModelResource(id)) {}

ModelResource::~ModelResource() {
    platform::releaseResource(mResource);
}

Blob::Ptr ModelPair::weightsBlob() const {
    const TensorDesc desc(Precision::FP32, {mWeights.size()}, Layout::C);
    return make_shared_blob<float>(desc, static_cast<const float*>(mWeights.data()));
}

CNNNetwork ModelPair::read(const Core& core) const {
    return core.ReadNetwork(std::string(static_cast<const char*>(mXml.data()), mXml.size()), weightsBlob());
}

NetworkSource ownNetworks(std::string sizeText) {
    return [sizeText = std::move(sizeText)](const Core& core, int xmlId, int binId) {
        const ModelPair pair(xmlId, binId);
        QOR_INFO(sizeText << pair.weightsBytes() << ", model size = " << pair.xmlBytes());
        return pair.read(core);
    };
}

CNNNetwork loadNetwork(const Core& core, int xmlId, int weightsId) {
    return ModelPair(xmlId, weightsId).read(core);
}

std::string getTestDataPath(const std::string& name) {
    std::string path = testDataPath(name);
    QOR_INFO("zelipc>> getTestDataPath :" << path);
    return path;
}
