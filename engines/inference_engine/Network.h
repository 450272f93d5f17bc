#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "engines/inference_engine/Runtime.h"

namespace InferenceEngine::details {

// An input or output, in the runtime's order.
struct NetworkEnd {
    std::string name;
    TensorDesc desc;
};

// A network as read, its ends turned to FP32. Owns the runtime's model and keeps the weights.
class NetworkImpl {
  public:
    NetworkImpl(const ov_core_t* core, std::string xml, Blob::CPtr weights);

    const std::string& name() const { return mName; }
    const std::vector<NetworkEnd>& inputs() const { return mInputs; }
    const std::vector<NetworkEnd>& outputs() const { return mOutputs; }
    const InputsDataMap& inputsInfo() const { return mInputsInfo; }
    const OutputsDataMap& outputsInfo() const { return mOutputsInfo; }
    const Blob::CPtr& weights() const { return mWeights; }

  private:
    friend class ModelUse;

    Owned<ov_model_t> readModel(const ov_core_t* core) const;
    void describeEnds();

    std::string mXml;
    Blob::CPtr mWeights;
    std::string mName;
    Owned<ov_model_t> mModel;
    std::vector<NetworkEnd> mInputs;
    std::vector<NetworkEnd> mOutputs;
    InputsDataMap mInputsInfo;
    OutputsDataMap mOutputsInfo;
    std::atomic_flag mModelInUse;
};

// A model of `network` that nobody else compiles meanwhile: the network's own, or a private copy read anew while
// another thread has that. A compilation may take long, so it is never waited for, and the runtime does not promise
// that two may share a model.
class ModelUse {
  public:
    ModelUse(NetworkImpl& network, const ov_core_t* core);
    ~ModelUse();
    ModelUse(const ModelUse&) = delete;
    ModelUse& operator=(const ModelUse&) = delete;
    const ov_model_t* model() const { return mCopy ? mCopy.get() : mNetwork.mModel.get(); }

  private:
    NetworkImpl& mNetwork;
    Owned<ov_model_t> mCopy;
};

}  // namespace InferenceEngine::details
