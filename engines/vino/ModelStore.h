#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "engines/inference_engine/InferenceEngine.h"
#include "platform/include/resource.h"

// The networks inside the executable: IR pairs in resources, addressed by id. Any thread.

// One resource, held until the destructor. Raises InferenceEngineException with NETWORK_NOT_READ when the executable
// has none of that id.
class ModelResource {
  public:
    explicit ModelResource(int id);
    ~ModelResource();
    ModelResource(const ModelResource&) = delete;
    ModelResource& operator=(const ModelResource&) = delete;

    const void* data() const { return mResource.data; }
    size_t size() const { return mResource.size; }

  private:
    platform::Resource mResource;
};

// One IR pair, found on construction.
class ModelPair {
  public:
    ModelPair(int xmlId, int weightsId) : mXml(xmlId), mWeights(weightsId) {}

    size_t xmlBytes() const { return mXml.size(); }
    size_t weightsBytes() const { return mWeights.size(); }

    // The weights in place. Described as FP32 with one dimension, which counts bytes all the same.
    InferenceEngine::Blob::Ptr weightsBlob() const;

    // Reads the network. It goes on using the weights in place: memory of a resource stays valid for the life of the
    // process, also after its release.
    InferenceEngine::CNNNetwork read(const InferenceEngine::Core& core) const;

  private:
    ModelResource mXml;
    ModelResource mWeights;
};

// Where a helper has its network from: reads a pair of resource ids. Helpers read the executable's own unless a test
// gives them another source.
using NetworkSource = std::function<InferenceEngine::CNNNetwork(const InferenceEngine::Core&, int xmlId, int binId)>;

// The executable's own pairs. Each read traces the sizes of both halves: `sizeText`, the weights' bytes, ", model size
// = " and the XML's.
NetworkSource ownNetworks(std::string sizeText);

// Reads the pair in one step. Raises InferenceEngineException when the pair is missing or cannot be read.
InferenceEngine::CNNNetwork loadNetwork(const InferenceEngine::Core& core, int xmlId, int weightsId);

// Where this program may keep data under `name`: the directory of that name in the temporary folder if somebody has
// made one, else `name` in the folder for local data, which may not exist. Never creates anything. "" when neither
// folder can be had. A status query that fails raises std::filesystem::filesystem_error.
std::string getTestDataPath(const std::string& name);
