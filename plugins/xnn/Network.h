#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "plugins/xnn/LogThread.h"
#include "plugins/xnn/Model.h"
#include "plugins/xnn/Properties.h"

namespace xnn {

// An input or output with its memory, which is the runtime's.
struct Layer {
    std::string name;
    std::string fullName;
    bool isInput;
    std::vector<uint64_t> dims;
    uint64_t floats;  // product of dims
    Owned<ov_tensor_t> tensor;
    float* data;
};

// What a network is made of and called by.
struct NetworkRequest {
    std::string engine;
    std::string identifier;
    std::string device;  // as the caller names it
    ModelBytes bytes;    // read during the construction only
    Settings settings;
};

// A network ready to infer. Failures are std::runtime_error. One thread at a time.
class Network {
  public:
    Network(const Core& core, const NetworkRequest& request, LogThread& log);
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    const std::string& engine() const { return mEngine; }
    const std::string& identifier() const { return mIdentifier; }
    const std::string& device() const { return mDevice; }

    const std::vector<Layer>& inputs() const { return mInputs; }
    const std::vector<Layer>& outputs() const { return mOutputs; }
    // By either name. Allocates nothing when it is found.
    const Layer& layer(std::string_view name) const;

    // Copies the input of the next inference. Allocates nothing unless it fails, no more does infer of its own.
    void setData(const Layer& layer, const float* data, const uint64_t* dims, uint64_t count) const;
    void infer() const;

  private:
    void compile(const Core& core, const Model& model, const CompilePlan& plan);

    const std::string mEngine;
    const std::string mIdentifier;
    const std::string mDevice;
    Owned<ov_compiled_model_t> mCompiled;
    Owned<ov_infer_request_t> mRequest;
    std::vector<Layer> mInputs;
    std::vector<Layer> mOutputs;
};

}  // namespace xnn
